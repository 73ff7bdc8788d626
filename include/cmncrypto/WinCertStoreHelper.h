/** @file
 * Helpers around store certificates: import, export, details, removal.
 */
#ifndef CMNCRYPTO_WINCERTSTOREHELPER_H
#define CMNCRYPTO_WINCERTSTOREHELPER_H

#include <cstdint>
#include <string>
#include <vector>

#include "cmncrypto/WinCertStoreCertificate.h"
#include "cmncrypto/WinCertStoreCommon.h"
#include "cmncrypto/WinCertStoreDetails.h"
#include "cmncrypto/export.h"

namespace CmnCrypto::WinCertStore {

/** How a certificate is written to a file. */
enum CertFileFormat : int32_t {
    CERT_FILE_PEM = 0, ///< text
    CERT_FILE_DER = 1  ///< binary
};

/**
 * Static members only; safe from several threads at once. Stores are those of the process's platform, by their names;
 * paths and passwords are in UTF-8. Nothing throws; a failure is logged with its reason, then answered. Answers of
 * every operation beside its own: 0, WIN_CERT_STORE_NO_MEMORY, and WIN_CERT_STORE_NOT_SUPPORTED for what the platform
 * cannot do. Product status codes come from WinCertStoreCommon::WinCertToQXError().
 *
 * Input files have at most 64 MiB. Output files are made anew, never replaced, and are there whole or not at all.
 */
class CMNCRYPTO_API WinCertStoreHelper {
public:
    /** @return whether @p fingerprint is a SHA-1 digest in 40 hexadecimal digits, blanks and ":" left aside; the
     *          reason is logged when it is not */
    static bool IsValidFingerprint(const std::string& fingerprint);

    /**
     * Adds the certificates of a file to an existing store, all of them or none; one that is there already stays as it
     * is, with its key. Private keys in the file are not looked at.
     * @param path PEM with one or several certificates, other blocks being passed over, or DER
     * @param imported receives the certificates as they are in the store, in the order of the file; may be null
     * @return also WIN_CERT_STORE_IMPORT_NOT_OPENED, WIN_CERT_STORE_IMPORT_UNREADABLE for a file without certificates
     *         and for one of which a certificate is malformed, WIN_CERT_STORE_IMPORT_NOT_ADDED when the store does not
     *         exist or refuses
     */
    static WinCertStoreError ImportCertificates(const std::string& path, const std::string& store,
                                                std::vector<WinCertStoreCertificate>* imported = nullptr) noexcept;

    /**
     * Adds the certificate and the private key of a PKCS#12 bundle to an existing store.
     * @param exportable whether the key may ever leave the store again; stores may be stricter
     * @param imported receives the certificate as it is in the store; may be null
     * @return as ImportCertificates(), with WIN_CERT_STORE_IMPORT_UNREADABLE also for a file with something behind the
     *         bundle, also WIN_CERT_STORE_WRONG_PASSWORD, WIN_CERT_STORE_NO_PRIVATE_KEY for a bundle
     *         without a key and its certificate
     */
    static WinCertStoreError ImportPKCS12(const std::string& path, const std::string& password,
                                          const std::string& store, bool exportable,
                                          WinCertStoreCertificate* imported = nullptr) noexcept;

    /** Writes a certificate to a new file. @return also WIN_CERT_STORE_NOT_FOUND for an empty wrapper,
     *  WIN_CERT_STORE_EXPORT_FAILED when it cannot be encoded, WIN_CERT_STORE_EXPORT_NOT_WRITTEN when the file is there
     *  already or cannot be written */
    static WinCertStoreError ExportCertificate(const WinCertStoreCertificate& certificate, const std::string& path,
                                               CertFileFormat format) noexcept;

    /**
     * Writes a certificate, its issuers and its private key to a new file, a PKCS#12 bundle that only its owner can
     * read.
     * @return as ExportCertificate(), also WIN_CERT_STORE_NO_PRIVATE_KEY, WIN_CERT_STORE_KEY_NOT_EXPORTABLE when the
     *         key may not leave its store
     */
    static WinCertStoreError ExportPKCS12(const WinCertStoreCertificate& certificate, const std::string& path,
                                          const std::string& password) noexcept;

    /** @param details receives what there is to know @return also WIN_CERT_STORE_NOT_FOUND for an empty wrapper,
     *  WIN_CERT_STORE_EXPORT_FAILED for one that cannot be decoded */
    static WinCertStoreError GetDetails(const WinCertStoreCertificate& certificate,
                                        WinCertStoreDetails& details) noexcept;

    /**
     * Removes a certificate from a store, each time that the store holds it. What becomes of its private key is the
     * platform's matter.
     * @param fingerprint SHA-1, as IsValidFingerprint() takes it
     * @return also WIN_CERT_STORE_NOT_FOUND when there is no such store or certificate, or that is no fingerprint;
     *         WIN_CERT_STORE_IMPORT_NOT_ADDED when the store refuses
     */
    static WinCertStoreError RemoveCertificate(const std::string& fingerprint, const std::string& store) noexcept;
};

} // namespace CmnCrypto::WinCertStore

#endif

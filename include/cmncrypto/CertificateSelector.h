/** @file
 * Certificate paths, and the selection of a certificate in the machine's stores.
 */
#ifndef CMNCRYPTO_CERTIFICATESELECTOR_H
#define CMNCRYPTO_CERTIFICATESELECTOR_H

#include <cstdint>
#include <list>
#include <memory>
#include <string>

#include "cmncrypto/CertificateFilter.h"
#include "cmncrypto/WinCertStoreCertificate.h"
#include "cmncrypto/export.h"

namespace CmnCrypto::WinCertStore {

/** A part of a name to look for, in any case and without the blanks around it. */
struct NamePattern {
    std::string name;     ///< the text to be found
    uint32_t exclude = 0; ///< non-zero inverts the match
};

/** One parsed store path. */
struct _win_cert_store_path {
    std::string store_name;                  ///< the store of the local machine
    std::list<NamePattern> issuer_patterns;  ///< all must match, those without a text aside
    std::list<NamePattern> subject_patterns; ///< all must match, and there must be one
};

/** Where a selected certificate came from. */
struct _selected_win_cert_store_path {
    _win_cert_store_path store_path; ///< the parsed path
};

/** The checks of a candidate, in their order. */
enum class CandidateCheck {
    signatureAlgorithm,
    subject,
    issuer,
    privateKey,
    serverPurpose,
    clientPurpose,
    validity,
    keyType,
    none ///< it passed them all
};

/** What selection thinks of one certificate. */
struct CandidateVerdict {
    WinCertStoreCertificate certificate;             ///< the candidate
    _win_cert_store_path store_path;                 ///< the path under which it was found
    CandidateCheck refusedBy = CandidateCheck::none; ///< the first check that it failed
    int code = 0;                                    ///< the product status code of that check
};

/**
 * Selects a certificate by a certificate path: store paths joined by ",", each "store\issuer\subject", for example
 * "MY\\$hostname". Issuer and subject are parts of the names, in any case; an empty issuer matches all. Delimiters
 * between a pair of double quotes do not separate, unless the first quote of the pair is the text's first character. A
 * subject or issuer that begins and ends with double quotes loses them. In the subject "$hostname" stands for the
 * machine's fully qualified DNS name, "$shorthostname" for its short one; only one of them is replaced.
 *
 * A candidate must have an accepted signature algorithm, matching names, a private key in the store, usages that allow
 * TLS servers and clients, a validity that includes the present, and an RSA key, checked in this order.
 *
 * Nothing throws; results are 0 or a product status code: 20 invalid argument, 36 memory is short, 158 no certificate
 * with that fingerprint, 8760 expired, 8764 malformed path, 8767 issuer, 8770 or 8771 nothing chosen or no subject
 * matches, 8772 store not opened, 8773 not yet valid, 8775 host name unavailable, 8776 key type, 8785 and 8786 purposes
 * of client and server, 8799 signature algorithm; a filter's own code. Where several candidates or stores fail, the
 * last failure is the result. One thread at a time per object.
 */
class CMNCRYPTO_API CertificateSelector {
public:
    /** @param filters consulted where several certificates serve: only the first of the list is, others never */
    CertificateSelector(const std::string& certPath, const std::list<std::shared_ptr<CertificateFilter>>& filters);

    const std::string& GetCertPath() const noexcept; ///< @return the path exactly as given

    /** Parses one store path, without commas. @param path filled on success, undefined else @return 0; 20 empty, 8764,
     * 8775 */
    static int SplitCertPath(const std::string& certPath, _win_cert_store_path& path) noexcept;
    /** @return the machine's name, at most 255 characters; empty when it is not known */
    static std::string GetHostName(HostnameType type) noexcept;

    /**
     * Selects along all store paths.
     * @param certificate filled on success
     * @param evenIfNotInTime where no candidate serves, take the first one refused for its dates alone
     */
    int GetCertificate(WinCertStoreCertificate& certificate, const bool& evenIfNotInTime) const noexcept;
    /** As above. @param selected receives the store path that the certificate came from */
    int GetCertificate(WinCertStoreCertificate& certificate, _selected_win_cert_store_path& selected,
                       const bool& evenIfNotInTime) const noexcept;
    /** Selects within one store. */
    int GetCertificate(const _win_cert_store_path& path, WinCertStoreCertificate& certificate,
                       _selected_win_cert_store_path& selected, const bool& evenIfNotInTime) const noexcept;

    /**
     * Examines every certificate that the path's subjects find, for people who wonder about a selection.
     * @param verdicts receives them in the order in which GetCertificate() looks at them
     * @return 0, or why the last store path that failed could not be searched
     */
    int Explain(std::list<CandidateVerdict>& verdicts) const noexcept;

    /**
     * Finds a certificate by its SHA-1 fingerprint in the stores that the path names, joined by ",".
     * @param fingerprint 40 hexadecimal digits; blanks and ":" are ignored
     * @return 0; 20 for another fingerprint, 158, 160 when there is no telling, 8764 no store, 8772
     */
    int FindCertInStore(const std::string& fingerprint, WinCertStoreCertificate& certificate) const noexcept;
    /** As above, in one open store. */
    static int FindCertInStore(CertStoreHandle store, const std::string& fingerprint,
                               WinCertStoreCertificate& certificate) noexcept;

    /** @return 0 when GetCertificate() finds a certificate, else its code */
    int CheckCertPresence() const noexcept;

private:
    std::string m_certPath;
    std::list<std::shared_ptr<CertificateFilter>> m_filters;
};

} // namespace CmnCrypto::WinCertStore

#endif

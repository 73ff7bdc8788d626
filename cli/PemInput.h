/** @file
 * Certificates, requests, keys and revocation lists from inputs in PEM or DER.
 */
#ifndef CMNCRYPTO_CLI_PEMINPUT_H
#define CMNCRYPTO_CLI_PEMINPUT_H

#include <string>
#include <vector>

#include "Secret.h"
#include "cmncrypto/CrlConverter.h"

namespace CmnCrypto::Cli {

/** @return how messages name an input: "standard input" for "-" */
std::string inputLabel(const std::string& name);

/** A pem_password_cb for what needs no pass phrase: without one OpenSSL would ask on the terminal. @return -1 */
int refusePassPhrase(char* buffer, int size, int writing, void* userData) noexcept;

/** @throws Failure (usage) when more than one of these inputs is "-" */
void readStandardInputOnce(const std::vector<std::string>& names);

/** Reads an input whole, "-" for standard input, at most 64 MiB. @throws Failure (input cannot be read) */
Secret readWhole(const std::string& name);
/** As above with another maximum; @p kind says in the message what no larger input is. */
Secret readWhole(const std::string& name, size_t maximum, const std::string& kind);

/**
 * Reads every certificate of an input: PEM, trusted ones included and other blocks passed over, or DER, one after the
 * other.
 * @return them in PEM ("CERTIFICATE"), at least one, in the order of the input
 * @throws Failure (input cannot be read) also when there is none or one is malformed
 */
std::string certificatesAsPem(const std::string& name);

/** As certificatesAsPem(); what a "TRUSTED CERTIFICATE" is trusted for, or not, stays with it. */
std::string trustedCertificatesAsPem(const std::string& name);

/** The revocation lists of an input. */
struct EncodedLists {
    bool pem;                    ///< it was in PEM, otherwise in DER
    std::vector<BinaryData> der; ///< one at least; not decoded yet
};

/** Reads every revocation list of an input of at most 256 MiB: PEM, other blocks passed over, or DER, one after the
 *  other. @throws Failure (input cannot be read), also when there is none */
EncodedLists encodedLists(const std::string& name);

/** Reads the first certificate request of an input. @return it in PEM @throws Failure (input cannot be read) */
std::string requestAsPem(const std::string& name);

/**
 * Reads a private key without decoding it: PEM stays as it is; DER may be PKCS#8, encrypted or not, PKCS#1, SEC 1 or
 * the DSA form.
 * @return PEM @throws Failure (input cannot be read), also when there is none
 */
Secret privateKeyAsPem(const std::string& name);
/** As above, of an input that was read already. */
Secret privateKeyAsPem(const std::string& name, Secret input);

} // namespace CmnCrypto::Cli

#endif

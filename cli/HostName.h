/** @file
 * The name by which a server is asked for.
 */
#ifndef CMNCRYPTO_CLI_HOSTNAME_H
#define CMNCRYPTO_CLI_HOSTNAME_H

#include <string>

#include <openssl/x509.h>

namespace CmnCrypto::Cli {

/** A name of DNS, without the dot at its end, or an address in any form that the system reads as one, "127.1" too. */
class HostName {
public:
    /** @param source where it was given, for messages @throws Failure (usage) when no server can have this name */
    HostName(const std::string& source, const std::string& text);

    const std::string& text() const noexcept { return m_text; }
    bool isAddress() const noexcept { return !m_address.empty(); }
    /** @return whether the certificate is for it */
    bool matches(X509* certificate) const;

private:
    std::string m_text;
    std::string m_address; // 4 or 16 bytes; empty for a name
};

} // namespace CmnCrypto::Cli

#endif

#include "HostName.h"

#include <algorithm>

#include <openssl/err.h>
#include <openssl/tls1.h>
#include <openssl/x509v3.h>

#include "Failure.h"
#include "Socket.h"

namespace CmnCrypto::Cli {

namespace {

bool isControl(char letter) {
    const auto byte = static_cast<unsigned char>(letter);
    return byte < 0x20 || byte == 0x7f;
}

} // namespace

HostName::HostName(const std::string& source, const std::string& text) : m_text(text) {
    if (!m_text.empty() && m_text.back() == '.') {
        m_text.pop_back(); // it says that the name is complete, and is no part of it
    }
    // OpenSSL takes a dot in front for "any name below".
    if (m_text.empty() || m_text.front() == '.' || std::any_of(m_text.begin(), m_text.end(), isControl)) {
        throw Failure(ExitCode::usage, source + ": \"" + text + "\" is no name of a host");
    }
    if (m_text.size() > TLSEXT_MAXLEN_host_name) {
        throw Failure(ExitCode::usage, source + ": is longer than " + std::to_string(TLSEXT_MAXLEN_host_name) +
                                           " characters, which no name of a host is");
    }
    m_address = addressBytes(m_text);
}

bool HostName::matches(X509* certificate) const {
    const bool result = isAddress()
                            ? X509_check_ip(certificate, reinterpret_cast<const unsigned char*>(m_address.data()),
                                            m_address.size(), 0) == 1
                            : X509_check_host(certificate, m_text.data(), m_text.size(), 0, nullptr) == 1;
    ERR_clear_error();
    return result;
}

} // namespace CmnCrypto::Cli

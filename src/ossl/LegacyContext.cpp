#include "ossl/LegacyContext.h"

#include "ossl/LegacyProvider.h"

namespace CmnCrypto::ossl {

LegacyContext::LegacyContext() noexcept {
    // That the provider is missing is told by name; the queue goes on telling what could not be read.
    ERR_set_mark();
    m_context.reset(OSSL_LIB_CTX_new());
    if (m_context) {
        m_default.reset(OSSL_PROVIDER_load(m_context.get(), "default"));
        m_legacy = loadLegacyProvider(m_context.get());
    }
    ERR_pop_to_mark();
}

bool isAlgorithmMissing() noexcept {
    const unsigned long code = ERR_peek_last_error();
    return ERR_GET_LIB(code) == ERR_LIB_EVP && ERR_GET_REASON(code) == ERR_R_UNSUPPORTED;
}

std::string missingAlgorithm() {
    const char* data = nullptr;
    int flags = 0;
    ERR_peek_last_error_data(&data, &flags);
    const std::string text = data != nullptr && (flags & ERR_TXT_STRING) != 0 ? data : "";
    // "Global default library context, Algorithm (RC2-40-CBC : 0), Properties ()"
    constexpr const char* opening = "Algorithm (";
    const size_t begin = text.find(opening);
    if (begin == std::string::npos) {
        return "its encryption";
    }
    const size_t name = begin + std::char_traits<char>::length(opening);
    return text.substr(name, text.find(' ', name) - name);
}

} // namespace CmnCrypto::ossl

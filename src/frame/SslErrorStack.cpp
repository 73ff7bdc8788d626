#include "cmncrypto/CmnApi.h"
#include "ossl/OpenSsl.h"

namespace CmnCrypto {

std::string getAndClearSslErrStack() {
    ERR_load_crypto_strings();
    std::string result;
    while (const unsigned long code = ERR_get_error()) {
        char text[1024];
        ERR_error_string_n(code, text, sizeof text);
        result.append("Error - (").append(std::to_string(code)).append(": ").append(text).append("), ");
    }
    if (result.empty()) {
        return "No error details available.";
    }
    result.resize(result.size() - 2);
    return result; // the error strings stay loaded: OpenSSL 3 releases them itself at exit
}

} // namespace CmnCrypto

#include "libwincertstore/StoreErrors.h"

#include <vector>

#include "ossl/OpenSsl.h"

namespace CmnCrypto::WinCertStore {

namespace {

/** One entry of the error queue; its texts are copies, as the queue reuses its slots. */
struct QueuedError {
    unsigned long code;
    std::string file;
    int line;
    std::string function;
    std::string data;
    int flags;
};

std::vector<QueuedError> takeErrors() {
    std::vector<QueuedError> errors;
    const char* file = nullptr;
    const char* function = nullptr;
    const char* data = nullptr;
    int line = 0;
    int flags = 0;
    while (const unsigned long code = ERR_get_error_all(&file, &line, &function, &data, &flags)) {
        errors.push_back({code, file, line, function, data, flags});
    }
    return errors;
}

} // namespace

void putStoreError(int functionNumber, int reason, const char* function, const char* file, int line) noexcept {
    ERR_new();
    ERR_set_debug(file, line, function);
    ERR_set_error(ERR_LIB_SSL, reason, "function %d", functionNumber);
}

std::string sslErrorsKept() {
    std::string text;
    for (const QueuedError& error : takeErrors()) {
        char message[1024];
        ERR_error_string_n(error.code, message, sizeof message);
        text.append(text.empty() ? "" : ", ").append("Error - (").append(std::to_string(error.code));
        text.append(": ").append(message).append(")");
        ERR_new();
        ERR_set_debug(error.file.c_str(), error.line, error.function.c_str());
        if ((error.flags & ERR_TXT_STRING) != 0) {
            ERR_set_error(ERR_GET_LIB(error.code), ERR_GET_REASON(error.code), "%s", error.data.c_str());
        } else {
            ERR_set_error(ERR_GET_LIB(error.code), ERR_GET_REASON(error.code), nullptr);
        }
    }
    return text;
}

} // namespace CmnCrypto::WinCertStore

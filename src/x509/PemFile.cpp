#include "x509/PemFile.h"

namespace CmnCrypto {

namespace {

std::string withoutFormats(const std::string& text) {
    std::string safe;
    for (const char character : text) {
        safe.append(character == '%' ? 2 : 1, character);
    }
    return safe;
}

} // namespace

int PemFileLog::failure(int code, const char* what) const {
    if (m_logger != nullptr) {
        std::string text = std::string(what) + ", file [" + withoutFormats(m_path) + "]";
        if (ERR_peek_error() != 0) {
            text += ", SSL Error : " + withoutFormats(getAndClearSslErrStack());
        }
        message(text.c_str());
    }
    return code;
}

void PemFileLog::message(const char* text) const {
    if (m_logger != nullptr) {
        m_logger(m_function, text);
    }
}

int PemFileLog::open(FileContents& contents, OpenSslPtr<BIO>& pem) const {
    switch (const int result = contents.read(m_path)) {
    case 0:
        pem = contents.view();
        return pem ? 0 : failure(codeNoMemory, "Failed to allocate memory");
    case codeOpenFailed:
        return failure(result, "Failed to open");
    case codeNoMemory:
        return failure(result, "Failed to allocate memory");
    default:
        return failure(result, "Failed to read");
    }
}

} // namespace CmnCrypto

#include "tls/TlsCall.h"

#include <cstring>

namespace CmnCrypto::tls {

namespace {

Outcome outcomeOf(int sslError) noexcept {
    switch (sslError) {
    case SSL_ERROR_NONE:
        return Outcome::done;
    case SSL_ERROR_WANT_READ:
        return Outcome::wantsRead;
    case SSL_ERROR_WANT_WRITE:
        return Outcome::wantsWrite;
    case SSL_ERROR_ZERO_RETURN:
        return Outcome::closed;
    default:
        return Outcome::failed;
    }
}

/** @return where a connection keeps its limit; -1 when memory is short */
int limitIndex() noexcept {
    static const int index = SSL_get_ex_new_index(0, nullptr, nullptr, nullptr, nullptr);
    return index;
}

} // namespace

CallResult classify(const SSL* ssl, int result) noexcept {
    if (result > 0) {
        return {result, SSL_ERROR_NONE, Outcome::done};
    }
    const int sslError = SSL_get_error(ssl, result);
    const Outcome outcome = outcomeOf(sslError);
    // A close in due form is told by the result 0.
    return {result, sslError, outcome == Outcome::closed && result != 0 ? Outcome::failed : outcome};
}

// The number itself stands in the place of a pointer: nothing has to be allocated or released.

int ioTimeout(const SSL* ssl) noexcept {
    const void* const kept = SSL_get_ex_data(ssl, limitIndex());
    int milliseconds = 0;
    std::memcpy(&milliseconds, &kept, sizeof milliseconds);
    return milliseconds;
}

bool setIoTimeout(SSL* ssl, int milliseconds) noexcept {
    void* kept = nullptr;
    const int limit = milliseconds > 0 ? milliseconds : 0;
    std::memcpy(&kept, &limit, sizeof limit);
    return SSL_set_ex_data(ssl, limitIndex(), kept) == 1;
}

} // namespace CmnCrypto::tls

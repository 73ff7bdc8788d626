#include "tls/SocketTransport.h"

#include <new>

#include "tls/SocketIo.h"

namespace CmnCrypto::tls {

namespace {

const Deadline* deadlineOf(BIO* filter) {
    return static_cast<const Deadline*>(BIO_get_data(filter));
}

int socketOf(BIO* filter) {
    int socket = -1;
    BIO_get_fd(BIO_next(filter), &socket);
    return socket;
}

/** Runs one call of the system under the filter's deadline. @return its result */
template <class Call> int underDeadline(BIO* filter, int retryFlags, Call&& call) {
    BIO_clear_retry_flags(filter);
    const Deadline* const deadline = deadlineOf(filter);
    if (deadline != nullptr && deadline->isOver()) {
        // A peer that sends without end would never let the call come to a wait.
        BIO_set_flags(filter, retryFlags);
        return -1;
    }
    const int result = call(socketOf(filter), deadline != nullptr ? Blocking::never : Blocking::asSocket);
    if (result < 0) {
        if (BIO_sock_should_retry(result) != 0) {
            BIO_set_flags(filter, retryFlags);
        } else {
            ERR_raise(ERR_LIB_SYS, lastSocketError()); // the socket BIO leaves no reason
        }
    }
    return result;
}

int readFilter(BIO* filter, char* buffer, size_t size, size_t* count) {
    const int result =
        underDeadline(filter, BIO_FLAGS_READ | BIO_FLAGS_SHOULD_RETRY,
                      [&](int socket, Blocking blocking) { return receive(socket, buffer, size, blocking); });
    if (result <= 0) {
        if (result == 0) {
            BIO_set_flags(BIO_next(filter), BIO_FLAGS_IN_EOF); // where BIO_eof() looks
        }
        return result;
    }
    *count = static_cast<size_t>(result);
    return 1;
}

int writeFilter(BIO* filter, const char* data, size_t size, size_t* count) {
    const int result =
        underDeadline(filter, BIO_FLAGS_WRITE | BIO_FLAGS_SHOULD_RETRY,
                      [&](int socket, Blocking blocking) { return transmit(socket, data, size, blocking); });
    if (result <= 0) {
        return result;
    }
    *count = static_cast<size_t>(result);
    return 1;
}

long controlFilter(BIO* filter, int command, long number, void* pointer) {
    return BIO_ctrl(BIO_next(filter), command, number, pointer);
}

/** @return the type number of the filter, given out once; negative when there are none left */
int filterType() {
    static const int index = BIO_get_new_index();
    return index < 0 ? index : index | BIO_TYPE_FILTER;
}

BIO_METHOD* makeFilterMethod() {
    BIO_METHOD* const made = filterType() < 0 ? nullptr : BIO_meth_new(filterType(), "quiet socket");
    if (made == nullptr) {
        throw std::bad_alloc(); // so that the next connection tries again
    }
    BIO_meth_set_read_ex(made, readFilter);
    BIO_meth_set_write_ex(made, writeFilter);
    BIO_meth_set_ctrl(made, controlFilter);
    return made;
}

BIO* makeFilter() try {
    static const BIO_METHOD* const method = makeFilterMethod(); // kept: connections may live as long as the process
    return BIO_new(method);
} catch (const std::bad_alloc&) {
    return nullptr;
}

} // namespace

OpenSslPtr<BIO> makeSocketTransport(int socket) {
    OpenSslPtr<BIO> end(BIO_new_socket(socket, BIO_NOCLOSE));
    OpenSslPtr<BIO> filter(end ? makeFilter() : nullptr);
    if (filter) {
        BIO_push(filter.get(), end.release());
    }
    return filter;
}

BIO* TransportLimit::filterOf(const SSL* ssl) {
    BIO* const bio = SSL_get_rbio(ssl);
    return bio != nullptr && BIO_method_type(bio) == filterType() ? bio : nullptr;
}

} // namespace CmnCrypto::tls

/** @file
 * TCP sockets.
 */
#ifndef CMNCRYPTO_CLI_SOCKET_H
#define CMNCRYPTO_CLI_SOCKET_H

#include <chrono>
#include <string>
#include <sys/socket.h>
#include <vector>

#include "FileDescriptor.h"

namespace CmnCrypto::Cli {

/** A moment by which something has to be done. */
class Deadline {
public:
    explicit Deadline(int milliseconds)
        : m_end(std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds)) {}
    /** @return milliseconds that are left, rounded up; 0 when it has passed */
    int remaining() const;

private:
    std::chrono::steady_clock::time_point m_end;
};

/** An address with its port. */
struct Endpoint {
    sockaddr_storage address = {};
    socklen_t length = 0;

    /** @return "127.0.0.1:443" or "[::1]:443" */
    std::string text() const;
    int port() const;
    void setPort(int port);
};

/** @param host a name or an address @param listening whether to listen there @throws Failure (input cannot be read) */
std::vector<Endpoint> resolve(const std::string& host, int port, bool listening);

/**
 * Listens without blocking. @param endpoint receives the port that was chosen for port 0
 * @return a closed descriptor, with errno, when that fails
 */
FileDescriptor listenAt(Endpoint& endpoint);

/** Connects without blocking. @return a closed descriptor, with errno, when that fails or takes too long */
FileDescriptor connectTo(const Endpoint& endpoint, const Deadline& deadline);

/** Waits for a descriptor. @param events as poll() takes them @return whether something has come of it in time */
bool waitFor(int descriptor, short events, const Deadline& deadline);

} // namespace CmnCrypto::Cli

#endif

/** @file
 * The system's calls for sockets, and what differs among systems.
 */
#ifndef CMNCRYPTO_CLI_SOCKETCALLS_H
#define CMNCRYPTO_CLI_SOCKETCALLS_H

#include <arpa/inet.h>
#include <cerrno>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <string>
#include <sys/socket.h>

#include "Socket.h"

namespace CmnCrypto::Cli {

constexpr int connecting = EINPROGRESS; ///< the error of a connection that is being made
constexpr int ownPort = SO_REUSEADDR;   ///< takes a port whose connections are over, and no other

inline int native(uint64_t socket) noexcept {
    return static_cast<int>(socket);
}

/** Makes the system's calls ready, once. */
inline void startSockets() noexcept {}

/** @return a socket that does not block, Socket::none on failure */
uint64_t newSocket(int family) noexcept;
/** @return a socket that blocks, Socket::none on failure */
uint64_t acceptSocket(uint64_t listener, sockaddr* peer, socklen_t& length) noexcept;
/** Switches an option on, as far as the system has it. */
void setOption(uint64_t socket, int level, int name) noexcept;
/** @return how a connection has failed, 0 when it stands */
int pendingError(uint64_t socket) noexcept;
/** @return as poll() */
int waitForSocket(uint64_t socket, SocketEvent event, int milliseconds) noexcept;
/** @return what getaddrinfo() means */
std::string resolverText(int error);

} // namespace CmnCrypto::Cli

#endif

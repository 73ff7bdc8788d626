/** @file
 * TCP sockets.
 */
#ifndef CMNCRYPTO_CLI_SOCKET_H
#define CMNCRYPTO_CLI_SOCKET_H

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

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

void closeSocket(uint64_t number) noexcept;

/** Closes its socket. The number is wide enough for every system. */
class Socket {
public:
    static constexpr uint64_t none = UINT64_MAX;

    explicit Socket(uint64_t number = none) noexcept : m_number(number) {}
    Socket(Socket&& other) noexcept : m_number(std::exchange(other.m_number, none)) {}
    Socket& operator=(Socket&& other) noexcept {
        std::swap(m_number, other.m_number);
        return *this;
    }
    ~Socket() {
        if (isOpen()) {
            closeSocket(m_number);
        }
    }

    uint64_t number() const noexcept { return m_number; }
    bool isOpen() const noexcept { return m_number != none; }

private:
    uint64_t m_number;
};

/** An address with its port. */
struct Endpoint {
    alignas(8) std::array<unsigned char, 128> address = {}; ///< as the system has it
    size_t length = 0;

    /** @return "127.0.0.1:443" or "[::1]:443" */
    std::string text() const;
    int port() const;
    void setPort(int port);
};

/** @param host a name or an address @param listening whether to listen there @throws Failure (input cannot be read) */
std::vector<Endpoint> resolve(const std::string& host, int port, bool listening);

/** @return the bytes of an address, in any form that the system reads as one; empty when the text is none */
std::string addressBytes(const std::string& text);
/** @return whether the text is an address in its usual form: four decimal numbers, or RFC 4291 */
bool isPlainAddress(const std::string& text);

/**
 * Listens without blocking. @param endpoint receives the port that was chosen for port 0
 * @return a closed socket, with errno, when that fails
 */
Socket listenAt(Endpoint& endpoint);

/** Connects without blocking. @return a closed socket, with errno, when that fails or takes too long */
Socket connectTo(const Endpoint& endpoint, const Deadline& deadline);

/** Takes the next client. @return a blocking socket; a closed one, with errno, when there is none */
Socket acceptClient(const Socket& listener, Endpoint& peer);

/** Makes fail whatever a thread waits for there. Where nothing less does that, the socket is closed. */
void abortWaiting(Socket& socket) noexcept;

/** @return the error of the last call of OpenSSL on a socket as a value of errno, 0 for none */
int lastSocketError() noexcept;
void clearSocketError() noexcept;

enum class SocketEvent { readable, writable };

/** Waits for a socket. @return whether something has come of it in time */
bool waitFor(const Socket& socket, SocketEvent event, const Deadline& deadline);

} // namespace CmnCrypto::Cli

#endif

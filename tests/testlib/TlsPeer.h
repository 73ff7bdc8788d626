#ifndef CMNCRYPTO_TESTLIB_TLSPEER_H
#define CMNCRYPTO_TESTLIB_TLSPEER_H

#include <climits>
#include <functional>
#include <string>
#include <thread>

#include <openssl/ssl.h>

#include "cmncrypto/TLSOperations.h"
#include "testlib/Pki.h"

/** Connections between the library's server and OpenSSL's client, called directly, or a peer that misbehaves. */
namespace testlib {

/** Two connected sockets: the library's own end, and the far one, at which a thread plays the peer. */
class Link {
public:
    explicit Link(bool tcp = false);
    ~Link();
    Link(const Link&) = delete;
    Link& operator=(const Link&) = delete;
    void peer(const std::function<void()>& body); ///< begins what the peer does, after what it has done before
    void join();                                  ///< waits until it has done it
    void abandon();                               ///< ends what it waits for, then as join()
    void hangUp(bool reset = false);              ///< closes the far end; by a reset only over TCP
    void send(const std::string& bytes) const;    ///< from the far end, while somebody listens
    int own = -1, far = -1;

private:
    std::thread m_thread;
};

/** Passes bytes on in pieces between two sockets, until one is closed or @p cut bytes of the second have passed. */
void relay(int first, int second, size_t piece, size_t cut = SIZE_MAX);

/** A connection that a client is to open at a socket. */
Owned<SSL> clientAt(int socket);

/** A new connection of a TLSOperations, with makeCertificate() and keyOf() of a kind. */
Owned<SSL> serverBy(CmnCrypto::TLSOperations& operations, const std::string& kind = "P-256",
                    const char* ciphers = "DEFAULT");
Owned<SSL> newServer();

/** The rows of a table, see readRows(), with "~" for a blank. */
std::vector<std::vector<std::string>> blankRows(const std::string& file);

/** Both ends. What the library's calls throw comes as text, see thrown(); each finds an error of its host's queued. */
struct Talk {
    explicit Talk(bool tcp = false, Owned<SSL> made = newServer())
        : link(tcp), server(std::move(made)), client(clientAt(link.far)) {}
    ~Talk() { link.abandon(); } // before the client goes, which the peer may use
    std::string accept() const; ///< its result, while nobody else does anything
    std::string shakeHands();   ///< its result, and whether only the client failed
    std::string read(int size = 16384) const;
    std::string write(const std::string& data) const;
    std::string finish(); ///< "" when the connection is gone

    Link link;
    Owned<SSL> server, client;
    uint64_t socket = static_cast<uint64_t>(link.own); ///< as the library is told
};

} // namespace testlib

#endif

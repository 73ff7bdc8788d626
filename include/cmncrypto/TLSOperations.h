/** @file
 * TLS 1.2 servers on sockets that the caller has accepted.
 */
#ifndef CMNCRYPTO_TLSOPERATIONS_H
#define CMNCRYPTO_TLSOPERATIONS_H

#include <cstdint>
#include <memory>

#include <openssl/types.h>

#include "cmncrypto/export.h"
#include "cmncrypto/types.h"

namespace CmnCrypto {

namespace WinCertStore {
class WinCertStoreOpenSSLHelper;
}
namespace tls {
struct Context;
}

/** Where the certificate and key of a TLSOperations come from. */
enum CTX_INIT_TYPE : int32_t {
    CTX_INIT_MASTER = 0, ///< files or a certificate store: tlsInitMaster()
    CTX_INIT_CLIENT = 1  ///< memory, for connections that clients open: tlsInitClient()
};

/**
 * One fixed recipe for a TLS server: TLS 1.2 (RFC 5246) and nothing else, the server's order of cipher suites, a full
 * handshake for every connection (no session cache, no tickets), no certificate asked of the peer.
 *
 * An object sets up any number of connections, each as its own SSL that outlives the object: init, then tlsAccept(),
 * tlsRead() and tlsWrite() as often as wanted, tlsFinish(), which frees it. Where a step fails, the caller frees the
 * SSL with SSL_free(). The socket stays open and is the caller's throughout, and none of its settings is changed. It
 * may be blocking or not; its number may be any that the system gives out. A number that is no socket fails the call.
 * On Windows it is the SOCKET, of which the system gives out none above INT_MAX; the library starts Winsock
 * (WSAStartup) before it first uses a socket, for hosts that have not, and never ends it.
 *
 * A call waits as long as its peer takes, unless setIoTimeout() says otherwise. Signals do not end a wait, and a peer
 * that has gone does not raise SIGPIPE.
 *
 * A further init changes nothing for the connections of an earlier one. It makes a new context wherever it can, so that
 * what a host wants to add to the recipe (a verification of the peer, for example) belongs to each SSL, before
 * tlsAccept().
 *
 * Threads: one at a time per object and per SSL; different connections are independent, also of an init that goes on.
 * Copies share a context, so that they count as one object while they are set up.
 */
class CMNCRYPTO_API TLSOperations {
public:
    /** Makes the context. @throws CmnException 36 when it cannot be made, -1 for an unknown type */
    explicit TLSOperations(CTX_INIT_TYPE type);
    /** Shares the other's contexts, of which it holds its own references, and its bridge. */
    TLSOperations(const TLSOperations& other);
    TLSOperations& operator=(const TLSOperations& other); ///< as the copy constructor
    virtual ~TLSOperations();

    /** Sets the bridge that tlsInitMaster() asks for certificates out of a store; empty for none. */
    void setWinCertStoreOpenSSLHelper(const std::shared_ptr<WinCertStore::WinCertStoreOpenSSLHelper>& helper);

    /**
     * Sets up a connection with a certificate and key in memory. A further call may bring others.
     * @param certificate,key stay the caller's
     * @param cipherList as SSL_CTX_set_cipher_list() takes it
     * @param ssl receives the connection, null after a failure
     * @return 0
     * @throws CmnException 114 without certificate or key; 9110 when the cipher list or certificate is refused; 9129
     *         when the key is refused; 9130 when it is not the certificate's; 36; 20 for a null @p ssl or an object of
     *         the other type
     */
    int tlsInitClient(X509* certificate, EVP_PKEY* key, const char* cipherList, SSL** ssl);

    /**
     * Sets up a connection with a certificate and key from files, or from a store through the bridge where the
     * certificate path is that of a store. A further call reads everything anew.
     * @param paths see SSLCTXHelper for the files
     * @param loadCa 1 to read the file of trusted authorities, too
     * @param ssl receives the connection, null after a failure
     * @return 0
     * @throws CmnException 9110, 9129, 9130 and 36 as tlsInitClient(); 12 and 13 for a file that cannot be read, or a
     *         wrong pass phrase; 20 for a null argument, a store path without a bridge, or an object of the other type.
     *         A bridge that fails gives the code, and leaves the object without a context: every later call fails
     */
    int tlsInitMaster(const CertInfoPath* paths, const char* cipherList, int loadCa, SSL** ssl);

    /**
     * Binds a connection to its socket and runs the server's handshake.
     * @return 0; 9120 when the handshake fails, for which the log has the reason at level 8; 9131 when it timed out
     * @throws CmnException 36 when memory is short; 20 for a null connection
     */
    static int tlsAccept(uint64_t socket, SSL** ssl);

    /**
     * Reads what has arrived, and waits while that is nothing.
     * @param size of the buffer in bytes, above 0
     * @param count receives the number of bytes read, 0 when the peer has closed the connection in due form
     * @return 0
     * @throws CmnException 13 when reading failed, also for a peer that closed the socket without notice; 9131 when it
     *         timed out, after which reading can go on; 20 for a null argument
     */
    static int tlsRead(SSL* ssl, uint64_t socket, int size, void* buffer, int* count);

    /**
     * Writes all of @p length bytes, of more than INT_MAX the first INT_MAX.
     * @param length above 0
     * @param count receives the number of bytes written
     * @return 0
     * @throws CmnException 14 when writing failed; 9131 when it timed out: a part may have gone then, and nothing else
     *         can be written; 20 for a null argument
     */
    static int tlsWrite(uint64_t socket, const void* data, uint64_t length, SSL** ssl, int* count);

    /**
     * Tells the peer that this was all, waits until it says the same, and frees the connection. What it still sends in
     * between is lost.
     * @return 0; @p ssl is gone
     * @throws CmnException 9118 after three attempts; 9131 when it timed out; 20 for null. The caller frees @p ssl then
     */
    static int tlsFinish(SSL* ssl, uint64_t socket);

    /**
     * Limits the time of each later call of tlsAccept(), tlsRead(), tlsWrite() and tlsFinish() with this connection, as
     * a whole, on blocking sockets, too. A call that takes longer logs it and fails with 9131.
     * @param milliseconds 0 or less for no limit, as it is at first
     * @return 0; 20 for null; 36 when memory is short
     */
    static int setIoTimeout(SSL* ssl, int milliseconds);

private:
    int tls_ctx_init_client(X509* certificate, EVP_PKEY* key, const char* cipherList);
    int tls_ctx_init_master(const CertInfoPath* paths, const char* cipherList, int loadCa);
    int loadFromStore(const char* storePath);

    std::shared_ptr<tls::Context> m_clientContext;
    std::shared_ptr<tls::Context> m_masterContext;
    std::shared_ptr<WinCertStore::WinCertStoreOpenSSLHelper> m_winCertStoreHelper;
};

} // namespace CmnCrypto

#endif

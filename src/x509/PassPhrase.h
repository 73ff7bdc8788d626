#ifndef CMNCRYPTO_X509_PASSPHRASE_H
#define CMNCRYPTO_X509_PASSPHRASE_H

#include <string>
#include <string_view>

#include "ossl/OpenSsl.h"

namespace CmnCrypto {

/**
 * Where the pass phrase of a PEM object comes from. OpenSSL may ask several times in one reading; the source is asked
 * once, and its answer is wiped with this object. Nothing ever asks on a terminal.
 */
class PassPhrase {
public:
    /** @param callback the source; null: @p userData is the pass phrase itself, NUL-terminated, or null for none */
    PassPhrase(pem_password_cb* callback, void* userData) noexcept : m_callback(callback), m_userData(userData) {}
    /** @param text the pass phrase itself, which must outlive the object; without any there is none */
    explicit PassPhrase(const std::string& text) noexcept : m_text(text) {}
    ~PassPhrase();
    PassPhrase(const PassPhrase&) = delete;
    PassPhrase& operator=(const PassPhrase&) = delete;

    /** A pem_password_cb; @p self is a PassPhrase. @return the length, -1 when there is none */
    static int ask(char* buffer, int size, int writing, void* self);

    /** @return whether OpenSSL has asked */
    bool wasAsked() const noexcept { return m_asked; }

private:
    pem_password_cb* m_callback = nullptr;
    void* m_userData = nullptr;
    std::string_view m_text; ///< may hold zero bytes
    bool m_asked = false;
    int m_length = -1;
    char m_answer[PEM_BUFSIZE];
};

/** A pem_password_cb for what needs no pass phrase: without one OpenSSL would ask on the terminal. @return -1 */
int refusePassPhrase(char* buffer, int size, int writing, void* userData) noexcept;

} // namespace CmnCrypto

#endif

#ifndef CMNCRYPTO_X509_FILECONTENTS_H
#define CMNCRYPTO_X509_FILECONTENTS_H

#include <string>

#include "ossl/OpenSsl.h"

namespace CmnCrypto {

/**
 * A whole file in memory, which is wiped with the object. It is read once from begin to end, so that a pipe serves,
 * too; what is longer than any PEM file refuses to be read.
 */
class FileContents {
public:
    /** @return 0; 12 when the file cannot be opened, 13 when it cannot be read, 36 when memory is short */
    int read(const std::string& path);

    /** @return a BIO over the bytes, from their begin, which must not outlive the object; null when memory is short */
    OpenSslPtr<BIO> view() const;

private:
    OpenSslPtr<BIO> m_bytes; // a memory BIO wipes what it outgrows and what it held
};

} // namespace CmnCrypto

#endif

#ifndef CMNCRYPTO_REVOCATION_CRLFILE_H
#define CMNCRYPTO_REVOCATION_CRLFILE_H

#include <cstdint>
#include <string>

#include "ossl/OpenSsl.h"

namespace CmnCrypto {

/**
 * A file that may hold a revocation list. Of a regular file no more is kept in memory than what looks like the list;
 * what cannot be read a second time (a pipe, a device) is collected first, up to a limit.
 */
class CrlFile {
public:
    /** Opens the file, or opens it again to read it from its begin. @return 0; 13 when that fails, 36 */
    int open(const std::string& path);

    /** @return the list in DER at the begin of the file; null when there is none, with the reason in the error queue */
    OpenSslPtr<X509_CRL> readDer();
    /** @return the first list in PEM from here on; null when there is none */
    OpenSslPtr<X509_CRL> readPem();

private:
    OpenSslPtr<X509_CRL> readSizedDer();
    int collect();

    OpenSslPtr<BIO> m_file;
    OpenSslPtr<BIO> m_collected;
    uintmax_t m_size = 0; ///< 0 where it is not known
};

} // namespace CmnCrypto

#endif

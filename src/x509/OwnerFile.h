#ifndef CMNCRYPTO_X509_OWNERFILE_H
#define CMNCRYPTO_X509_OWNERFILE_H

#include <cstdio>
#include <string>

namespace CmnCrypto {

/** As createFile(), for a file that nobody but its owner may read, from its first moment on. */
std::FILE* createOwnerFile(const std::string& path) noexcept;

} // namespace CmnCrypto

#endif

#ifndef CMNCRYPTO_X509_PATHEXISTS_H
#define CMNCRYPTO_X509_PATHEXISTS_H

#include <string>

namespace CmnCrypto {

/** @return whether there is a file, a folder or anything else under @p path */
bool pathExists(const std::string& path) noexcept;

} // namespace CmnCrypto

#endif

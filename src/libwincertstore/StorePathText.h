#ifndef CMNCRYPTO_LIBWINCERTSTORE_STOREPATHTEXT_H
#define CMNCRYPTO_LIBWINCERTSTORE_STOREPATHTEXT_H

#include <string>
#include <vector>

namespace CmnCrypto::WinCertStore {

/** @return @p text without the blanks (the space character only) at its ends */
std::string withoutOuterBlanks(const std::string& text);

/** Splits a text where @p delimiter stands outside pairs of double quotes. @return the pieces, empty ones included;
 *          none for an empty text */
std::vector<std::string> splitOutsideQuotes(const std::string& text, char delimiter);

/** @return the store paths of a certificate path, trimmed */
std::vector<std::string> storePathsOf(const std::string& certPath);

/** @return the components of a store path; there should be three */
std::vector<std::string> componentsOf(const std::string& storePath);

/**
 * Tells a certificate path from the path of a file: each of its store paths has three components, none of their stores'
 * names is a drive letter, and there is no file of that name.
 */
bool isStorePath(const std::string& path);

} // namespace CmnCrypto::WinCertStore

#endif

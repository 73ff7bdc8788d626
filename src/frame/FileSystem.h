#ifndef CMNCRYPTO_FRAME_FILESYSTEM_H
#define CMNCRYPTO_FRAME_FILESYSTEM_H

#include <cstdint>
#include <cstdio>
#include <string>

namespace CmnCrypto {

// Paths are in UTF-8 where the system does not take any bytes.

/** As std::fopen(), to read: @p mode is "r" or "rb". */
std::FILE* openFile(const std::string& path, const char* mode) noexcept;

/** Creates a file to write binary data to. @return null, with errno EEXIST where there is something under @p path */
std::FILE* createFile(const std::string& path) noexcept;

/** Gives a closed file another name, also one that is taken. */
bool renameReplacing(const std::string& from, const std::string& to) noexcept;

/** Gives a closed file another name. @return false, with errno EEXIST where there is something under that name */
bool renameWithoutReplacing(const std::string& from, const std::string& to) noexcept;

/** As std::remove(), of a file. */
int removeFile(const std::string& path) noexcept;

/** @return whether there is a file, a folder or anything else under @p path */
bool pathExists(const std::string& path) noexcept;

/** @return whether a path is a link that leads to something else */
bool isLink(const std::string& path) noexcept;

/** @return the size of a regular file, 0 for anything else */
uintmax_t regularFileSize(const std::string& path) noexcept;

} // namespace CmnCrypto

#endif

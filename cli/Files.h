/** @file
 * What the system does with files, the one part of it that differs by platform. Names are in UTF-8. Where nothing else
 * is said, a call that fails answers false or -1 and sets errno.
 */
#ifndef CMNCRYPTO_CLI_FILES_H
#define CMNCRYPTO_CLI_FILES_H

#include <cstddef>
#include <cstdint>
#include <string>

namespace CmnCrypto::Cli {

constexpr int standardInput = 0;
constexpr int standardOutput = 1;
constexpr int standardError = 2;

enum class FileKind { none, regular, folder, other };

struct FileStatus {
    FileKind kind = FileKind::none;
    bool readableByOthers = false; ///< by its mode, which not every system has
    uint64_t device = 0;
    uint64_t number = 0; ///< with the device, the file's identity
    uint64_t size = 0;
};

/** @return whether both are one regular file */
inline bool isSameFile(const FileStatus& one, const FileStatus& other) noexcept {
    return one.kind == FileKind::regular && one.device == other.device && one.number == other.number;
}

/** Follows symbolic links. */
bool statusOf(const std::string& name, FileStatus& status);
bool statusOf(int descriptor, FileStatus& status) noexcept;
/** @return whether there is something under this name, and not just a symbolic link that leads nowhere */
inline bool isThere(const std::string& name) {
    FileStatus status;
    return statusOf(name, status);
}
/** @return whether something has this name, be it a symbolic link that leads nowhere */
bool isNameTaken(const std::string& name);
/** @return whether the names in this folder can be read */
bool isFolderReadable(const std::string& folder);
/** @return the name of the file that symbolic links lead to; @p name itself where that cannot be told */
std::string resolveLinks(const std::string& name);
/** @return the folder in which a name stands */
std::string folderOf(const std::string& name);
/** @return the folder for files that nobody is to see */
std::string temporaryFolder();

/** Opens a file, folder or device. It is never in text mode, and no child inherits it. */
int openToRead(const std::string& name);
/** As openToRead(), a pipe or device that is there. */
int openToWrite(const std::string& name);
/** Creates a file of which the last six characters of @p name are replaced. Separators in the name become those that
 *  the system wants. @param confidential for its owner alone */
int createTemporaryFile(std::string& name, bool confidential);

/** @return the number of bytes read, 0 at the end */
ptrdiff_t readFrom(int descriptor, void* data, size_t size) noexcept;
/** @return the number of bytes written, which may be less than @p size */
ptrdiff_t writeTo(int descriptor, const void* data, size_t size) noexcept;
/** @return whether a descriptor takes something without waiting, as far as that can be told */
bool canWriteAtOnce(int descriptor) noexcept;
bool rewindFile(int descriptor) noexcept;
/** Makes what was written last. */
bool synchronize(int descriptor) noexcept;
/** Makes the names in a folder last; a file system that cannot do it is no reason to fail. */
void synchronizeFolder(const std::string& folder);
bool closeFile(int descriptor) noexcept;
/** Ends the use of standard output, so that a late error (a full disk) is told. */
bool finishStandardOutput() noexcept;

/** Gives a closed file another name, also one that is taken. */
bool renameReplacing(const std::string& from, const std::string& to);
/** As above, unless the name is taken: false with EEXIST. */
bool renameWithoutReplacing(const std::string& from, const std::string& to);
/** Also for signal handlers. */
bool removeFile(const char* name) noexcept;

} // namespace CmnCrypto::Cli

#endif

#include "OutputFile.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <memory>
#include <unistd.h>
#include <vector>

#include "Failure.h"
#include "Interrupt.h"
#include "Writing.h"

namespace CmnCrypto::Cli {

namespace {

Failure unwritable(const std::string& what) {
    return Failure::ofSystem(ExitCode::outputUnwritable, what, errno);
}

Failure exists(const std::string& name) {
    return {ExitCode::outputExists, name + ": exists already; choose another name or add --force"};
}

mode_t currentUmask() {
    const mode_t mask = ::umask(077);
    ::umask(mask);
    return mask;
}

/** Gives a file its name unless the name is taken. @return false with errno set, EEXIST when it is taken */
bool renameWithoutReplacing(const char* from, const char* to) {
    if (::renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE) == 0) {
        return true;
    }
    if (errno != EINVAL && errno != ENOSYS) {
        return false;
    }
    // File systems without that flag (some network ones) have hard links.
    return ::link(from, to) == 0 && ::unlink(from) == 0;
}

/** Makes a rename last; a file system that cannot do it is no reason to fail. */
void syncFolder(const std::string& folder) {
    const FileDescriptor descriptor(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (descriptor.isOpen()) {
        ::fsync(descriptor.get());
    }
}

std::string folderOf(const std::string& path) {
    const std::string folder = std::filesystem::path(path).parent_path().string();
    return folder.empty() ? "." : folder;
}

} // namespace

OutputFile::OutputFile(const OutputOptions& options) : m_name(options.name), m_existing(), m_force(options.force) {
    openTarget(options.force);
    if (!m_target.isOpen()) {
        createTemporary(folderOf(m_path));
        if (!options.confidential && ::fchmod(m_file.get(), 0666 & ~currentUmask()) != 0) {
            const Failure failure = unwritable(m_name);
            discard();
            throw failure;
        }
    } else if (options.holdBack) {
        const char* folder = std::getenv("TMPDIR");
        createTemporary(folder != nullptr && *folder != '\0' ? folder : "/tmp");
        discard(); // the open file lives on without a name
    }
}

OutputFile::~OutputFile() {
    discard();
}

void OutputFile::openTarget(bool force) {
    if (m_name == "-") {
        m_target = FileDescriptor(STDOUT_FILENO);
        if (::fstat(STDOUT_FILENO, &m_existing) != 0) {
            throw unwritable(label());
        }
        return;
    }
    if (m_name.empty()) {
        throw Failure(ExitCode::usage, "-o: the name is empty; name a file");
    }
    m_path = m_name;
    if (::stat(m_name.c_str(), &m_existing) != 0) {
        struct stat link = {};
        if (errno != ENOENT) {
            throw unwritable(m_name);
        }
        if (!force && ::lstat(m_name.c_str(), &link) == 0) {
            throw exists(m_name); // a symbolic link that leads nowhere
        }
        m_existing = {};
    } else if (S_ISDIR(m_existing.st_mode)) {
        throw Failure(ExitCode::outputUnwritable, m_name + ": is a folder; name a file in it");
    } else if (!S_ISREG(m_existing.st_mode)) {
        m_target = FileDescriptor(::open(m_name.c_str(), O_WRONLY | O_CLOEXEC | O_NOCTTY));
        if (!m_target.isOpen()) {
            throw unwritable(m_name);
        }
    } else if (!force) {
        throw exists(m_name);
    } else {
        // A symbolic link stays one; the file that it leads to is replaced.
        const std::unique_ptr<char, decltype(&std::free)> real(::realpath(m_name.c_str(), nullptr), &std::free);
        m_path = real ? real.get() : m_name;
    }
}

void OutputFile::createTemporary(const std::string& folder) {
    const std::string pattern = folder + "/.cmncrypto-XXXXXX";
    if (pattern.size() > maximalTemporaryPath) {
        throw Failure(ExitCode::outputUnwritable, m_name + ": the path is too long");
    }
    std::vector<char> path(pattern.c_str(), pattern.c_str() + pattern.size() + 1);
    const SignalBlock block;
    m_file = FileDescriptor(::mkostemp(path.data(), O_CLOEXEC));
    if (!m_file.isOpen()) {
        throw unwritable(label() + ": no file can be created in " + folder);
    }
    m_temporary = path.data();
    addTemporaryFile(m_temporary);
}

void OutputFile::discard() noexcept {
    if (!m_temporary.empty()) {
        const SignalBlock block;
        ::unlink(m_temporary.c_str());
        removeTemporaryFile(m_temporary);
        m_temporary.clear();
    }
}

void OutputFile::refuseSameAs(const InputFile& input) const {
    refuseSameAs(input.status());
}

void OutputFile::refuseSameAs(const std::string& input) const {
    struct stat status = {};
    if (input != "-" && ::stat(input.c_str(), &status) == 0) {
        refuseSameAs(status);
    }
}

void OutputFile::refuseSameAs(const struct stat& status) const {
    if (S_ISREG(status.st_mode) && status.st_dev == m_existing.st_dev && status.st_ino == m_existing.st_ino) {
        throw Failure(ExitCode::usage, m_name + ": is the input as well; name another output");
    }
}

void OutputFile::write(const unsigned char* data, size_t size) {
    const FileDescriptor& file = m_file.isOpen() ? m_file : m_target;
    writeFully(file.get(), data, size, label());
}

void OutputFile::commit() {
    if (!m_target.isOpen()) {
        rename();
        return;
    }
    if (m_file.isOpen()) {
        copyHeldBack();
    }
    if (m_target.get() != STDOUT_FILENO && !m_target.close()) {
        throw unwritable(m_name);
    }
}

void OutputFile::copyHeldBack() {
    FileDescriptor held = std::move(m_file); // from here on write() goes to the target
    std::vector<unsigned char> buffer(InputFile::pieceSize);
    ssize_t count = ::lseek(held.get(), 0, SEEK_SET) == 0 ? 1 : -1;
    while (count > 0) {
        count = ::read(held.get(), buffer.data(), buffer.size());
        write(buffer.data(), count > 0 ? static_cast<size_t>(count) : 0);
    }
    if (count < 0) {
        throw unwritable("temporary file");
    }
}

void OutputFile::rename() {
    if (::fsync(m_file.get()) != 0 || !m_file.close()) {
        throw unwritable(m_name);
    }
    const SignalBlock block;
    const bool done = m_force ? ::rename(m_temporary.c_str(), m_path.c_str()) == 0
                              : renameWithoutReplacing(m_temporary.c_str(), m_path.c_str());
    if (!done) {
        throw errno == EEXIST ? exists(m_name) : unwritable(m_name);
    }
    removeTemporaryFile(m_temporary);
    m_temporary.clear();
    m_made = m_existing.st_nlink == 0;
    syncFolder(folderOf(m_path));
}

void OutputFile::withdraw() noexcept {
    if (m_made) {
        ::unlink(m_path.c_str());
        m_made = false;
    }
}

std::string OutputFile::label() const {
    return m_name == "-" ? "standard output" : m_name;
}

bool OutputFile::isTerminal() const noexcept {
    return m_target.isOpen() && ::isatty(m_target.get()) == 1;
}

std::string defaultBinaryOutput() {
    if (::isatty(STDOUT_FILENO) == 1) {
        throw Failure(ExitCode::usage,
                      "standard output: is a terminal; name an output with -o FILE (-o - writes here all the same)");
    }
    return "-";
}

} // namespace CmnCrypto::Cli

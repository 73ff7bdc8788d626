#include "OutputFile.h"

#include <cerrno>
#include <vector>

#include "Failure.h"
#include "Interrupt.h"
#include "Terminal.h"
#include "Writing.h"

namespace CmnCrypto::Cli {

namespace {

Failure unwritable(const std::string& what) {
    return Failure::ofSystem(ExitCode::outputUnwritable, what, errno);
}

Failure exists(const std::string& name) {
    return {ExitCode::outputExists, name + ": exists already; choose another name or add --force"};
}

} // namespace

OutputFile::OutputFile(const OutputOptions& options) : m_name(options.name), m_force(options.force) {
    openTarget(options.force);
    if (!m_target.isOpen()) {
        createTemporary(folderOf(m_path), options.confidential);
    } else if (options.holdBack) {
        createTemporary(temporaryFolder(), true);
        discard(); // the open file lives on without a name
    }
}

OutputFile::~OutputFile() {
    discard();
}

void OutputFile::openTarget(bool force) {
    if (m_name == "-") {
        m_target = FileDescriptor(standardOutput);
        if (!statusOf(standardOutput, m_existing)) {
            throw unwritable(label());
        }
        return;
    }
    if (m_name.empty()) {
        throw Failure(ExitCode::usage, "-o: the name is empty; name a file");
    }
    m_path = m_name;
    if (!statusOf(m_name, m_existing)) {
        if (errno != ENOENT) {
            throw unwritable(m_name);
        }
        if (!force && isNameTaken(m_name)) {
            throw exists(m_name); // a symbolic link that leads nowhere
        }
        m_existing = {};
    } else if (m_existing.kind == FileKind::folder) {
        throw Failure(ExitCode::outputUnwritable, m_name + ": is a folder; name a file in it");
    } else if (m_existing.kind != FileKind::regular) {
        m_target = FileDescriptor(openToWrite(m_name));
        if (!m_target.isOpen()) {
            throw unwritable(m_name);
        }
    } else if (!force) {
        throw exists(m_name);
    } else {
        // A symbolic link stays one; the file that it leads to is replaced.
        m_path = resolveLinks(m_name);
    }
}

void OutputFile::createTemporary(const std::string& folder, bool confidential) {
    std::string path = folder + "/.cmncrypto-XXXXXX";
    if (path.size() > maximalTemporaryPath) {
        throw Failure(ExitCode::outputUnwritable, m_name + ": the path is too long");
    }
    const SignalBlock block;
    m_file = FileDescriptor(createTemporaryFile(path, confidential));
    if (!m_file.isOpen()) {
        throw unwritable(label() + ": no file can be created in " + folder);
    }
    m_temporary = path;
    addTemporaryFile(m_temporary);
}

void OutputFile::discard() noexcept {
    if (!m_temporary.empty()) {
        const SignalBlock block;
        removeFile(m_temporary.c_str());
        removeTemporaryFile(m_temporary);
        m_temporary.clear();
    }
}

void OutputFile::refuseSameAs(const InputFile& input) const {
    refuseSameAs(input.status());
}

void OutputFile::refuseSameAs(const std::string& input) const {
    FileStatus status;
    if (input != "-" && statusOf(input, status)) {
        refuseSameAs(status);
    }
}

void OutputFile::refuseSameAs(const FileStatus& status) const {
    if (isSameFile(status, m_existing)) {
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
    if (m_target.get() != standardOutput && !m_target.close()) {
        throw unwritable(m_name);
    }
}

void OutputFile::copyHeldBack() {
    FileDescriptor held = std::move(m_file); // from here on write() goes to the target
    std::vector<unsigned char> buffer(InputFile::pieceSize);
    ptrdiff_t count = rewindFile(held.get()) ? 1 : -1;
    while (count > 0) {
        count = readFrom(held.get(), buffer.data(), buffer.size());
        write(buffer.data(), count > 0 ? static_cast<size_t>(count) : 0);
    }
    if (count < 0) {
        throw unwritable("temporary file");
    }
}

void OutputFile::rename() {
    if (!synchronize(m_file.get()) || !m_file.close()) {
        throw unwritable(m_name);
    }
    const SignalBlock block;
    const bool done = m_force ? renameReplacing(m_temporary, m_path) : renameWithoutReplacing(m_temporary, m_path);
    if (!done) {
        throw errno == EEXIST ? exists(m_name) : unwritable(m_name);
    }
    removeTemporaryFile(m_temporary);
    m_temporary.clear();
    m_made = m_existing.kind == FileKind::none;
    synchronizeFolder(folderOf(m_path));
}

void OutputFile::withdraw() noexcept {
    if (m_made) {
        removeFile(m_path.c_str());
        m_made = false;
    }
}

std::string OutputFile::label() const {
    return m_name == "-" ? "standard output" : m_name;
}

bool OutputFile::isTerminal() const noexcept {
    return m_target.isOpen() && Cli::isTerminal(m_target.get());
}

std::string defaultBinaryOutput() {
    if (isTerminal(standardOutput)) {
        throw Failure(ExitCode::usage,
                      "standard output: is a terminal; name an output with -o FILE (-o - writes here all the same)");
    }
    return "-";
}

} // namespace CmnCrypto::Cli

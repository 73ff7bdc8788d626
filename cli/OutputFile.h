/** @file
 * The output of a command: whole under its name, or not there at all.
 */
#ifndef CMNCRYPTO_CLI_OUTPUTFILE_H
#define CMNCRYPTO_CLI_OUTPUTFILE_H

#include <cstddef>
#include <string>

#include "FileDescriptor.h"
#include "InputFile.h"

namespace CmnCrypto::Cli {

/** Where output goes and how careful it has to be. */
struct OutputOptions {
    std::string name;          ///< a file, or "-" for standard output
    bool force = false;        ///< replace an existing file
    bool confidential = false; ///< the file is for its owner only; otherwise the umask decides
    bool holdBack = false;     ///< nothing reaches a pipe, terminal or device before commit()
};

/**
 * Collects output in a temporary file beside the target and renames it in commit(). Without commit(), or when a
 * signal ends the process, nothing stays behind. Standard output and devices are written directly, or, when held
 * back, through a temporary file that has no name.
 */
class OutputFile {
public:
    /**
     * Checks the target and creates the temporary file, so that what cannot be written fails before any work.
     * @throws Failure (output exists, output cannot be written)
     */
    explicit OutputFile(const OutputOptions& options);
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    /** @throws Failure (usage) when the output would destroy, or feed, this input */
    void refuseSameAs(const InputFile& input) const;
    /** As above, for an input that is not open; "-" is none. */
    void refuseSameAs(const std::string& input) const;
    /** @throws Failure (output cannot be written) */
    void write(const unsigned char* data, size_t size);
    /** Makes the output appear. @throws Failure (output cannot be written, output exists) */
    void commit();
    /** Takes a commit() back where nothing had been before it; what it replaced, a pipe or a device stays as it is. */
    void withdraw() noexcept;
    /** @return whether the output is a terminal */
    bool isTerminal() const noexcept;

private:
    void refuseSameAs(const FileStatus& status) const;
    void openTarget(bool force);
    void createTemporary(const std::string& folder, bool confidential);
    void copyHeldBack();
    void rename();
    void discard() noexcept;
    std::string label() const; // the target as messages name it

    std::string m_name;
    std::string m_path;      // the file to appear, links resolved; empty when the target is written directly
    FileDescriptor m_target; // standard output, pipe or device
    FileDescriptor m_file;   // temporary file
    std::string m_temporary; // its path while it has one
    FileStatus m_existing;   // the target as found, of no kind if it was not there
    bool m_force;
    bool m_made = false; // commit() made a file where none had been
};

/**
 * The name to write to when -o was not given.
 * @return "-" @throws Failure (usage) when standard output is a terminal
 */
std::string defaultBinaryOutput();

} // namespace CmnCrypto::Cli

#endif

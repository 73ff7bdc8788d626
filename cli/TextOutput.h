/** @file
 * Output of a subcommand that makes one text: a key, a request, a certificate, a signature.
 */
#ifndef CMNCRYPTO_CLI_TEXTOUTPUT_H
#define CMNCRYPTO_CLI_TEXTOUTPUT_H

#include <optional>
#include <string>

#include <CLI/CLI.hpp>

#include "Details.h"
#include "OutputFile.h"

namespace CmnCrypto::Cli {

struct TextOutputOptions {
    std::string name;
    CLI::Option* given = nullptr;
    bool force = false;
    bool json = false;
};

/** Adds --output, --force and --json. */
void addTextOutputOptions(CLI::App& parser, TextOutputOptions& options);

/** What the output is like. */
enum class OutputKind {
    text,         ///< goes anywhere
    binary,       ///< a terminal has to be asked for, and a document cannot hold it
    confidential, ///< as binary, and the file is for its owner only
};

/** A file or standard output; without a name and with --json a member of the document, when it is a text. */
class TextOutput {
public:
    /**
     * Checks the target before any work is done.
     * @throws Failure (usage, output exists, output cannot be written)
     */
    TextOutput(const TextOutputOptions& options, OutputKind kind);

    /** @throws Failure (usage) when the output would destroy this input */
    void refuseSameAs(const std::string& input) const;

    /**
     * Makes the output appear.
     * @param member its name in the document where it goes there
     * @throws Failure (output cannot be written, output exists)
     */
    void deliver(const std::string& text, const std::string& member, Details& details);

private:
    std::string m_name;
    std::optional<OutputFile> m_file;
};

} // namespace CmnCrypto::Cli

#endif

#include "TextOutput.h"

#include "Failure.h"
#include "FileOption.h"

namespace CmnCrypto::Cli {

void addTextOutputOptions(CLI::App& parser, TextOutputOptions& options) {
    options.given =
        parser.add_option("-o,--output", options.name, "File to write; - is standard output")->check(namedFile());
    parser.add_flag("--force", options.force, "Replace an existing output");
    parser.add_flag("--json", options.json, "Print the result as one JSON document");
}

TextOutput::TextOutput(const TextOutputOptions& options, OutputKind kind) {
    const bool named = options.given->count() > 0;
    if (options.json && named && options.name == "-") {
        throw Failure(ExitCode::usage, "--json: needs standard output for itself; name an output with -o FILE");
    }
    if (options.json && !named && kind != OutputKind::text) {
        throw Failure(ExitCode::usage, kind == OutputKind::binary
                                           ? "--json: DER goes to a file; give -o FILE"
                                           : "--json: a private key goes to a file; give -o FILE");
    }
    if (named || !options.json) {
        m_name = named ? options.name : kind == OutputKind::text ? "-" : defaultBinaryOutput();
        m_file.emplace(OutputOptions{m_name, options.force, kind == OutputKind::confidential, false});
    }
}

void TextOutput::refuseSameAs(const std::string& input) const {
    if (m_file) {
        m_file->refuseSameAs(input);
    }
}

void TextOutput::deliver(const std::string& text, const std::string& member, Details& details) {
    if (m_file) {
        m_file->write(reinterpret_cast<const unsigned char*>(text.data()), text.size());
        m_file->commit();
        details.add("", "output", m_name);
    } else {
        details.add("", member, text);
    }
}

} // namespace CmnCrypto::Cli

#include <filesystem>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

#include "CertificateFile.h"
#include "CertificateInput.h"
#include "Commands.h"
#include "FileOption.h"
#include "Interrupt.h"
#include "Printable.h"
#include "Report.h"

namespace CmnCrypto::Cli {

namespace {

struct SplitOptions {
    CertificateOptions certificate;
    std::string folder;
    std::string prefix = "cert-";
};

/** Files, and their folder where it is new, that go again unless all could be written. */
class FileSet {
public:
    /** @throws Failure (output cannot be written) */
    explicit FileSet(const std::string& folder) : m_folder(std::filesystem::u8path(folder)) {
        std::error_code error;
        m_isNew = std::filesystem::create_directory(m_folder, error);
        if (error) {
            throw Failure(ExitCode::outputUnwritable, folder + ": " + error.message());
        }
    }
    FileSet(const FileSet&) = delete;
    FileSet& operator=(const FileSet&) = delete;
    ~FileSet() {
        std::error_code ignored; // nothing more can be done
        for (const std::string& file : m_files) {
            std::filesystem::remove(std::filesystem::u8path(file), ignored);
        }
        if (m_isNew) {
            std::filesystem::remove(m_folder, ignored);
        }
    }

    void add(const std::string& file) { m_files.push_back(file); }
    /** Lets the files stay. @return their names */
    std::vector<std::string> keep() {
        m_isNew = false;
        return std::move(m_files);
    }

private:
    std::filesystem::path m_folder;
    bool m_isNew;
    std::vector<std::string> m_files;
};

/** With as many digits for all, so that the names sort as the chain does. */
std::string fileName(const SplitOptions& options, size_t position, size_t count) {
    const std::string digits = std::to_string(position);
    const std::string zeros(std::to_string(count).size() - digits.size(), '0');
    return options.folder + "/" + options.prefix + zeros + digits + ".pem";
}

ExitCode runSplit(const SplitOptions& options) {
    if (options.prefix.find('/') != std::string::npos) {
        throw Failure(ExitCode::usage, "--prefix: is the beginning of a file name; leave the \"/\" out");
    }
    const CertificateInput input(options.certificate.input);
    std::vector<std::string> names;
    {
        const SignalBlock block; // all files or none
        FileSet files(options.folder);
        for (size_t i = 0; i < input.size(); ++i) {
            const std::string name = fileName(options, i + 1, input.size());
            saveToNewFile(input.at(i), name);
            files.add(name);
        }
        names = files.keep();
    }
    if (options.certificate.json) {
        printJson({{"input", options.certificate.input}, {"files", names}});
        return ExitCode::success;
    }
    for (const std::string& name : names) {
        printLine(printable(name, Backslash::keep));
    }
    return ExitCode::success;
}

} // namespace

Command addChainSplitCommand(CLI::App& group) {
    auto options = std::make_shared<SplitOptions>();
    CLI::App* parser = group.add_subcommand("split", "Write each certificate to a new file of its own");
    parser->add_option("-d,--folder", options->folder, "Folder for the files; made where it is missing")
        ->required()
        ->check(namedFile());
    parser->add_option("--prefix", options->prefix, "What the file names begin with")->capture_default_str();
    addCertificateOptions(*parser, options->certificate);
    return {parser, [options] { return runSplit(*options); }};
}

} // namespace CmnCrypto::Cli

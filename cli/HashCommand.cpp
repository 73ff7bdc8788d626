#include <algorithm>
#include <array>
#include <cctype>
#include <memory>
#include <string>
#include <vector>

#include "Commands.h"
#include "InputFile.h"
#include "ProgressBar.h"
#include "Report.h"
#include "cmncrypto/CmnApi.h"
#include "cmncrypto/HashGenerator.h"

namespace CmnCrypto::Cli {

namespace {

struct Algorithm {
    const char* name;
    _HASH_ALGO value;
    size_t digits;
};

constexpr std::array<Algorithm, 4> algorithms = {{{"SHA256", HASH_ALGO_SHA256, 64},
                                                  {"SHA512", HASH_ALGO_SHA512, 128},
                                                  {"SHA1", HASH_ALGO_SHA1, 40},
                                                  {"MD5", HASH_ALGO_MD5, 32}}};

struct HashOptions {
    std::string algorithm = algorithms[0].name;
    std::string expected;
    CLI::Option* expectGiven = nullptr;
    std::vector<std::string> files;
    bool json = false;
    bool quiet = false;
};

struct FileDigest {
    std::string hex;
    uint64_t bytes;
};

FileDigest hashFile(const std::string& name, _HASH_ALGO algorithm, bool quiet) {
    InputFile input(name);
    HashGenerator generator(algorithm);
    ProgressBar progress(name, input.size(), !quiet);
    std::vector<unsigned char> buffer(InputFile::pieceSize);
    FileDigest digest = {"", 0};
    size_t count = 0;
    do {
        count = input.read(buffer.data(), buffer.size());
        generator.addData(buffer.data(), count);
        digest.bytes += count;
        progress.update(digest.bytes);
    } while (count == buffer.size());
    generator.generateHexHash(digest.hex);
    return digest;
}

/** The line of sha256sum and its kin: names with a backslash or a line break are escaped and the line says so. */
std::string checksumLine(const std::string& digest, const std::string& name) {
    std::string escaped;
    for (const char character : name) {
        switch (character) {
        case '\\':
            escaped += "\\\\";
            break;
        case '\n':
            escaped += "\\n";
            break;
        case '\r':
            escaped += "\\r";
            break;
        default:
            escaped += character;
        }
    }
    return (escaped == name ? "" : "\\") + digest + "  " + escaped;
}

std::string checkedExpectation(const HashOptions& options, const Algorithm& algorithm) {
    std::string expected = options.expected;
    if (options.expectGiven->count() > 0 && options.files.size() > 1) {
        throw Failure(ExitCode::usage, "--expect: goes with one input only; hash the files one by one");
    }
    const bool digits = std::all_of(expected.begin(), expected.end(), [](unsigned char c) { return std::isxdigit(c); });
    if (options.expectGiven->count() > 0 && (!digits || expected.size() != algorithm.digits)) {
        throw Failure(ExitCode::usage, std::string("--expect: is no ") + algorithm.name + " digest; give " +
                                           std::to_string(algorithm.digits) + " hexadecimal digits");
    }
    std::transform(expected.begin(), expected.end(), expected.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return expected;
}

/** Hashes one input and reports it. An input that cannot be read is reported too, and the others go on. */
ExitCode hashOne(const HashOptions& options, const Algorithm& algorithm, const std::string& name,
                 const std::string& expected, Json& document) {
    Json entry = {{"file", name}};
    ExitCode result = ExitCode::success;
    try {
        const FileDigest digest = hashFile(name, algorithm.value, options.quiet);
        entry["digest"] = digest.hex;
        entry["bytes"] = digest.bytes;
        if (!options.json) {
            printLine(checksumLine(digest.hex, name));
        }
        if (!expected.empty()) {
            entry["matches"] = digest.hex == expected;
            result = digest.hex == expected ? ExitCode::success : ExitCode::negative;
        }
        if (result == ExitCode::negative) {
            printError(name + ": the digest differs: expected " + expected);
        }
    } catch (const Failure& failure) {
        if (failure.exit() != ExitCode::inputUnreadable) {
            throw;
        }
        printError(failure.what());
        addFailure(entry, failure);
        addFailure(document, failure);
        result = failure.exit();
    }
    document["files"].push_back(entry);
    return result;
}

ExitCode runHash(const HashOptions& options) {
    const Algorithm& algorithm = *std::find_if(algorithms.begin(), algorithms.end(), [&](const Algorithm& candidate) {
        return options.algorithm == candidate.name;
    });
    const std::string expected = checkedExpectation(options, algorithm);
    Json document = {{"algorithm", algorithm.name}, {"files", Json::array()}};
    ExitCode result = ExitCode::success;
    for (const std::string& name : options.files.empty() ? std::vector<std::string>{"-"} : options.files) {
        const ExitCode one = hashOne(options, algorithm, name, expected, document);
        result = one == ExitCode::success ? result : one;
    }
    if (options.json) {
        printJson(document);
    }
    return result;
}

} // namespace

Command addHashCommand(CLI::App& app) {
    auto options = std::make_shared<HashOptions>();
    CLI::App* parser = app.add_subcommand("hash", "Digests of files or standard input");
    parser->add_option("-a,--algorithm", options->algorithm, "Digest")
        ->check(CLI::IsMember({"SHA256", "SHA512", "SHA1", "MD5"}))
        ->capture_default_str();
    options->expectGiven =
        parser->add_option("-e,--expect", options->expected, "Compare with this digest; exit code 1 when it differs");
    parser->add_flag("--json", options->json, "Print the result as one JSON document");
    parser->add_flag("-q,--quiet", options->quiet, "No progress bar");
    addFileNames(*parser, "Files to hash; - or none: standard input", options->files);
    return {parser, [options] { return runHash(*options); }};
}

} // namespace CmnCrypto::Cli

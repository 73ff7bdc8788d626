#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "Commands.h"
#include "OutputFile.h"
#include "ProgressBar.h"
#include "Report.h"
#include "Secret.h"
#include "cmncrypto/RandomNumberGenerator.h"

namespace CmnCrypto::Cli {

namespace {

/** Text forms are made in one call, and decimal conversion takes time quadratic in the length. */
constexpr uint64_t maximalTextBytes = 65536;
constexpr uint64_t maximalRawBytes = uint64_t{1} << 50;

struct RandomOptions {
    std::string bytes = "32";
    std::string format = "hex";
    std::string output;
    CLI::Option* outputGiven = nullptr;
    bool force = false;
    bool json = false;
    bool quiet = false;
};

void writeRaw(OutputFile& output, uint64_t count, bool quiet) {
    ProgressBar progress("random", count, !quiet && !output.isTerminal());
    Secret buffer(InputFile::pieceSize);
    for (uint64_t done = 0; done < count;) {
        const auto piece = static_cast<size_t>(std::min<uint64_t>(count - done, buffer.size()));
        RandomNumberGenerator::generateRandomBytes(buffer.bytes(), static_cast<int>(piece));
        output.write(buffer.bytes(), piece);
        done += piece;
        progress.update(done);
    }
}

Secret numberText(const std::string& format, uint64_t count) {
    char* number = nullptr;
    RandomNumberGenerator::generateRandomNumber(format == "dec" ? BIGNUM_TO_DEC : BIGNUM_TO_HEX, &number,
                                                static_cast<int>(count));
    const std::unique_ptr<char, decltype(&std::free)> owner(number, &std::free);
    const size_t length = std::strlen(number);
    Secret text(length);
    std::memcpy(text.data(), number, length);
    OPENSSL_cleanse(number, length);
    return text;
}

ExitCode runRandom(const RandomOptions& options) {
    const bool raw = options.format == "raw";
    const uint64_t count = parseCount("--bytes", options.bytes, 1, raw ? maximalRawBytes : maximalTextBytes);
    const bool named = options.outputGiven->count() > 0;
    const std::string name = named ? options.output : raw ? defaultBinaryOutput() : "-";
    if (options.json && name == "-" && (raw || named)) {
        throw Failure(ExitCode::usage, "--json: needs standard output for itself; name an output with -o FILE");
    }
    Json document = {{"bytes", count}, {"format", options.format}};
    const Secret number = raw ? Secret() : numberText(options.format, count);
    if (options.json && name == "-") {
        document["number"] = number.text();
    } else {
        // What is drawn is usually a key.
        OutputFile output({name, options.force, true, false});
        if (raw) {
            writeRaw(output, count, options.quiet);
        } else {
            output.write(reinterpret_cast<const unsigned char*>(number.text().data()), number.size());
            output.write(reinterpret_cast<const unsigned char*>("\n"), 1);
        }
        output.commit();
        document["output"] = name;
    }
    if (options.json) {
        printJson(document);
    }
    return ExitCode::success;
}

} // namespace

Command addRandomCommand(CLI::App& app) {
    auto options = std::make_shared<RandomOptions>();
    CLI::App* parser = app.add_subcommand("random", "Random numbers and key files");
    parser->add_option("-n,--bytes", options->bytes, "Number of random bytes")->capture_default_str();
    parser->add_option("-f,--format", options->format, "Form of the number")
        ->check(CLI::IsMember({"hex", "dec", "raw"}))
        ->capture_default_str();
    options->outputGiven = parser->add_option("-o,--output", options->output,
                                              "File to write, readable by its owner only; - is standard "
                                              "output");
    parser->add_flag("--force", options->force, "Replace an existing output");
    parser->add_flag("--json", options->json, "Print the result as one JSON document");
    parser->add_flag("-q,--quiet", options->quiet, "No progress bar");
    return {parser, [options] { return runRandom(*options); }};
}

} // namespace CmnCrypto::Cli

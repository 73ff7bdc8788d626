#include <algorithm>
#include <cctype>
#include <limits>
#include <memory>
#include <new>
#include <optional>
#include <string>

#include <openssl/x509v3.h>

#include "Commands.h"
#include "CrlDetails.h"
#include "CrlEntries.h"
#include "CrlInput.h"
#include "CrlProblems.h"
#include "FileOption.h"
#include "OpenSslOwner.h"

namespace CmnCrypto::Cli {

namespace {

constexpr uint64_t entriesByDefault = 100;
constexpr uint64_t mostEntries = std::numeric_limits<int>::max();
constexpr size_t longestSerial = 4096; ///< digits

struct ShowOptions {
    std::string input = "-";
    CLI::Option* inputGiven = nullptr;
    std::string entries;
    CLI::Option* entriesGiven = nullptr;
    std::string serial;
    CLI::Option* serialGiven = nullptr;
    bool json = false;
};

/** The word behind --entries may be left out; what follows then is the input. */
uint64_t takeCount(ShowOptions& options) {
    if (options.entriesGiven->count() == 0) {
        return 0;
    }
    const bool number = std::all_of(options.entries.begin(), options.entries.end(),
                                    [](unsigned char c) { return std::isdigit(c) != 0; });
    if (!number && options.inputGiven->count() == 0) {
        options.input = options.entries;
        return entriesByDefault;
    }
    return options.entries.empty() ? entriesByDefault : parseCount("--entries", options.entries, 0, mostEntries);
}

OwnedInteger parseSerial(const std::string& text) {
    std::string digits = text;
    digits.erase(
        std::remove_if(digits.begin(), digits.end(), [](unsigned char c) { return c == ':' || std::isspace(c) != 0; }),
        digits.end());
    if (digits.size() > 2 && digits[0] == '0' && (digits[1] == 'x' || digits[1] == 'X')) {
        digits.erase(0, 2);
    }
    BIGNUM* raw = nullptr;
    const bool fits = !digits.empty() && digits.size() <= longestSerial &&
                      BN_hex2bn(&raw, digits.c_str()) == static_cast<int>(digits.size());
    const OwnedBignum value(raw);
    if (!fits) {
        throw Failure(ExitCode::usage, "--serial: \"" + text + "\" is no number in hexadecimal");
    }
    OwnedInteger serial(BN_to_ASN1_INTEGER(value.get(), nullptr));
    if (!serial) {
        throw std::bad_alloc();
    }
    return serial;
}

/** Adds what the list says about one serial number. @return whether that certificate is revoked */
bool addLookUp(const Crl& list, const ASN1_INTEGER* serial, Details& details) {
    const X509_REVOKED* const entry = findEntry(list, serial);
    Details found;
    found.add("Serial number", "serialNumber", hexadecimal(serial));
    found.add("  Listed", "listed", entry != nullptr);
    const std::optional<CrlEntry> content = entry == nullptr ? std::nullopt : std::optional<CrlEntry>(entry);
    if (content) {
        content->addTo(found);
    }
    details.addPart("lookUp", found);
    return content && content->reason != CRL_REASON_REMOVE_FROM_CRL;
}

ExitCode runShow(ShowOptions& options) {
    const uint64_t count = takeCount(options);
    const OwnedInteger serial = options.serialGiven->count() == 0 ? nullptr : parseSerial(options.serial);
    const CrlInput input(options.input, CrlInput::Extent::first);
    const Crl& list = input.first();
    Details details;
    input.addTo(details);
    addListIdentity(list, "", details);
    addListProperties(list, details);
    const bool listed = serial && addLookUp(list, serial.get(), details);
    input.addFurtherLists(details);
    addListProblems(list, details);
    if (options.json && count > 0) {
        std::string text = jsonText(details.document());
        text.replace(text.size() - 1, 1, ",\"entries\":" + describeEntries(list, count) + "}");
        printLine(text);
    } else {
        details.print(options.json);
    }
    if (!options.json && count > 0) {
        printLine("");
        printEntries(list, count);
    }
    return listed ? ExitCode::negative : ExitCode::success;
}

} // namespace

Command addCrlShowCommand(CLI::App& group) {
    auto options = std::make_shared<ShowOptions>();
    CLI::App* parser = group.add_subcommand("show", "All about a revocation list, and what is wrong with it");
    options->entriesGiven =
        parser->add_option("-e,--entries", options->entries, "List the first N entries (100)")->expected(0, 1);
    options->serialGiven = parser->add_option(
        "-s,--serial", options->serial, "Look for this serial number in hexadecimal; exit code 1 when it is revoked");
    parser->add_flag("--json", options->json, "Print the result as one JSON document");
    options->inputGiven =
        parser->add_option("IN", options->input, "Revocation list in PEM or DER; - or none: standard input")
            ->check(namedFile());
    return {parser, [options] { return runShow(*options); }};
}

} // namespace CmnCrypto::Cli

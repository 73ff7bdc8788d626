// Paths into certificate stores, and fingerprints. Where there are neither quotes nor placeholders the grammar is that
// of a plain split.

#include <algorithm>

#include "Harness.h"

using namespace CmnCrypto::WinCertStore;

/** @return the pieces of a text between a character */
static std::vector<std::string> pieces(const std::string& text, char between) {
    std::vector<std::string> found(1);
    for (const char character : text) {
        if (character == between) {
            found.emplace_back();
        } else {
            found.back() += character;
        }
    }
    return found;
}

static void parse(const std::string& input) {
    _win_cert_store_path path;
    const int code = CertificateSelector::SplitCertPath(input, path);
    fuzz::require(code == 0 || code == 20 || code == 8764 || code == 8775, "a code of the parser");
    fuzz::require((code == 20) == input.empty(), "an empty path is no argument");
    if (code == 0) {
        fuzz::require(!path.store_name.empty() && path.issuer_patterns.size() == 1 && path.subject_patterns.size() == 1,
                      "one store, one issuer, one subject");
    }
    if (input.empty() || input.find_first_of("\"$") != std::string::npos) {
        return;
    }
    const std::vector<std::string> parts = pieces(input, '\\');
    const bool complete = parts.size() == 3 && !parts[0].empty() && !parts[2].empty();
    fuzz::require(complete == (code == 0), "three components, of which the issuer may be empty");
    fuzz::require(!complete || (path.store_name == parts[0] && path.issuer_patterns.front().name == parts[1] &&
                                path.subject_patterns.front().name == parts[2]),
                  "the components as they are");
}

static bool isFingerprint(std::string text) {
    text.erase(std::remove_if(text.begin(), text.end(), [](char c) { return c == ' ' || c == ':'; }), text.end());
    const auto isDigit = [](char c) { return (c >= '0' && c <= '9') || ((c | 0x20) >= 'a' && (c | 0x20) <= 'f'); };
    return text.size() == 40 && std::all_of(text.begin(), text.end(), isDigit);
}

void fuzz::tryOut(const std::string& input) {
    setCertStorePlatform(std::make_shared<SoftwareCertStore>("/proc/self/fdinfo")); // which has no folder
    parse(input);
    const CertificateSelector selector(input, {std::make_shared<TimeLagCertificateFilter>(1)});
    WinCertStoreCertificate certificate;
    std::list<CandidateVerdict> verdicts;
    require(selector.GetCertificate(certificate, true) != 0 && selector.CheckCertPresence() != 0 &&
                certificate.GetContext() == nullptr && selector.GetCertPath() == input,
            "nothing is selected from no store");
    require(selector.Explain(verdicts) != 0 && verdicts.empty(), "nothing is explained");
    require(WinCertStoreHelper::IsValidFingerprint(input) == isFingerprint(input), "40 hexadecimal digits");
    const int code = selector.FindCertInStore(input, certificate);
    require(code == 20 || code == 8764 || code == 8772, "no store is found");
    require(ERR_peek_error() == 0, "the error queue is empty afterwards");
}

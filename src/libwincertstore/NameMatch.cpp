#include "libwincertstore/NameMatch.h"

#include <algorithm>

#include "frame/AsciiCase.h"
#include "libwincertstore/StorePathText.h"

namespace CmnCrypto::WinCertStore {

namespace {

bool occurs(const std::string& name, const std::string& pattern) {
    const std::string trimmed = withoutOuterBlanks(pattern);
    if (trimmed.empty()) {
        return !pattern.empty(); // blanks alone match every name
    }
    // The blanks around a pattern count for this comparison alone.
    return name.size() >= pattern.size() && upperCased(name).find(upperCased(trimmed)) != std::string::npos;
}

bool matches(const std::string& name, const NamePattern& pattern) {
    return occurs(name, pattern.name) == (pattern.exclude == 0);
}

} // namespace

bool subjectMatches(const std::string& subject, const std::list<NamePattern>& patterns) {
    return !patterns.empty() && std::all_of(patterns.begin(), patterns.end(),
                                            [&](const NamePattern& pattern) { return matches(subject, pattern); });
}

bool issuerMatches(const std::string& issuer, const std::list<NamePattern>& patterns) {
    return std::all_of(patterns.begin(), patterns.end(),
                       [&](const NamePattern& pattern) { return pattern.name.empty() || matches(issuer, pattern); });
}

} // namespace CmnCrypto::WinCertStore

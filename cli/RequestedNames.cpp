#include "RequestedNames.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <sstream>

#include "Failure.h"
#include "Socket.h"

namespace CmnCrypto::Cli {

namespace {

constexpr std::array<const char*, 4> kinds = {"DNS:", "IP:", "email:", "URI:"};

bool startsWith(const std::string& text, const std::string& start) {
    return text.compare(0, start.size(), start) == 0;
}

bool isHostCharacter(unsigned char c) {
    return std::isalnum(c) != 0 || c == '-' || c == '.' || c == '_' || c == '*';
}

bool isVisible(unsigned char c) {
    return c > 0x20 && c < 0x7f;
}

/** Nothing that OpenSSL's configuration would take for something else: "email:copy" fetches from the subject. */
bool isPlain(const std::string& kind, const std::string& value) {
    const auto holds = [&](char wanted) { return value.find(wanted) != std::string::npos; };
    if (kind == "IP:") {
        return isPlainAddress(value);
    }
    return !value.empty() && std::all_of(value.begin(), value.end(), kind == "DNS:" ? isHostCharacter : isVisible) &&
           (kind != "email:" || holds('@')) && (kind != "URI:" || holds(':'));
}

std::string checkedName(const std::string& option, const std::string& name) {
    const auto* given =
        std::find_if(kinds.begin(), kinds.end(), [&](const char* kind) { return startsWith(name, kind); });
    const bool bare = given == kinds.end() && (name.find(':') == std::string::npos || isPlainAddress(name));
    const std::string kind = given != kinds.end() ? *given : isPlainAddress(name) ? "IP:" : "DNS:";
    const std::string value = given != kinds.end() ? name.substr(kind.size()) : name;
    if ((given == kinds.end() && !bare) || !isPlain(kind, value)) {
        throw Failure(ExitCode::usage, option + ": \"" + name + "\" is no alternative name; write DNS:host.example, " +
                                           "IP:10.0.0.1, email:me@host.example or URI:https://host.example/ " +
                                           "(other scripts as xn--...)");
    }
    return kind + value;
}

} // namespace

std::string requestedNames(const std::string& option, const std::vector<std::string>& names) {
    std::string joined;
    for (const std::string& several : names) {
        std::istringstream stream(several);
        std::string name;
        do {
            std::getline(stream, name, ',');
            joined += (joined.empty() ? "" : ",") + checkedName(option, name);
            name.clear();
        } while (!stream.eof());
    }
    return joined;
}

} // namespace CmnCrypto::Cli

#include "libwincertstore/StorePathText.h"

#include <algorithm>

#include "frame/FileSystem.h"
#include "frame/Logging.h"

namespace CmnCrypto::WinCertStore {

namespace {

/** @return the positions of @p delimiter that stand between a pair of quotes */
std::vector<size_t> GetDelimiterIndexToIgnore(const std::string& text, char delimiter) {
    std::vector<size_t> quotes;
    // Paths rely on a quote in the first position opening no pair.
    for (size_t at = text.find('"', 1); at != std::string::npos; at = text.find('"', at + 1)) {
        quotes.push_back(at);
    }
    if (quotes.size() % 2 != 0) {
        clogmsg(logWarning, "GetDelimiterIndexToIgnore",
                "There is no matching quote for one of the quotes. The certificate lookup might fail if all paths are "
                "not valid.");
    }
    std::vector<size_t> ignored;
    for (size_t pair = 0; pair + 1 < quotes.size(); pair += 2) {
        for (size_t at = quotes[pair] + 1; at < quotes[pair + 1]; ++at) {
            if (text[at] == delimiter) {
                ignored.push_back(at);
            }
        }
    }
    return ignored;
}

bool isAsPath(const std::string& storePath) {
    const std::vector<std::string> components = componentsOf(storePath);
    return components.size() == 3 && (components[0].empty() || components[0].back() != ':');
}

} // namespace

std::string withoutOuterBlanks(const std::string& text) {
    const size_t first = text.find_first_not_of(' ');
    return first == std::string::npos ? std::string() : text.substr(first, text.find_last_not_of(' ') - first + 1);
}

std::vector<std::string> splitOutsideQuotes(const std::string& text, char delimiter) {
    std::vector<std::string> pieces;
    if (text.empty()) {
        return pieces;
    }
    const std::vector<size_t> ignored = GetDelimiterIndexToIgnore(text, delimiter);
    size_t begin = 0;
    for (size_t at = text.find(delimiter); at != std::string::npos; at = text.find(delimiter, at + 1)) {
        if (!std::binary_search(ignored.begin(), ignored.end(), at)) {
            pieces.push_back(text.substr(begin, at - begin));
            begin = at + 1;
        }
    }
    pieces.push_back(text.substr(begin));
    return pieces;
}

std::vector<std::string> storePathsOf(const std::string& certPath) {
    std::vector<std::string> paths = splitOutsideQuotes(certPath, ',');
    std::transform(paths.begin(), paths.end(), paths.begin(), withoutOuterBlanks);
    return paths;
}

std::vector<std::string> componentsOf(const std::string& storePath) {
    return splitOutsideQuotes(storePath, '\\');
}

bool isStorePath(const std::string& path) {
    // The look for backslashes first: a plain file name costs nothing more and warns about no quotes.
    if (path.find('\\') == std::string::npos || pathExists(path)) {
        return false;
    }
    const std::vector<std::string> paths = storePathsOf(path);
    return std::all_of(paths.begin(), paths.end(), isAsPath);
}

} // namespace CmnCrypto::WinCertStore

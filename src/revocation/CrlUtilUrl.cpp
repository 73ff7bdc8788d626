// The server and port of a URL.

#include <algorithm>
#include <cstdlib>
#include <new>
#include <string>

#include "cmncrypto/CrlUtil.h"
#include "frame/AsciiCase.h"
#include "frame/Failure.h"

using namespace CmnCrypto;

namespace {

constexpr const char* tag = "CrlUtil::parseURL";
constexpr int httpsPort = 443;
constexpr int httpPort = 80;

int malformed(const char* text) {
    clogmsg(logFailure, tag, "%s", text);
    return codeInvalidArgument;
}

/** @return the well-known port of the URL's scheme, 0 when it has none of the two */
int wellKnownPort(const std::string& url) {
    // Anywhere in the URL, not only where a scheme stands: callers configure URLs that rely on it.
    if (url.find("https") != std::string::npos) {
        clogmsg(logInfo, tag, "URL is https");
        return httpsPort;
    }
    if (url.find("http") != std::string::npos) {
        clogmsg(logInfo, tag, "URL is http");
        return httpPort;
    }
    return 0;
}

void logWellKnownPort(int port) {
    clogmsg(logInfo, tag,
            port == httpsPort ? "Selected well-known https port = [ %d ]" : "Selected well-known http port = [ %d ]",
            port);
}

int split(const std::string& url, std::string& server, int& port) {
    const int schemePort = wellKnownPort(url);
    if (schemePort == 0) {
        return malformed("URL is missing supported [http | https] protocol");
    }
    constexpr const char* separator = "://";
    const size_t separated = url.find(separator);
    if (separated == std::string::npos) {
        return malformed("URL is missing \"://\"");
    }
    const std::string rest = url.substr(separated + std::char_traits<char>::length(separator));
    clogmsg(logInfo, tag, "tmpString = [ %s ]", rest.c_str());
    const size_t slash = rest.find('/');
    const size_t colon = rest.find(':');
    const bool hasPort = colon < slash && colon != std::string::npos; // a later ':' belongs to the path
    if (!hasPort) {
        logWellKnownPort(schemePort);
    }
    if (slash == std::string::npos) {
        return malformed("URL is missing \"/\", after server address");
    }
    server = rest.substr(0, hasPort ? colon : slash);
    if (hasPort) {
        port = static_cast<int>(std::strtol(rest.substr(colon + 1, slash - colon - 1).c_str(), nullptr, 10));
        clogmsg(logInfo, tag, "Found server = [ %s ] and port = [ %d ]", server.c_str(), port);
    } else {
        port = schemePort;
        clogmsg(logInfo, tag, "Found server = [ %s ]", server.c_str());
    }
    return 0;
}

} // namespace

int CrlUtil::parseURL(const std::string& url, std::string& server, int& port) {
    port = -1;
    try {
        std::string lower = url; // before the outputs change: a caller may pass one string as both
        std::transform(lower.begin(), lower.end(), lower.begin(), lowerCase);
        server.clear();
        return split(lower, server, port);
    } catch (const std::bad_alloc&) {
        server.clear();
        port = -1;
        clogmsg(logFailure, tag, "Failed to allocate memory.");
        return codeNoMemory;
    }
}

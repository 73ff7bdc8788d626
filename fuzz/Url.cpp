// URLs of revocation lists, compared with what OpenSSL's HTTP client makes of them.

#include <openssl/http.h>

#include "Harness.h"

void fuzz::tryOut(const std::string& input) {
    std::string url = input;
    std::string server = "before";
    int port = 77;
    int result = 0;
    succeeds([&] { result = CrlUtil::parseURL(url, server, port); });
    for (char& byte : url) {
        byte = static_cast<char>(byte >= 'A' && byte <= 'Z' ? byte - 'A' + 'a' : byte);
    }
    const size_t begin = url.find("://") + 3;
    require(result == 0 || (result == 20 && server.empty() && port == -1), "nothing is left of a malformed URL");
    require(result != 0 || url.compare(begin, server.size(), server) == 0, "the server stands behind the scheme");
    require(server.find_first_of("/:") == std::string::npos, "it ends where the port or the path begins");

    // Here a scheme counts anywhere and a "/" is asked for. The client knows user information, IPv6 literals and other
    // ends of a server, and takes port 0 for none.
    const bool isHttp = url.find("http://") == 0 && url.find("https") == std::string::npos;
    const bool isOther = url.find_first_of({"@[?#\0", 5}) != std::string::npos || url.find(":0") != std::string::npos;
    if ((isHttp || url.find("https://") == 0) && !isOther && url.find('/', begin) != std::string::npos) {
        char* host = nullptr;
        const bool isParsed =
            OSSL_HTTP_parse_url(url.c_str(), nullptr, nullptr, &host, nullptr, &result, nullptr, nullptr, nullptr) == 1;
        const bool isServer = isParsed && *host != '\0' && std::strchr(host, '/') == nullptr;
        require(!isServer || (server == host && port == result), "server and port as OpenSSL reads them");
        OPENSSL_free(host);
        noteSslError();
    }
}

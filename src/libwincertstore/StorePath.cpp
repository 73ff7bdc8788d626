// The grammar of store paths, and the host names in them.

#include <algorithm>

#include "cmncrypto/CertificateSelector.h"
#include "libwincertstore/StoreLog.h"
#include "libwincertstore/StorePathText.h"

namespace CmnCrypto::WinCertStore {

namespace {

constexpr const char* splitTag = "CertificateSelector::SplitCertPath";

/** Removes the quotes around a component; one that is quoted on one side only keeps its quote. */
void stripQuotes(std::string& component) {
    if (component.empty() || component.front() != '"' || component.back() != '"') {
        return;
    }
    const size_t first = component.find_first_not_of('"');
    component = first == std::string::npos ? std::string()
                                           : component.substr(first, component.find_last_not_of('"') - first + 1);
}

/** Replaces the first placeholder of a subject. @return 0; 8775 */
int replaceHostName(std::string& subject) {
    struct Placeholder {
        std::string_view text;
        HostnameType type;
    };
    // Only the first of the two that occurs is replaced: a subject with both keeps the other one.
    for (const Placeholder& placeholder :
         {Placeholder{"$hostname", HOSTNAME_FQDN}, Placeholder{"$shorthostname", HOSTNAME_SHORT}}) {
        const size_t at = subject.find(placeholder.text);
        if (at == std::string::npos) {
            continue;
        }
        const std::string name = CertificateSelector::GetHostName(placeholder.type);
        if (name.empty()) {
            logFailureOf(splitTag, {"Unable to get hostname from local machine."});
            return codeNoHostName;
        }
        subject.replace(at, placeholder.text.size(), name);
        return 0;
    }
    return 0;
}

int split(const std::string& certPath, _win_cert_store_path& path) {
    if (certPath.empty()) {
        return codeInvalidArgument;
    }
    std::vector<std::string> components = componentsOf(certPath);
    if (components.size() != 3) {
        logFailureOf(splitTag, {"The certpath format is incorrect. Check: ", "[", certPath, "]"});
        return codeStorePathMalformed;
    }
    const std::string& store = components[0];
    std::string& issuer = components[1];
    std::string& subject = components[2];
    stripQuotes(subject);
    stripQuotes(issuer);
    if (store.empty()) {
        logFailureOf(splitTag, {"The required input, store name is empty in provided certificate path.",
                                " Certificate Path: ", "[", certPath, "]"});
        return codeStorePathMalformed;
    }
    if (subject.empty()) {
        logFailureOf(splitTag,
                     {"The subject name is empty in certificate path.", " Certificate Path: ", "[", certPath, "]"});
        return codeStorePathMalformed;
    }
    if (const int code = replaceHostName(subject)) {
        return code;
    }
    path.store_name = store;
    path.issuer_patterns.assign(1, {issuer, 0});
    path.subject_patterns.assign(1, {subject, 0});
    return 0;
}

} // namespace

int CertificateSelector::SplitCertPath(const std::string& certPath, _win_cert_store_path& path) noexcept {
    return withoutThrowing(splitTag, codeNoMemory, [&] { return split(certPath, path); });
}

std::string CertificateSelector::GetHostName(HostnameType type) noexcept {
    constexpr const char* function = "CertificateSelector::GetHostName";
    return withoutThrowing(function, std::string(), [&]() -> std::string {
        char name[256] = {};
        const HostnameType known = type == HOSTNAME_SHORT ? HOSTNAME_SHORT : HOSTNAME_FQDN;
        if (const uint32_t error = certStorePlatform()->computerName(known, name, sizeof name)) {
            logWindowsErrorOf(function, {"GetComputerNameEx failed."}, error);
            return {};
        }
        traceOf(function, {"Hostname of local machine is: ", name});
        return name;
    });
}

} // namespace CmnCrypto::WinCertStore

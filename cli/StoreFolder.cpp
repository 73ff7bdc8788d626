#include "StoreFolder.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include <openssl/pem.h>

#include "CertificateDetails.h"
#include "Commands.h"
#include "FileOption.h"
#include "Files.h"
#include "LogPrinter.h"
#include "OpenSslOwner.h"
#include "ReadableName.h"
#include "SystemStores.h"
#include "cmncrypto/SoftwareCertStore.h"
#include "cmncrypto/TimeLagCertificateFilter.h"

namespace CmnCrypto::Cli {

namespace {

using WinCertStore::CandidateCheck;
using WinCertStore::CandidateVerdict;
using WinCertStore::WinCertStoreCertificate;

constexpr int noSuchFingerprint = 158;
constexpr int noSuchSubject = 8771;
constexpr uint32_t accessDenied = 5;

/** Beyond it the library's number of seconds would wrap: some 68 years. */
constexpr uint64_t maximalLag = INT32_MAX / 60;

OwnedCertificate decoded(const WinCertStoreCertificate& certificate) {
    OwnedCertificate x509(certificate.GetX509());
    if (!x509) {
        throw Failure(ExitCode::internal, "store: one of its certificates cannot be decoded");
    }
    return x509;
}

[[noreturn]] void refuseStore(const std::string& name) {
    throw Failure(ExitCode::inputUnreadable, "store " + name + ": cannot be opened, permission denied");
}

std::string storeList(const StoreSet& stores) {
    std::string list;
    for (const std::string& name : stores.storeNames()) {
        list += (list.empty() ? "" : ", ") + name;
    }
    return list.empty() ? "the folder has none: each of its subfolders is a store" : "there are: " + list;
}

/** Splits as the library does: a quote in the first position opens no pair, nor does one without another behind it. */
std::vector<std::string> splitOutsideQuotes(const std::string& text, char delimiter) {
    std::vector<std::string> pieces(1);
    bool quoted = false;
    for (size_t at = 0; at < text.size(); ++at) {
        if (text[at] == '"' && at > 0) {
            quoted = !quoted && text.find('"', at + 1) != std::string::npos;
        }
        if (text[at] == delimiter && !quoted) {
            pieces.emplace_back();
        } else {
            pieces.back() += text[at];
        }
    }
    return pieces;
}

CLI::Option* addFolderOption(CLI::App& parser, std::string& folder) {
    return parser
        .add_option("-s,--store", folder,
                    std::string("Folder of which each subfolder is a certificate store") +
                        (hasSystemStores() ? "; without this option the machine's stores" : ""))
        ->check(namedFile());
}

} // namespace

void addStoreOption(CLI::App& parser, std::string& folder) {
    addFolderOption(parser, folder)->required(!hasSystemStores());
}

void addStoreOptionIfWanted(CLI::App& parser, std::string& folder) {
    addFolderOption(parser, folder);
}

std::shared_ptr<const StoreSet> useStores(const std::string& folder) {
    if (folder.empty()) {
        return std::make_shared<StoreSet>(StoreSet{WinCertStore::certStorePlatform(), systemStoreNames});
    }
    FileStatus status;
    const bool there = statusOf(folder, status);
    if (there && status.kind != FileKind::folder) {
        throw Failure(ExitCode::inputUnreadable,
                      folder + ": is no folder; --store takes the folder that holds the stores");
    }
    if (!there || !isFolderReadable(folder)) {
        throw Failure::ofSystem(ExitCode::inputUnreadable, folder, errno);
    }
    auto stores = std::make_shared<WinCertStore::SoftwareCertStore>(folder);
    WinCertStore::setCertStorePlatform(stores);
    return std::make_shared<StoreSet>(StoreSet{stores, [stores] { return stores->storeNames(); }});
}

std::vector<std::string> listedNames(const std::string& text) {
    std::vector<std::string> names;
    for (size_t begin = 0; begin <= text.size();) {
        const size_t end = std::min(text.find(',', begin), text.size());
        const size_t first = text.find_first_not_of(' ', begin);
        if (first < end) {
            const size_t last = text.find_last_not_of(' ', end - 1);
            names.push_back(text.substr(first, last - first + 1));
        }
        begin = end + 1;
    }
    return names;
}

OpenedStore::OpenedStore(const std::shared_ptr<const StoreSet>& stores, const std::string& name)
    : m_platform(stores->platform) {
    const uint32_t error = m_platform->openStore(name, true, m_handle);
    if (error == accessDenied) {
        refuseStore(name);
    }
    if (error != 0) {
        throw Failure(ExitCode::inputUnreadable, "store " + name + ": cannot be opened, " +
                                                     m_platform->errorText(error) + "; " + storeList(*stores));
    }
}

bool OpenedStore::find(const std::string& fingerprint, WinCertStoreCertificate& certificate) const {
    captureFailures();
    const int code = WinCertStore::CertificateSelector::FindCertInStore(m_handle, fingerprint, certificate);
    if (code != 0 && code != noSuchFingerprint) {
        throw Failure(ExitCode::internal, "store: cannot be searched: " + latestFailure(), code);
    }
    return code == 0;
}

std::vector<WinCertStoreCertificate> OpenedStore::certificates() const {
    std::vector<WinCertStoreCertificate> found;
    WinCertStore::CertContext context = nullptr;
    while ((context = m_platform->findBySubject(m_handle, "", context)) != nullptr) {
        found.emplace_back(m_platform->duplicate(context), WinCertStore::CERT_MEMORY_OWNED, m_platform);
    }
    return found;
}

void refuseUnreadable(const std::shared_ptr<const StoreSet>& stores, const std::string& path) {
    for (const std::string& element : splitOutsideQuotes(path, ',')) {
        const size_t first = element.find_first_not_of(' ');
        if (first == std::string::npos) {
            continue;
        }
        const std::string name = element.substr(first, element.find('\\') - first);
        WinCertStore::CertStoreHandle store = nullptr;
        const uint32_t error = stores->platform->openStore(name, true, store);
        if (error == 0) {
            stores->platform->closeStore(store);
        } else if (error == accessDenied) {
            refuseStore(name);
        }
    }
}

std::string pemOf(const WinCertStoreCertificate& certificate) {
    const OwnedCertificate x509 = decoded(certificate);
    const OwnedBio bio(BIO_new(BIO_s_mem()));
    char* text = nullptr;
    if (!bio || PEM_write_bio_X509(bio.get(), x509.get()) != 1) {
        throw std::bad_alloc();
    }
    const long length = BIO_get_mem_data(bio.get(), &text);
    return {text, static_cast<size_t>(length)};
}

void addStoreCertificate(const WinCertStoreCertificate& certificate, Details& details) {
    const OwnedCertificate x509 = decoded(certificate);
    const X509Certificate content(x509.get(), false);
    details.add("Subject", "subject", readableName(content.getSubject()), Backslash::keep);
    details.add("Issuer", "issuer", readableName(content.getIssuer()), Backslash::keep);
    addDates(content, details);
    details.add("SHA-1 fingerprint", "sha1", content.generateHash(HASH_ALGO_SHA1));
    details.add("Private key", "hasKey", certificate.DoesPrivateKeyExist() != 0);
}

StoreFilters timeLagFilters(const std::string& minutes) {
    if (minutes.empty()) {
        return {};
    }
    const auto lag = static_cast<int>(parseCount("--time-lag", minutes, 0, maximalLag));
    return {std::make_shared<WinCertStore::TimeLagCertificateFilter>(lag)};
}

std::string storePathMistake(const std::string& path) {
    if (path.empty()) {
        return "";
    }
    for (const std::string& element : splitOutsideQuotes(path, ',')) {
        const size_t first = element.find_first_not_of(' ');
        if (first == std::string::npos) {
            return "an element is empty";
        }
        const std::vector<std::string> parts =
            splitOutsideQuotes(element.substr(first, element.find_last_not_of(' ') + 1 - first), '\\');
        if (parts.size() != 3) {
            return "each element is STORE\\ISSUER\\SUBJECT, where the issuer may be empty";
        }
        if (!parts[0].empty() && parts[0].back() == ':') {
            return "the name of a store ends in no colon";
        }
    }
    return "";
}

std::string refusalText(const CandidateVerdict& verdict) {
    switch (verdict.refusedBy) {
    case CandidateCheck::privateKey:
        return "the store has no private key for it that can be used: missing, unreadable, encrypted or another "
               "certificate's";
    case CandidateCheck::subject:
        return "its subject does not match";
    default:
        return selectionText(verdict.code);
    }
}

std::string selectionText(int code, const std::list<CandidateVerdict>& candidates) {
    return code != noSuchSubject || candidates.empty() ? selectionText(code) : refusalText(candidates.back());
}

std::string selectionText(int code) {
    static const std::vector<std::pair<int, const char*>> texts = {
        {8760, "it has expired; renew it"},
        {8764, "the path is malformed: each store path is STORE\\ISSUER\\SUBJECT, where the issuer may be empty"},
        {8767, "its issuer is another one than the path asks for"},
        {8770, "the filter chose none"},
        {8771, "no certificate in the store has such a subject; store list shows those that there are"},
        {8772, "there is no such store, or it cannot be read; store list shows those that there are"},
        {8773, "it is not valid yet"},
        {8775, "the name of this machine is not known, and the path asks for it"},
        {8776, "its key is no RSA key"},
        {8785, "its extended key usage excludes TLS clients"},
        {8786, "its key usage excludes TLS servers"},
        {8793, "the store does not give its private key: encrypted, malformed, or another certificate's"},
        {8799, "its signature algorithm is refused, as MD5 is"},
        {13, "a name in it cannot be read"},
        {20, "the path is empty"},
        {36, "there is not enough memory"},
    };
    const auto found =
        std::find_if(texts.begin(), texts.end(), [code](const auto& text) { return text.first == code; });
    return found == texts.end() ? "the library's code " + std::to_string(code) : found->second;
}

} // namespace CmnCrypto::Cli

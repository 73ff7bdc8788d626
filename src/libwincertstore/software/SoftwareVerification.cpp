// Whether a chain holds by what is in the stores of a software store.

#include <array>
#include <new>
#include <string_view>
#include <utility>

#include "cmncrypto/SoftwareCertStore.h"
#include "frame/AsciiCase.h"
#include "frame/Clock.h"
#include "libwincertstore/OpenStore.h"
#include "libwincertstore/StoreLog.h"
#include "libwincertstore/WindowsErrors.h"
#include "libwincertstore/software/Folder.h"
#include "libwincertstore/software/OpenFolder.h"
#include "libwincertstore/software/OwnedContext.h"
#include "ossl/ErrorQueue.h"
#include "x509/FileContents.h"
#include "x509/PassPhrase.h"

namespace CmnCrypto::WinCertStore {

namespace {

constexpr const char* verifyTag = "SoftwareCertStore::verifyChain";
constexpr std::string_view rootStore = "ROOT";
constexpr std::string_view authorityStore = "CA";
constexpr std::string_view listEnding = ".crl";

/** As OpenSSL counts, at least 80 bits: no digest below SHA-2, no RSA key far below 1024 bits. */
constexpr int securityLevel = 1;

/** What a verification goes by. */
struct Evidence {
    OpenSslPtr<STACK_OF(X509)> roots{sk_X509_new_null()};
    OpenSslPtr<STACK_OF(X509)> issuers{sk_X509_new_null()};
    OpenSslPtr<STACK_OF(X509_CRL)> lists{sk_X509_CRL_new_null()};
    bool listsComplete = true; ///< each list that is there could be read: another one may revoke
};

void append(STACK_OF(X509)* stack, X509* certificate) {
    if (stack == nullptr || X509_add_cert(stack, certificate, X509_ADD_FLAG_UP_REF) != 1) {
        throw std::bad_alloc();
    }
}

/** Appends a list. OpenSSL would take a delta list for a complete one, and as the newer one of the two. */
void append(const std::string& path, OpenSslPtr<X509_CRL> list, STACK_OF(X509_CRL)* lists) {
    if (X509_CRL_get_ext_by_NID(list.get(), NID_delta_crl, -1) >= 0) {
        clogmsg(logWarning, verifyTag, "The delta list in [%s] is left out: it holds changes only", path.c_str());
        return;
    }
    if (lists == nullptr || sk_X509_CRL_push(lists, list.get()) < 1) {
        throw std::bad_alloc();
    }
    static_cast<void>(list.release());
}

/** Appends all lists of a file, several in PEM or one in DER. @return false when one is malformed or there is none */
bool appendLists(const std::string& path, BIO* input, STACK_OF(X509_CRL)* lists) {
    const char* data = nullptr;
    const long length = BIO_get_mem_data(input, &data);
    const std::string_view text(data, static_cast<size_t>(length));
    if (text.find("-----BEGIN ") == std::string_view::npos) {
        const auto* position = reinterpret_cast<const unsigned char*>(data);
        OpenSslPtr<X509_CRL> list(d2i_X509_CRL(nullptr, &position, length));
        const bool whole = list && reinterpret_cast<const char*>(position) == data + length;
        if (whole) {
            append(path, std::move(list), lists);
        }
        return whole;
    }
    bool any = false;
    while (OpenSslPtr<X509_CRL> list{PEM_read_bio_X509_CRL(input, nullptr, refusePassPhrase, nullptr)}) {
        any = true;
        append(path, std::move(list), lists);
    }
    return any && ERR_GET_REASON(ERR_peek_last_error()) == PEM_R_NO_START_LINE;
}

/** Appends the lists of a folder. @return false when there is one that cannot be read, which is logged */
bool appendListsOf(const std::string& folder, STACK_OF(X509_CRL)* lists) {
    bool complete = true;
    for (const std::string& name : namesIn(folder)) {
        if (name.size() <= listEnding.size() ||
            name.compare(name.size() - listEnding.size(), listEnding.size(), listEnding) != 0) {
            continue;
        }
        const ossl::ErrorScope errors;
        std::string path = folder;
        path.append("/").append(name);
        FileContents contents;
        const bool isRead = kindOfEntry(path) == EntryKind::file && contents.read(path) == 0;
        const OpenSslPtr<BIO> input = isRead ? contents.view() : nullptr;
        if (!input || !appendLists(path, input.get(), lists)) {
            ERR_clear_error();
            logFailureOf(verifyTag, {"The revocation list [", path, "] cannot be read, or is malformed"});
            complete = false;
        }
    }
    return complete;
}

/** Adds what one store has. */
void collect(SoftwareCertStore& platform, const std::string& name, bool withLists, Evidence& evidence) {
    const OpenStore store(platform, name, true);
    if (store.error() == windowsNotEnoughMemory) {
        throw std::bad_alloc();
    }
    const bool isRoot = upperCased(name) == rootStore;
    const bool hasLists = withLists && (isRoot || upperCased(name) == authorityStore);
    if (store.error() != 0) {
        if (store.error() != windowsFileNotFound) { // else it went meanwhile
            logWindowsErrorOf(verifyTag, {"The store ", name, " cannot be read."}, store.error());
            evidence.listsComplete = evidence.listsComplete && !hasLists;
        }
        return;
    }
    ContextPtr last = owned(platform, platform.findBySubject(store.get(), "", nullptr));
    while (last) {
        append((isRoot ? evidence.roots : evidence.issuers).get(), last->certificate.get());
        last = owned(platform, platform.findBySubject(store.get(), "", last.release()));
    }
    if (hasLists && !appendListsOf(openFolder(store.get()).path, evidence.lists.get())) {
        evidence.listsComplete = false;
    }
}

Evidence collectAll(SoftwareCertStore& platform, const SoftwareContext& certificate, bool withLists) {
    Evidence evidence;
    const OpenSslPtr<STACK_OF(X509)> companions = companionsOf(certificate);
    for (int index = 0; index < sk_X509_num(companions.get()); ++index) {
        append(evidence.issuers.get(), sk_X509_value(companions.get(), index));
    }
    for (const std::string& name : platform.storeNames()) {
        collect(platform, name, withLists, evidence);
    }
    return evidence;
}

/** Sets what a certificate must be issued for. @return false when memory is short */
bool setHost(X509_VERIFY_PARAM* parameters, const std::string& host) {
    if (host.empty() || X509_VERIFY_PARAM_set1_ip_asc(parameters, host.c_str()) == 1) {
        return true;
    }
    const size_t length = host.size() - (host.back() == '.' ? 1 : 0); // of the root of all names
    return X509_VERIFY_PARAM_set1_host(parameters, host.c_str(), length) == 1;
}

/** @return false when memory is short */
bool setUp(X509_STORE_CTX* context, const CertChainPolicy& policy, bool withLists) {
    X509_VERIFY_PARAM* const parameters = X509_STORE_CTX_get0_param(context);
    X509_VERIFY_PARAM_set_time(parameters, now());
    X509_VERIFY_PARAM_set_auth_level(parameters, securityLevel);
    constexpr unsigned long listFlags = X509_V_FLAG_CRL_CHECK | X509_V_FLAG_CRL_CHECK_ALL;
    if (withLists && X509_VERIFY_PARAM_set_flags(parameters, listFlags) != 1) {
        return false;
    }
    // This call, unlike the parameters' own, also heeds for what a TRUSTED CERTIFICATE is trusted, or not.
    const int purpose = policy.server ? X509_PURPOSE_SSL_SERVER : X509_PURPOSE_SSL_CLIENT;
    return X509_STORE_CTX_set_purpose(context, purpose) == 1 && setHost(parameters, policy.hostName);
}

struct ErrorPair {
    int openSsl;
    uint32_t windows;
};
constexpr std::array<ErrorPair, 35> errorPairs = {{
    {X509_V_OK, 0},
    {X509_V_ERR_OUT_OF_MEM, windowsNotEnoughMemory},
    {X509_V_ERR_CERT_NOT_YET_VALID, windowsExpired},
    {X509_V_ERR_CERT_HAS_EXPIRED, windowsExpired},
    {X509_V_ERR_ERROR_IN_CERT_NOT_BEFORE_FIELD, windowsExpired},
    {X509_V_ERR_ERROR_IN_CERT_NOT_AFTER_FIELD, windowsExpired},
    {X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT, windowsChaining},
    {X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT_LOCALLY, windowsChaining},
    {X509_V_ERR_UNABLE_TO_VERIFY_LEAF_SIGNATURE, windowsChaining},
    {X509_V_ERR_CERT_CHAIN_TOO_LONG, windowsChaining},
    {X509_V_ERR_DEPTH_ZERO_SELF_SIGNED_CERT, windowsUntrustedRoot},
    {X509_V_ERR_SELF_SIGNED_CERT_IN_CHAIN, windowsUntrustedRoot},
    {X509_V_ERR_CERT_UNTRUSTED, windowsUntrustedRoot},
    {X509_V_ERR_CERT_REJECTED, windowsUntrustedRoot},
    {X509_V_ERR_CERT_SIGNATURE_FAILURE, windowsWrongSignature},
    {X509_V_ERR_UNABLE_TO_DECRYPT_CERT_SIGNATURE, windowsWrongSignature},
    {X509_V_ERR_CA_MD_TOO_WEAK, windowsWrongSignature},
    {X509_V_ERR_CERT_REVOKED, windowsRevoked},
    {X509_V_ERR_UNABLE_TO_GET_CRL, windowsRevocationUnknown},
    {X509_V_ERR_UNABLE_TO_GET_CRL_ISSUER, windowsRevocationUnknown},
    {X509_V_ERR_UNABLE_TO_DECRYPT_CRL_SIGNATURE, windowsRevocationUnknown},
    {X509_V_ERR_CRL_SIGNATURE_FAILURE, windowsRevocationUnknown},
    {X509_V_ERR_CRL_NOT_YET_VALID, windowsRevocationUnknown},
    {X509_V_ERR_CRL_HAS_EXPIRED, windowsRevocationUnknown},
    {X509_V_ERR_DIFFERENT_CRL_SCOPE, windowsRevocationUnknown},
    {X509_V_ERR_KEYUSAGE_NO_CRL_SIGN, windowsRevocationUnknown},
    {X509_V_ERR_HOSTNAME_MISMATCH, windowsWrongHostName},
    {X509_V_ERR_IP_ADDRESS_MISMATCH, windowsWrongHostName},
    {X509_V_ERR_INVALID_PURPOSE, windowsWrongUsage},
    {X509_V_ERR_INVALID_CA, windowsBasicConstraints},
    {X509_V_ERR_PATH_LENGTH_EXCEEDED, windowsBasicConstraints},
    {X509_V_ERR_PERMITTED_VIOLATION, windowsInvalidName},
    {X509_V_ERR_EXCLUDED_VIOLATION, windowsInvalidName},
    {X509_V_ERR_UNHANDLED_CRITICAL_EXTENSION, windowsCritical},
    {X509_V_ERR_UNHANDLED_CRITICAL_CRL_EXTENSION, windowsRevocationUnknown},
}};

uint32_t windowsErrorOf(int openSsl) {
    for (const ErrorPair& pair : errorPairs) {
        if (pair.openSsl == openSsl) {
            return pair.windows;
        }
    }
    return windowsTrustFailed;
}

uint32_t verify(X509* certificate, const Evidence& evidence, const CertChainPolicy& policy, bool withLists) {
    const OpenSslPtr<X509_STORE> store(X509_STORE_new());
    const OpenSslPtr<X509_STORE_CTX> context(X509_STORE_CTX_new());
    if (!store || !context ||
        X509_STORE_CTX_init(context.get(), store.get(), certificate, evidence.issuers.get()) != 1 ||
        !setUp(context.get(), policy, withLists)) {
        return windowsNotEnoughMemory;
    }
    X509_STORE_CTX_set0_trusted_stack(context.get(), evidence.roots.get());
    X509_STORE_CTX_set0_crls(context.get(), evidence.lists.get());
    if (X509_verify_cert(context.get()) == 1) {
        return evidence.listsComplete ? 0 : windowsRevocationUnknown;
    }
    const int error = X509_STORE_CTX_get_error(context.get());
    logFailureOf(verifyTag, {X509_verify_cert_error_string(error), ", at depth ",
                             std::to_string(X509_STORE_CTX_get_error_depth(context.get()))});
    return error == X509_V_OK ? windowsTrustFailed : windowsErrorOf(error);
}

} // namespace

uint32_t SoftwareCertStore::verifyChain(CertContext context, const CertChainPolicy& policy) {
    const ossl::ErrorScope errors;
    const SoftwareContext& own = *softwareContext(context);
    // With a dot before it OpenSSL would take any name below it.
    const std::string& host = policy.hostName;
    if (host.find('\0') != std::string::npos || (!host.empty() && host.front() == '.')) {
        return windowsWrongHostName;
    }
    // Nobody lists a certificate that has signed itself.
    const bool withLists = policy.checkRevocation && X509_self_signed(own.certificate.get(), 0) != 1;
    return verify(own.certificate.get(), collectAll(*this, own, withLists), policy, withLists);
}

} // namespace CmnCrypto::WinCertStore

// Whether a chain holds by what is in the stores of a software store.

#include <array>
#include <new>

#include "cmncrypto/CrlUtil.h"
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
};

void append(STACK_OF(X509)* stack, X509* certificate) {
    if (stack == nullptr || X509_add_cert(stack, certificate, X509_ADD_FLAG_UP_REF) != 1) {
        throw std::bad_alloc();
    }
}

/** Appends the lists of a folder; what is none is passed over, with a message. */
void appendLists(const std::string& folder, STACK_OF(X509_CRL)* lists) {
    for (const std::string& name : namesIn(folder)) {
        std::string path = folder;
        path.append("/").append(name);
        const bool isList = name.size() > listEnding.size() &&
                            name.compare(name.size() - listEnding.size(), listEnding.size(), listEnding) == 0;
        X509_CRL* list = nullptr;
        if (!isList || kindOfEntry(path) != EntryKind::file || CrlUtil::getX509Crl(path, &list) != 0) {
            continue;
        }
        OpenSslPtr<X509_CRL> owner(list);
        if (lists == nullptr || sk_X509_CRL_push(lists, list) < 1) {
            throw std::bad_alloc();
        }
        static_cast<void>(owner.release());
    }
}

/** Adds what one store has. */
void collect(SoftwareCertStore& platform, const std::string& name, bool withLists, Evidence& evidence) {
    const OpenStore store(platform, name, true);
    if (store.error() != 0) {
        return; // it went meanwhile
    }
    const bool isRoot = upperCased(name) == rootStore;
    ContextPtr last = owned(platform, platform.findBySubject(store.get(), "", nullptr));
    while (last) {
        append((isRoot ? evidence.roots : evidence.issuers).get(), last->certificate.get());
        last = owned(platform, platform.findBySubject(store.get(), "", last.release()));
    }
    if (withLists && (isRoot || upperCased(name) == authorityStore)) {
        appendLists(openFolder(store.get()).path, evidence.lists.get());
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

/** @return false when memory is short */
bool setUp(X509_VERIFY_PARAM* parameters, const CertChainPolicy& policy, bool withLists) {
    X509_VERIFY_PARAM_set_time(parameters, now());
    X509_VERIFY_PARAM_set_auth_level(parameters, securityLevel);
    constexpr unsigned long listFlags = X509_V_FLAG_CRL_CHECK | X509_V_FLAG_CRL_CHECK_ALL;
    if (withLists && X509_VERIFY_PARAM_set_flags(parameters, listFlags) != 1) {
        return false;
    }
    const std::string& host = policy.hostName;
    return X509_VERIFY_PARAM_set_purpose(parameters,
                                         policy.server ? X509_PURPOSE_SSL_SERVER : X509_PURPOSE_SSL_CLIENT) == 1 &&
           (host.empty() || X509_VERIFY_PARAM_set1_ip_asc(parameters, host.c_str()) == 1 ||
            X509_VERIFY_PARAM_set1_host(parameters, host.c_str(), host.size()) == 1);
}

struct ErrorPair {
    int openSsl;
    uint32_t windows;
};
constexpr std::array<ErrorPair, 34> errorPairs = {{
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
        !setUp(X509_STORE_CTX_get0_param(context.get()), policy, withLists)) {
        return windowsNotEnoughMemory;
    }
    X509_STORE_CTX_set0_trusted_stack(context.get(), evidence.roots.get());
    X509_STORE_CTX_set0_crls(context.get(), evidence.lists.get());
    if (X509_verify_cert(context.get()) == 1) {
        return 0;
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
    if (policy.hostName.find('\0') != std::string::npos) {
        return windowsWrongHostName;
    }
    // Nobody lists a certificate that has signed itself.
    const bool withLists = policy.checkRevocation && X509_self_signed(own.certificate.get(), 0) != 1;
    return verify(own.certificate.get(), collectAll(*this, own, withLists), policy, withLists);
}

} // namespace CmnCrypto::WinCertStore

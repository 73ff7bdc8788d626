#include "ChainVerification.h"

#include <algorithm>
#include <new>

#include <openssl/err.h>
#include <openssl/x509_vfy.h>
#include <openssl/x509v3.h>

#include "OpenSslOwner.h"
#include "cmncrypto/CrlUtil.h"
#include "cmncrypto/X509StoreCtx.h"

namespace CmnCrypto::Cli {

namespace {

void releaseCertificates(STACK_OF(X509)* stack) {
    sk_X509_pop_free(stack, X509_free);
}

void releaseBorrowedLists(STACK_OF(X509_CRL)* stack) {
    sk_X509_CRL_free(stack);
}

constexpr int notAboutLists = 9104; ///< the library's status for verify errors that have nothing to do with lists

using OwnedCertificates = Owned<STACK_OF(X509), releaseCertificates>;
using BorrowedLists = Owned<STACK_OF(X509_CRL), releaseBorrowedLists>;
using OwnedStore = Owned<X509_STORE, X509_STORE_free>;
using OwnedStoreContext = Owned<X509_STORE_CTX, X509_STORE_CTX_free>;

/** What only the callback sees: a verification says no more about its failure than a text. */
struct Observed {
    int depth = 0;
    std::optional<CrlEntry> revocation;
};

Observed observed; // callbacks have no argument of their own; one verification runs at a time

int observe(int ok, X509_STORE_CTX* raw) {
    if (ok == 1) {
        return ok;
    }
    const X509StoreCtx context(raw);
    observed.depth = context.getErrorDepth();
    X509_REVOKED* entry = nullptr;
    if (context.getError() == X509_V_ERR_CERT_REVOKED && context.getCurrentCrl() != nullptr &&
        X509_CRL_get0_by_cert(context.getCurrentCrl(), &entry, context.getCurrentCert()) == 1) {
        observed.revocation.emplace(entry);
    }
    return ok;
}

/** Which list was asked for which certificate. */
struct Recorder {
    const std::vector<const Crl*>& lists;
    std::vector<std::vector<size_t>> used;

    void record(const X509_STORE_CTX* context, const X509_CRL* list) {
        const auto depth = static_cast<size_t>(X509_STORE_CTX_get_error_depth(context));
        const auto found =
            std::find_if(lists.begin(), lists.end(), [list](const Crl* one) { return one->getX509Crl() == list; });
        if (found == lists.end()) {
            return;
        }
        const auto index = static_cast<size_t>(found - lists.begin());
        used.resize(std::max(used.size(), depth + 1));
        if (std::find(used[depth].begin(), used[depth].end(), index) == used[depth].end()) {
            used[depth].push_back(index);
        }
    }
};

void recordCurrent(X509_STORE_CTX* context, const X509_CRL* list) noexcept {
    try {
        static_cast<Recorder*>(X509_STORE_CTX_get_app_data(context))->record(context, list);
    } catch (const std::bad_alloc&) {
        return; // one piece of evidence less
    }
}

int recordFailure(int ok, X509_STORE_CTX* context) {
    if (ok != 1 && X509_STORE_CTX_get0_current_crl(context) != nullptr) {
        recordCurrent(context, X509_STORE_CTX_get0_current_crl(context));
    }
    return ok;
}

/** In the place of the search for the certificate: that one was made already. */
int recordList(X509_STORE_CTX* context, X509_CRL* list, X509*) {
    recordCurrent(context, list);
    return 1;
}

unsigned long flagsOf(crl_check_level level) {
    return level == CRL_CHECK_CHAIN  ? X509_V_FLAG_CRL_CHECK | X509_V_FLAG_CRL_CHECK_ALL
           : level == CRL_CHECK_LEAF ? X509_V_FLAG_CRL_CHECK
                                     : 0;
}

/**
 * OpenSSL chooses among lists by rules of its own and tells of its choice only in the moment that it uses it. So it is
 * asked once more, with the same material, by somebody who writes down what it uses.
 */
std::vector<std::vector<size_t>> findListsUsed(const ChainQuestion& question) {
    Recorder recorder = {question.lists, {}};
    const OwnedCertificates trusted(X509CertChain(question.trusted, INIT_TYPE_BLOB).getX509CertificateStack());
    const OwnedCertificates chain(X509CertChain(question.chain, INIT_TYPE_BLOB).getX509CertificateStack());
    const BorrowedLists lists(sk_X509_CRL_new_null());
    const OwnedStore store(X509_STORE_new());
    const OwnedStoreContext context(X509_STORE_CTX_new());
    if (!trusted || !chain || !lists || !store || !context) {
        throw std::bad_alloc();
    }
    for (const Crl* list : question.lists) {
        if (sk_X509_CRL_push(lists.get(), list->getX509Crl()) == 0) {
            throw std::bad_alloc();
        }
    }
    X509_STORE_set_cert_crl(store.get(), recordList);
    if (X509_STORE_CTX_init(context.get(), store.get(), sk_X509_value(chain.get(), 0), chain.get()) != 1) {
        throw std::bad_alloc();
    }
    X509_STORE_CTX_set0_trusted_stack(context.get(), trusted.get());
    X509_STORE_CTX_set0_crls(context.get(), lists.get());
    X509_STORE_CTX_set_flags(context.get(), flagsOf(question.level));
    X509_STORE_CTX_set_app_data(context.get(), &recorder);
    X509_STORE_CTX_set_verify_cb(context.get(), recordFailure);
    X509_verify_cert(context.get());
    ERR_clear_error();
    return recorder.used;
}

} // namespace

Verdict verdictOn(int error) {
    switch (error) {
    case X509_V_OK:
        return verified;
    case X509_V_ERR_CERT_REVOKED:
        return revoked;
    case X509_V_ERR_CRL_HAS_EXPIRED:
        return stale;
    case X509_V_ERR_OUT_OF_MEM:
        throw std::bad_alloc();
    default:
        return CrlUtil::getCrlQxuStatusFromSSLerr(error) == notAboutLists ? rejected : cannotTell;
    }
}

int unsuitableDepth(const X509CertChain& chain, int purpose) {
    int depth = 0;
    for (auto at = chain.getCertChainBegin(); at != chain.getCertChainEnd(); ++at, ++depth) {
        // More than 1 stands for old forms of an authority, which the verification has judged already.
        if (X509_check_purpose((*at)->getX509(), purpose, depth > 0 ? 1 : 0) <= 0) {
            ERR_clear_error();
            return depth;
        }
    }
    return -1;
}

ChainAnswer verifyChain(const ChainQuestion& question) {
    X509Store store;
    store.setTrustedCerts(question.trusted);
    std::string pem;
    for (const Crl* list : question.lists) {
        pem += list->getPemCrl();
    }
    store.setCrl(pem);
    if (question.level != CRL_CHECK_DISABLED) {
        store.setCrlCheckLevel(question.level);
    }
    observed = {};
    store.setVerifyCallback(observe);
    store.verifyX509Cert(question.chain);
    ChainAnswer answer;
    answer.error = store.getStatus().code;
    answer.depth = observed.depth;
    const X509CertChain* const built = store.getVerifiedX509CertChain();
    if (answer.error == X509_V_OK && question.purpose != 0 && built != nullptr) {
        const int depth = unsuitableDepth(*built, question.purpose);
        answer.error = depth < 0 ? X509_V_OK : X509_V_ERR_INVALID_PURPOSE;
        answer.depth = std::max(depth, 0);
    }
    answer.errorText = X509_verify_cert_error_string(answer.error);
    answer.statusText = store.getStatus().message;
    answer.verifiedPem = store.getVerifiedCertChain();
    answer.revocation = observed.revocation;
    if (question.level != CRL_CHECK_DISABLED) {
        answer.listsUsed = findListsUsed(question);
    }
    if (answer.error == X509_V_ERR_CERT_REVOKED && answer.listsUsed.size() > static_cast<size_t>(answer.depth) + 1) {
        answer.listsUsed.resize(static_cast<size_t>(answer.depth) + 1); // the verification ended there
    }
    return answer;
}

} // namespace CmnCrypto::Cli

#include "x509/ChainReferences.h"

#include <new>

namespace CmnCrypto {

OpenSslPtr<STACK_OF(X509)> referencesTo(const X509CertChain& chain) {
    OpenSslPtr<STACK_OF(X509)> stack(sk_X509_new_reserve(nullptr, static_cast<int>(chain.getCertChainLength())));
    if (!stack) {
        throw std::bad_alloc();
    }
    for (auto certificate = chain.getCertChainBegin(); certificate != chain.getCertChainEnd(); ++certificate) {
        X509* const x509 = (*certificate)->getX509();
        X509_up_ref(x509);
        sk_X509_push(stack.get(), x509); // there is room
    }
    return stack;
}

} // namespace CmnCrypto

#include "x509/OldBundle.h"

#include <memory>
#include <vector>

namespace CmnCrypto {

namespace {

struct FreeStack {
    void operator()(STACK_OF(PKCS7)* stack) const noexcept { sk_PKCS7_pop_free(stack, PKCS7_free); }
    void operator()(STACK_OF(PKCS12_SAFEBAG)* stack) const noexcept {
        sk_PKCS12_SAFEBAG_pop_free(stack, PKCS12_SAFEBAG_free);
    }
};
using SafePtr = std::unique_ptr<STACK_OF(PKCS12_SAFEBAG), FreeStack>;

/** A walk through the bags of a bundle. */
class Walk {
public:
    Walk(const char* password, const ossl::LegacyContext& context) : m_password(password), m_context(context) {}

    bool through(PKCS12* pkcs12) {
        if (!checkPassword(pkcs12)) {
            return false;
        }
        const std::unique_ptr<STACK_OF(PKCS7), FreeStack> safes(PKCS12_unpack_authsafes(pkcs12));
        for (int i = 0; i < sk_PKCS7_num(safes.get()); ++i) {
            PKCS7* const content = sk_PKCS7_value(safes.get(), i);
            const bool encrypted = PKCS7_type_is_encrypted(content);
            if (!encrypted && !PKCS7_type_is_data(content)) {
                continue; // protected for others in another way
            }
            const SafePtr safe(encrypted ? PKCS12_unpack_p7encdata(content, m_password, -1)
                                         : PKCS12_unpack_p7data(content));
            if (!safe || !throughBags(safe.get())) {
                return false;
            }
        }
        return safes != nullptr;
    }

    /** @return false when memory is short */
    bool take(BundleParts& parts) {
        parts.further.reset(sk_X509_new_null());
        for (OpenSslPtr<X509>& certificate : m_certificates) {
            if (m_key && !parts.certificate && X509_check_private_key(certificate.get(), m_key.get()) == 1) {
                parts.certificate = std::move(certificate);
            } else if (sk_X509_push(parts.further.get(), certificate.get()) > 0) {
                static_cast<void>(certificate.release());
            } else {
                return false;
            }
        }
        parts.key = std::move(m_key);
        return true;
    }

private:
    /** No password can be two things in a bundle: none, or an empty one. */
    bool checkPassword(PKCS12* pkcs12) {
        const bool empty = m_password == nullptr || *m_password == '\0';
        if (PKCS12_mac_present(pkcs12) != 1) {
            m_password = empty ? nullptr : m_password;
            return true;
        }
        if (!empty) {
            return PKCS12_verify_mac(pkcs12, m_password, -1) == 1;
        }
        m_password = PKCS12_verify_mac(pkcs12, nullptr, 0) == 1 ? nullptr : "";
        return m_password == nullptr || PKCS12_verify_mac(pkcs12, "", 0) == 1;
    }

    bool throughBags(const STACK_OF(PKCS12_SAFEBAG)* bags) {
        for (int i = 0; i < sk_PKCS12_SAFEBAG_num(bags); ++i) {
            if (!visit(sk_PKCS12_SAFEBAG_value(bags, i))) {
                return false;
            }
        }
        return true;
    }

    bool visit(const PKCS12_SAFEBAG* bag) {
        switch (PKCS12_SAFEBAG_get_nid(bag)) {
        case NID_keyBag:
            return m_key || keep(PKCS12_SAFEBAG_get0_p8inf(bag));
        case NID_pkcs8ShroudedKeyBag: {
            const OpenSslPtr<PKCS8_PRIV_KEY_INFO> info(
                m_key ? nullptr
                      : PKCS8_decrypt_ex(PKCS12_SAFEBAG_get0_pkcs8(bag), m_password, -1, m_context.get(), nullptr));
            return m_key || keep(info.get());
        }
        case NID_certBag:
            if (PKCS12_SAFEBAG_get_bag_nid(bag) == NID_x509Certificate) {
                OpenSslPtr<X509> certificate(PKCS12_SAFEBAG_get1_cert(bag));
                const bool read = certificate != nullptr;
                m_certificates.push_back(std::move(certificate));
                return read;
            }
            return true;
        case NID_safeContentsBag:
            return throughBags(PKCS12_SAFEBAG_get0_safes(bag));
        default:
            return true; // lists and secrets are not asked for
        }
    }

    bool keep(const PKCS8_PRIV_KEY_INFO* info) {
        m_key.reset(info == nullptr ? nullptr : EVP_PKCS82PKEY(info));
        return m_key != nullptr;
    }

    const char* m_password;
    const ossl::LegacyContext& m_context;
    OpenSslPtr<EVP_PKEY> m_key;
    std::vector<OpenSslPtr<X509>> m_certificates;
};

} // namespace

bool openOldBundle(const unsigned char* data, int length, const char* password, const ossl::LegacyContext& context,
                   BundleParts& parts) {
    PKCS12* bundle = PKCS12_init_ex(NID_pkcs7_data, context.get(), nullptr);
    if (bundle == nullptr || d2i_PKCS12(&bundle, &data, length) == nullptr) { // which has released it
        return false;
    }
    const OpenSslPtr<PKCS12> owner(bundle);
    Walk walk(password, context);
    return walk.through(bundle) && walk.take(parts);
}

} // namespace CmnCrypto

#include <cstdio>

#include "faults/Operations.h"

using namespace faults;

namespace {

std::string compared(EVP_PKEY* a, EVP_PKEY* b) {
    return EVP_PKEY_eq(a, b) == 1 ? "same" : "other";
}

const std::string ofCertificate = "X509Certificate::";
const std::string ofChain = "X509CertChain::";
const std::string ofKey = "X509PrivateKey::";
const std::string ofPublicKey = "X509PublicKey::";
const std::string ofFactory = "CertificatePrivateKeyFactory::";

void addNames(Operations& all) {
    static const Owned<X509_NAME> raw = makeName({{"OU", "unit"}, {"CN", "host"}});
    static const X509Name name(raw.get());
    const auto changed = [](void (*change)(X509Name&)) { // or left as it was
        X509Name target(raw.get());
        failing([&] { change(target); }, [&] { return target == raw.get(); });
    };
    all["X509Name::operator="] = made([=] { changed([](X509Name& target) { target = X509Name(); }); });
    all["X509Name::reset"] = made([=] { changed([](X509Name& target) { target.reset(); }); });
    all["X509Name::addEntry"] = made([=] { changed([](X509Name& target) { target.addEntry("O", "org"); }); });
    all["X509Name::X509Name"] = made([] { X509Name(); });
    all["X509Name::X509Name of null"] = made([] { X509Name(nullptr); });
    all["X509Name::X509Name of a name"] = made([] { X509Name{raw.get()}; });
    all["X509Name::X509Name of another"] = made([] { X509Name{name}; });
    all["X509Name::getHash"] = made([] { return name.getHash(); });
    all["X509Name::getFieldAsASN"] = made([] { return name.getOUName(); });
    all["X509Name::isMatching"] = made([] { return name.isMatching(name, true); });
    all["X509Name::validate"] = made([] { return name.validate(); });
    for (const int format : {0, 1, 2}) {
        all["X509Name::getNameDN " + std::to_string(format)] =
            made([=] { return name.getNameDN(_name_format(format)); });
    }
}

X509* rawCertificate() {
    static const Owned<X509> certificate = makeCertificate("RSA-2048");
    return certificate.get();
}

void addCertificates(Operations& all, const std::string& text, const std::string& path) {
    static const X509Certificate certificate(rawCertificate(), false);
    const auto add = [&](const char* method, auto body) { all[ofCertificate + method] = made(body); };
    add("X509Certificate of a text", [=] { X509Certificate(text, INIT_TYPE_BLOB); });
    add("X509Certificate of a certificate", [] { X509Certificate(static_cast<const X509*>(rawCertificate())); });
    add("readCertFromFile", [=] { X509Certificate(path, INIT_TYPE_PATH); });
    add("X509Certificate_dup",
        [] { return std::unique_ptr<X509Certificate>(certificate.X509Certificate_dup()) ? "a copy" : ""; });
    add("getSerialNumber", [] { return certificate.getSerialNumber(); });
    add("getExpiryDateEPOC", [] { return certificate.getExpiryDateEPOC(); });
    add("isCertExpired", [] { return certificate.isCertExpired(); });
    add("isCertValidNow", [] { return certificate.isCertValidNow(); });
    add("generateHash as text", [] { return certificate.generateHash(HASH_ALGO_SHA512); });
    add("generateHash as bytes", [digest = std::string(20, '.')]() {
        certificate.generateHash(const_cast<unsigned char*>(bytes(digest)), HASH_ALGO_SHA1);
        return digest;
    });
    add("validateAlgorithm", [] { certificate.validateAlgorithm(); });
    static const Owned<X509> named = makeCertificate({{NID_authority_key_identifier, tlv(0x30, tlv(0x80, "id"))}});
    add("getAuthorityKeyIdentifier", [] { return X509Certificate(named.get(), false).getAuthorityKeyIdentifier(); });
    add("getPemString", [] { return certificate.getPemString(); });
    all["cmncrypto_getPEMfromCertificate"] = made([] {
        char* pem = nullptr;
        const int code = cmncrypto_getPEMfromCertificate(rawCertificate(), &pem);
        const Allocated<char> owner(pem);
        EXPECT_EQ(pem == nullptr, code != 0);
        return code;
    });
}

void addChains(Operations& all, const std::string& text, const std::string& path) {
    static const X509CertChain chain(text, INIT_TYPE_BLOB, false);
    static const Owned<STACK_OF(X509)> stack(chain.getX509CertificateStack());
    const auto add = [&](const char* method, auto body) { all[ofChain + method] = made(body); };
    const auto length = [](const std::string& source, _INIT_TYPE type, bool leafOnly) {
        return X509CertChain(source, type, leafOnly).getCertChainLength();
    };
    add("initUsingBlob", [=] { return length(text, INIT_TYPE_BLOB, false); });
    add("initUsingBlob for the leaf", [=] { return length(text, INIT_TYPE_BLOB, true); });
    add("initUsingPath", [=] { return length(path, INIT_TYPE_PATH, false); });
    add("X509CertChain of a stack", [] { X509CertChain{stack.get()}; });
    add("getCert", [] { delete chain.getCert(1); });
    add("addCertToCertChain", [] {
        X509CertChain target;
        const X509Certificate certificate(rawCertificate(), false);
        failing([&] { target.addCertToCertChain(certificate); }, [&] { return target.getCertChainLength() == 0; });
    });
    add("getX509CertificateStack()",
        [] { return sk_X509_num(Owned<STACK_OF(X509)>(chain.getX509CertificateStack()).get()); });
    const std::string newPath = path + ".new";
    const auto addSaving = [&](const std::string& method, auto save) {
        all[method] = made([=] { // removed without allocating
            failing(save, [&] { return std::remove(newPath.c_str()) != 0; });
            return std::remove(newPath.c_str());
        });
    };
    addSaving(ofChain + "saveToFile", [=] { chain.saveToFile(newPath); });
    addSaving(ofCertificate + "saveToFile", [=] { X509Certificate(rawCertificate(), false).saveToFile(newPath); });
}

void addBundles(Operations& all) {
    EVP_PKEY* const rsa = keyOf("RSA-2048");
    all[ofCertificate + "convertToPKCS12"] = made([=] {
        unsigned char out[5000];
        int length = sizeof out;
        failing([&] { X509Certificate::convertToPKCS12(rawCertificate(), rsa, nullptr, out, &length); },
                [&] { return length == sizeof out; });
    });
    for (const bool old : {false, true}) {
        const Owned<PKCS12> bundle(PKCS12_create_ex(
            "secret", nullptr, rsa, rawCertificate(), nullptr, old ? NID_pbe_WithSHA1And3_Key_TripleDES_CBC : 0,
            old ? NID_pbe_WithSHA1And40BitRC2_CBC : 0, 0, 0, 0, old ? legacyContext() : nullptr, nullptr));
        const std::string data = written([&](BIO* out) { return i2d_PKCS12_bio(out, bundle.get()); });
        all[ofCertificate + "extractCertFromPKCS12" + (old ? " of RC2" : "")] = made([=] {
            Out<X509> found;
            Out<EVP_PKEY> key;
            const int length = static_cast<int>(data.size());
            X509Certificate::extractCertFromPKCS12(bytes(data), length, "secret", &found.raw, &key.raw);
            return X509_cmp(found.raw, rawCertificate()) == 0 ? compared(key.raw, rsa) : "other";
        });
    }
}

void addKeys(Operations& all, const Folder& folder) {
    EVP_PKEY* const rsa = keyOf("RSA-2048");
    const auto key = std::make_shared<X509PrivateKey>(rsa, false);
    const auto add = [&](const std::string& method, auto body) { all[ofKey + method] = made(body); };
    add("generatePrivateKey", [] {
        Out<EVP_PKEY> out;
        failing([&] { X509PrivateKey::generatePrivateKey(512, &out.raw); }, [&] { return out.raw == nullptr; });
    });
    add("generateSelfSignCertificate", [] {
        subTokenValuePair subject = {"CN", "host", nullptr};
        Out<X509> out;
        Out<EVP_PKEY> own(EVP_EC_gen("P-256"));
        failing([&] { X509PrivateKey::generateSelfSignCertificate(1, HASH_ALGO_SHA1, &subject, &own.raw, &out.raw); },
                [&] { return own.raw == nullptr && out.raw == nullptr; });
        return X509_verify(out.raw, own.raw);
    });
    add("getSign", [=] { return key->getSign(std::string(5000, 'a'), HASH_ALGO_SHA256); });
    add("getCSR", [=] { return key->getCSR("host", "DNS:host"); });
    add("saveToFile", [=] {
        const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::tmpfile(), std::fclose);
        return key->saveToFile(file.get(), "secret");
    });
    const Owned<EVP_CIPHER> des(EVP_CIPHER_fetch(legacyContext(), "DES-CBC", nullptr));
    const std::string old = oldPem(rsa, NID_pbeWithMD5AndDES_CBC);
    const std::tuple<const char*, EVP_PKEY*, std::string> texts[] = {
        {"EC", keyOf("P-256"), pem(keyOf("P-256"))},
        {"PKCS#8", rsa, pem(rsa)},
        {"PKCS#1", rsa, pem(rsa, nullptr, true)},
        {"DES", rsa, old},
        {"traditional DES", rsa, pem(rsa, des.get(), true)}};
    for (const auto& [kind, expected, text] : texts) {
        add(std::string("getEVPPrivateKeyEncrypted of ") + kind,
            [k = expected, t = text] { return compared(X509PrivateKey(t, "secret").getEVPKey(), k); });
    }
    all[ofFactory + "generateEVP_PKEY of DES"] = made([path = folder.write("old", old)] {
        char phrase[] = "secret";
        return codeOf<EVP_PKEY>([&](EVP_PKEY** out) {
            return generateEVP_PKEY_c(path.c_str(), CmnApi::cert_util_logger, nullptr, phrase, out);
        });
    });
}

void addPublicKeys(Operations& all, const std::string& certificate) {
    EVP_PKEY* const rsa = keyOf("RSA-2048");
    const X509PrivateKey key(rsa, false);
    const auto add = [&](const char* method, auto body) { all[ofPublicKey + method] = made(body); };
    add("getEVPPublicKey", [=, text = publicPem(rsa)] { return compared(X509PublicKey(text).getEVPKey(), rsa); });
    add("extractPublicKeyFromCSR", [=, request = key.getCSR("host", "")] {
        const std::unique_ptr<X509PublicKey> read(X509PublicKey::extractPublicKeyFromCSR(request));
        return compared(read->getEVPKey(), rsa);
    });
    add("verifyCert", [=] { return X509PublicKey(rsa, false).verifyCert(certificate); });
    const std::string text = key.getSign("data", HASH_ALGO_SHA1);
    add("verifySign of Base64", [=] { return X509PublicKey(rsa, false).verifySign("data", text, HASH_ALGO_SHA1); });
    std::string raw(text.size(), '\0');
    EVP_DecodeBlock(reinterpret_cast<unsigned char*>(raw.data()), bytes(text), static_cast<int>(text.size()));
    add("verifySign of bytes", [=] { // twice with what the object keeps
        const X509PublicKey publicKey(rsa, false);
        auto* signature = const_cast<unsigned char*>(bytes(raw));
        int length = 256;
        const bool first = publicKey.verifySign("data", signature, length, HASH_ALGO_SHA1);
        return std::to_string(first) + std::to_string(publicKey.verifySign("data", signature, length, HASH_ALGO_SHA1));
    });
}

void addFiles(Operations& all, const std::string& path) {
    const auto logger = CmnApi::cert_util_logger;
    all[ofFactory + "generateX509Certificates"] = made([=] {
        return codeOf<STACK_OF(X509)>([&](auto out) { return generateX509Certificates_c(path.c_str(), logger, out); });
    });
    all[ofFactory + "generateX509LeafCertificate"] = made([=] {
        return codeOf<X509>([&](auto out) { return generateX509LeafCertificate_c(path.c_str(), logger, out); });
    });
    all[ofFactory + "generateEVP_PKEY"] = made([=] {
        return codeOf<EVP_PKEY>(
            [&](auto out) { return generateEVP_PKEY_c(path.c_str(), logger, nullptr, nullptr, out); });
    });
    all["PrivateKeyUtils::is_private_key_file_encrypted"] = made([=] {
        int encrypted = 7;
        return is_private_key_file_encrypted_c(path.c_str(), logger, &encrypted);
    });
}

} // namespace

Operations faults::x509Operations(const Folder& folder) {
    const std::string text = pem(rawCertificate());
    const std::string path = folder.write("pem", text + pem(keyOf("RSA-2048")) + text);
    Operations all;
    addNames(all);
    addCertificates(all, text, path);
    addChains(all, text + text, path);
    addBundles(all);
    addKeys(all, folder);
    addPublicKeys(all, text);
    addFiles(all, path);
    all.merge(revocationOperations(folder));
    all.merge(tlsOperations(folder));
    all.merge(bridgeOperations(folder));
    return all;
}

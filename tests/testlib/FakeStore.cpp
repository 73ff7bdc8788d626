#include "testlib/FakeStore.h"

#include <algorithm>
#include <deque>
#include <new>
#include <numeric>
#include <sstream>
#include <utility>

#include <openssl/sha.h>

#include <gtest/gtest.h>

#include "testlib/Bytes.h"
#include "testlib/Pki.h"

namespace testlib {

namespace {

using std::to_string;
using Lock = std::lock_guard<std::mutex>;

constexpr uint32_t fileNotFound = 2;
constexpr uint32_t moreData = 234;
constexpr uint32_t notFound = 0x80092004;

std::string sha1Of(const FakeCertificate& certificate) {
    unsigned char digest[SHA_DIGEST_LENGTH];
    SHA1(bytes(certificate.der), certificate.der.size(), digest);
    return std::string(digest, digest + sizeof digest);
}

/** Hands out bytes. @param length size of the room, then of the bytes */
uint32_t give(const std::string& made, void* room, uint32_t& length) {
    const size_t size = std::exchange(length, static_cast<uint32_t>(made.size()));
    return room == nullptr || made.copy(static_cast<char*>(room), size) == made.size() ? 0 : moreData;
}

class Signing : public FakeSigning {
public:
    ~Signing() override { EXPECT_TRUE(keysHeld == 0 && hashesHeld == 0); }
    uint32_t signCng(uintptr_t key, bool pkcs1, const unsigned char* data, uint32_t length, unsigned char* signature,
                     uint32_t size, uint32_t& produced) override {
        const std::string signee(data, data + length);
        produced = size;
        const uint32_t error = result("signCng", {to_string(key), pkcs1 ? "pkcs1" : "raw", toHex(signee)});
        return error != 0 ? error : give(sign(pkcs1, signee), signature, produced);
    }
    void freeCngKey(uintptr_t key) override { drop("freeCngKey", key, keysHeld); }
    void releaseProvider(uintptr_t provider) override { drop("releaseProvider", provider, keysHeld); }
    void destroyHash(uintptr_t hash) override { drop("destroyHash", hash, hashesHeld); }
    uint32_t createHash(uintptr_t provider, uintptr_t& hash) override {
        const uint32_t error = result("createHash", {to_string(provider)});
        hash = 100;
        hashesHeld += error == 0 ? 1 : 0;
        return error;
    }
    uint32_t hashSize(uintptr_t hash, uint32_t& size) override {
        size = digestSize;
        return result("hashSize", {to_string(hash)});
    }
    uint32_t setHashValue(uintptr_t hash, const unsigned char* value) override {
        m_hashed.assign(value, value + digestSize);
        return result("setHashValue", {to_string(hash), toHex(m_hashed)});
    }
    uint32_t signHash(uintptr_t hash, uint32_t keySpec, unsigned char* signature, uint32_t& length) override {
        const uint32_t error = result("signHash", {to_string(hash), to_string(keySpec)});
        const std::string made = sign(true, m_hashed);
        return error != 0 ? error : give({made.rbegin(), made.rend()}, signature, length);
    }

private:
    void drop(const std::string& call, uintptr_t handle, std::atomic<int>& held) {
        result(call, {to_string(handle)});
        --held;
    }

    std::string m_hashed; ///< the value of the hash, of which there is one at a time
};

class Store : public FakeStore {
public:
    Store() { signer = std::make_unique<Signing>(); }
    ~Store() override { EXPECT_TRUE(contextsHeld == 0 && storesOpen == 0); }
    CertContext context(const FakeCertificate& certificate) override { return make(certificate, 0); }
    uint32_t openStore(const std::string& name, bool readOnly, CertStoreHandle& store) override {
        const uint32_t error = result("openStore", {name, readOnly ? "r" : "rw"});
        const bool isOpen = error == 0 && stores.count(name) != 0;
        storesOpen += isOpen ? 1 : 0;
        store = isOpen ? new std::string(name) : nullptr; // a sanitizer sees who uses it after closeStore()
        return isOpen ? 0 : std::max(error, fileNotFound);
    }
    void closeStore(CertStoreHandle store) override {
        const std::unique_ptr<const std::string> name(&nameOf(store));
        storesOpen -= 1 + static_cast<int>(result("closeStore", {*name}));
    }
    CertContext findBySubject(CertStoreHandle store, const std::string& text, CertContext previous) override {
        const uint32_t error = result("findBySubject", {text});
        return find(store, previous, [=](const FakeCertificate&) { return error == 0; });
    }
    CertContext findByHash(CertStoreHandle store, const unsigned char* sha1, CertContext previous) override {
        const std::string wanted(sha1, sha1 + SHA_DIGEST_LENGTH);
        const uint32_t error = result("findByHash", {toHex(wanted)});
        return find(store, previous, [&](const auto& one) { return error == 0 && sha1Of(one) == wanted; });
    }
    uint32_t addToStore(CertStoreHandle store, CertContext context, uint32_t disposition) override {
        const uint32_t error = result("addToStore", {nameOf(store), to_string(disposition)});
        if (error == 0) {
            stores[nameOf(store)].push_back(of(context));
        }
        return error;
    }
    CertContext duplicate(CertContext context) override { return count(context, 1); }
    void release(CertContext context) override { context == nullptr ? nullptr : count(context, -1); }
    uint32_t property(CertContext context, uint32_t id, void* data, uint32_t& length) override {
        const FakeCertificate& own = of(context);
        const std::string value = id == certSha1HashProperty ? sha1Of(own) : std::string(own.key ? 4 : 0, '\1');
        const uint32_t error = value.empty() ? notFound : result("property", {to_string(id)});
        return error != 0 ? error : give(value, data, length);
    }
    uint32_t name(CertContext context, CertName which, std::string& text) override {
        text = which == CertName::subject ? of(context).subject : of(context).issuer;
        return result(which == CertName::subject ? "subject" : "issuer");
    }
    EncodedCertificate encoded(CertContext context) override {
        const std::string& own = of(context).der;
        return result("encoded") != 0 ? EncodedCertificate{} : EncodedCertificate{bytes(own), own.size()};
    }
    CertValidity validity(CertContext context) override { return of(context).validity; }
    int verifyTimeValidity(CertContext context, int64_t now) override {
        return result("verifyTimeValidity", {to_string(now)}) != 0 ? 1 : of(context).position;
    }
    bool intendedKeyUsage(CertContext context, unsigned char& bits) override {
        bits = of(context).keyUsage.value_or(0);
        return of(context).keyUsage.has_value();
    }
    uint32_t enhancedKeyUsage(CertContext context, EnhancedKeyUsage& usage) override {
        usage = of(context).usage;
        return result("enhancedKeyUsage");
    }
    std::string publicKeyAlgorithm(CertContext context) override {
        return of(context).der.empty() || result("publicKeyAlgorithm") != 0 ? "" : "1.2.3";
    }
    uint32_t chain(CertContext context, std::vector<CertContext>& issuers) override {
        issuers.clear();
        const uint32_t error = result("chain");
        for (const FakeCertificate& issuer : error == 0 ? of(context).issuers : std::vector<FakeCertificate>()) {
            issuers.push_back(this->context(issuer));
        }
        return error;
    }
    uint32_t acquireKey(CertContext context, StoreKey& key) override {
        const uint32_t error = of(context).key ? result("acquireKey") : notFound;
        if (error == 0) {
            key = *of(context).key;
            signer->keysHeld += key.mustRelease ? 1 : 0;
        }
        return error;
    }
    SigningBackEnd& signing() override { return *signer; }
    uint32_t computerName(HostnameType type, char* buffer, uint32_t size) override {
        const uint32_t error = result("computerName", {to_string(type), to_string(size)});
        return error != 0 ? error : give(hostNames[type == HOSTNAME_SHORT ? 1 : 0] + '\0', buffer, size);
    }
    uint32_t hexToBinary(const std::string& digits, std::vector<unsigned char>& bytes) override {
        const std::string decoded = fromHex(digits);
        bytes.assign(decoded.begin(), decoded.end());
        return result("hexToBinary", {digits});
    }
    std::string errorText(uint32_t error) override {
        return result("errorText") != 0 ? "" : "error " + to_string(error);
    }
    uint32_t createContext(const unsigned char* der, size_t length, CertContext& context) override {
        const uint32_t error = result("createContext", {to_string(length)});
        context = error == 0 ? make({std::string(der, der + length)}, 0) : nullptr;
        return error;
    }
    uint32_t removeFromStore(CertContext context) override {
        const std::string der = of(context).der;
        release(context);
        const uint32_t error = result("removeFromStore");
        for (auto& [name, held] : stores) {
            held.erase(
                std::remove_if(held.begin(), held.end(), [&](auto& one) { return error == 0 && one.der == der; }),
                held.end());
        }
        return error;
    }
    uint32_t importBundle(CertStoreHandle, const unsigned char*, size_t, const std::string& password, bool exportable,
                          CertContext& context) override {
        const uint32_t error = result("importBundle", {password, exportable ? "exportable" : "-"});
        context = error == 0 ? make({password}, 0) : nullptr;
        return error;
    }
    uint32_t exportBundle(CertContext context, const std::string& password, std::vector<unsigned char>& der) override {
        der.assign(password.begin(), password.end());
        return result("exportBundle", {of(context).subject});
    }
    uint32_t verifyChain(CertContext context, const CertChainPolicy& policy) override {
        return result("verifyChain", {of(context).subject, policy.server ? "server" : "client", policy.hostName});
    }
    KeySecurity* keySecurity() override { return security.get(); }

private:
    struct Context {
        Context(FakeCertificate like, std::ptrdiff_t position) : certificate(std::move(like)), next(position) {}
        FakeCertificate certificate;
        std::atomic<int> count{1};
        std::ptrdiff_t next; ///< where a search goes on
    };

    CertContext make(const FakeCertificate& certificate, std::ptrdiff_t next) {
        const Lock lock(m_mutex);
        ++contextsHeld;
        return &m_contexts.emplace_back(certificate, next);
    }
    static Context& at(CertContext context) {
        auto& own = *static_cast<Context*>(const_cast<void*>(context));
        EXPECT_GT(own.count, 0) << "used after its release";
        return own;
    }
    const FakeCertificate& of(CertContext context) { return at(context).certificate; }
    CertContext count(CertContext context, int more) {
        at(context).count += more;
        contextsHeld += more;
        return context;
    }
    static const std::string& nameOf(CertStoreHandle store) { return *static_cast<const std::string*>(store); }
    template <class Wanted> CertContext find(CertStoreHandle store, CertContext previous, const Wanted& isWanted) {
        const std::vector<FakeCertificate>& all = stores.at(nameOf(store));
        const std::ptrdiff_t begin = previous == nullptr ? 0 : at(previous).next;
        release(previous);
        const auto found = std::find_if(all.begin() + begin, all.end(), isWanted);
        return found == all.end() ? nullptr : make(*found, found - all.begin() + 1);
    }

    std::deque<Context> m_contexts; ///< all that there have been: no address comes back
};

} // namespace

uint32_t FakeSecurity::mayRead(const List& list, const std::string& account, bool& granted) {
    // Of an account that something else keeps out, nothing in the list can change it.
    granted = account != "barred" && std::string(list.begin(), list.end()).find(account) != std::string::npos;
    return result("mayRead");
}

uint32_t FakeSecurity::setRead(List& list, const std::string& account, bool granted) {
    granted ? list.insert(list.end(), account.begin(), account.end()) : list.erase(list.begin(), list.end());
    return result("setRead");
}

std::string der(X509* certificate) {
    return written([=](BIO* out) { return i2d_X509_bio(out, certificate); });
}

std::vector<std::string> Scripted::takeCalls() {
    const Lock lock(m_mutex);
    return std::exchange(m_calls, {});
}

uint32_t Scripted::result(const std::string& call, const std::vector<std::string>& arguments) {
    const Lock lock(m_mutex);
    m_calls.push_back(std::accumulate(arguments.begin(), arguments.end(), call,
                                      [](const auto& text, const auto& argument) { return text + " " + argument; }));
    const auto plan = m_plans.find(call);
    if (plan == m_plans.end() || plan->second.second-- > 0) {
        return 0;
    }
    plan->second.second = 0;
    return plan->second.first != noMemory ? plan->second.first : throw std::bad_alloc();
}

std::shared_ptr<FakeStore> fakePlatform() {
    auto store = std::make_shared<Store>();
    FakeStore* const shown = store.get();
    setCertStorePlatform(store);
    return {shown, [store = std::move(store)](FakeStore*) {
                setCertStorePlatform(nullptr);
                EXPECT_EQ(store.use_count(), 1) << "something still refers to the platform";
            }};
}

std::vector<std::string> spelled(const Rows& rows, const std::string& letters, const std::string& at) {
    std::vector<std::string> texts;
    for (const char letter : letters) {
        const auto row = std::find_if(rows.begin(), rows.end(), [=](auto& one) {
            return one[0] == std::string{':', letter};
        });
        std::string text = std::accumulate(row->begin() + 2, row->end(), row->at(1), [](auto& all, auto& word) {
            return all + ' ' + (word.empty() ? "-" : word);
        });
        const size_t mark = std::min(text.find('@'), text.size());
        texts.push_back(mark == text.size() ? text : text.replace(mark, 1, at));
    }
    return texts;
}

std::vector<std::string> pieces(const std::string& text, char delimiter) {
    std::vector<std::string> parts;
    std::istringstream stream(text);
    for (std::string part; std::getline(stream, part, delimiter);) {
        parts.push_back(part);
    }
    return parts;
}

} // namespace testlib

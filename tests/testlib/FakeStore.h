#ifndef CMNCRYPTO_TESTLIB_FAKESTORE_H
#define CMNCRYPTO_TESTLIB_FAKESTORE_H

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include <openssl/types.h>

#include "cmncrypto/CertStorePlatform.h"

/** A platform whose certificates are made up, whose calls fail on demand, and which sees what is not given back. */
namespace testlib {

using namespace CmnCrypto::WinCertStore;

/** Instead of a Windows error: std::bad_alloc is thrown. */
constexpr uint32_t noMemory = 0xFFFFFFFE;

/** The file time of a second since 1970. */
constexpr uint64_t fileTime(int64_t seconds) {
    return static_cast<uint64_t>((seconds + 11644473600) * 10000000);
}

std::string der(X509* certificate);

/** Calls that fail when they are to, and the record of them all. */
class Scripted {
public:
    /** Every call of a function fails after the next @p after ones, with nothing where it answers no error number. */
    void fail(const std::string& call, uint32_t error, int after = 0) { m_plans[call] = {error, after}; }
    void clear() { m_plans.clear(); } ///< nothing fails any more
    /** @return the calls since the last time: the function's name and its arguments, with blanks between them */
    std::vector<std::string> takeCalls();

protected:
    uint32_t result(const std::string& call, const std::vector<std::string>& arguments = {});
    std::mutex m_mutex;

private:
    std::map<std::string, std::pair<uint32_t, int>> m_plans;
    std::vector<std::string> m_calls;
};

/** Signs with anything. Hashes that are not destroyed and keys that are not released fail the test. */
class FakeSigning : public SigningBackEnd, public Scripted {
public:
    /** Makes the signature of what is to be signed, most significant byte first. */
    std::function<std::string(bool pkcs1, const std::string& data)> sign = [](bool, const std::string&) {
        return "signature";
    };
    uint32_t digestSize = 36;
    std::atomic<int> keysHeld{0}, hashesHeld{0}; ///< acquired and to be released; hashes not destroyed
};

/** Descriptors are the names of accounts, one behind the other. Taking one back takes all. */
struct FakeSecurity : KeySecurity, Scripted {
    std::string cng = "host", provider = "host", own = "host";
    using List = SecurityDescriptor;
    uint32_t readCng(uintptr_t, List& list) override { return give("readCng", cng, list); }
    uint32_t writeCng(uintptr_t, const List& list) override { return give("writeCng", list, cng); }
    uint32_t readProvider(uintptr_t, List& list) override { return give("readProvider", provider, list); }
    uint32_t writeProvider(uintptr_t, const List& list) override { return give("writeProvider", list, provider); }
    uint32_t ownAccount(std::string& account) override { return give("ownAccount", own, account); }
    uint32_t mayRead(const List& list, const std::string& account, bool& granted) override;
    uint32_t setRead(List& list, const std::string& account, bool granted) override;

    template <class From, class To> uint32_t give(const std::string& call, const From& from, To& to) {
        const uint32_t error = result(call);
        if (error == 0) {
            to.assign(from.begin(), from.end());
        }
        return error;
    }
};

/** What a certificate of the fake store answers; nothing follows from its encoded form but its digest. */
struct FakeCertificate {
    std::string der = {}, subject = "host", issuer = "authority";
    CertValidity validity = {};
    int position = 0;                           ///< of the present: -1 before its validity, 1 behind it
    std::optional<unsigned char> keyUsage = {}; ///< its first byte
    EnhancedKeyUsage usage = {true, {}};
    std::optional<StoreKey> key = StoreKey{7, ncryptKeySpec, true};
    std::vector<FakeCertificate> issuers = {};
};

/**
 * Contexts and stores that are not given back, given back twice or used afterwards fail the test. A search by subject
 * finds every certificate, whatever the text, which is in the record.
 */
class FakeStore : public CertStorePlatform, public Scripted {
public:
    std::map<std::string, std::vector<FakeCertificate>> stores;
    std::string hostNames[2] = {"host.example.org", "host"};
    std::unique_ptr<FakeSigning> signer;
    std::shared_ptr<FakeSecurity> security;
    std::atomic<int> contextsHeld{0}, storesOpen{0}; ///< counts that are not given back; stores not closed

    virtual CertContext context(const FakeCertificate& certificate) = 0; ///< @return a new one, which is to be released
};

/** @return a fake store, the process's platform as long as this is held; then nothing may refer to it any more */
std::shared_ptr<FakeStore> fakePlatform();

/** @return the parts of a text that a delimiter stands between */
std::vector<std::string> pieces(const std::string& text, char delimiter);

using Rows = std::vector<std::vector<std::string>>;
/** @return the texts that the rows ":<letter> <text>" of a table give for some letters; "@" in them becomes @p at */
std::vector<std::string> spelled(const Rows& rows, const std::string& letters, const std::string& at = "");

} // namespace testlib

#endif

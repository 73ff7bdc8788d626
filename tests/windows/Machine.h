#ifndef CMNCRYPTO_TESTS_WINDOWS_MACHINE_H
#define CMNCRYPTO_TESTS_WINDOWS_MACHINE_H

// clang-format off: OpenSSL takes some of the system's names back
#include <windows.h>
#undef far // a kind of pointer, long ago
// clang-format on
#include <ncrypt.h>
#include <sddl.h>

#include "libwincertstore/Bridge.h"
#include "libwincertstore/StoreSituations.h"
#include "libwincertstore/windows/WindowsCertStore.h"
#include "testlib/TlsPeer.h"

/** The stores of the local machine, under names of this process's own. What Wine lacks is supplied: docs/windows.md. */
struct Machine : WindowsCertStore {
    using Base = WindowsCertStore;
    uint32_t openStore(const std::string& name, bool readOnly, CertStoreHandle& store) override {
        return Base::openStore(own(name), readOnly, store);
    }
    uint32_t property(CertContext context, uint32_t id, void* data, uint32_t& length) override {
        const bool isSupplied = id == certKeySpecProperty; // for certificates with a named key
        return isSupplied && cngKey(context) != 0
                   ? 0
                   : Base::property(context, isSupplied ? CERT_KEY_PROV_INFO_PROP_ID : id, isSupplied ? nullptr : data,
                                    length);
    }
    uint32_t acquireKey(CertContext context, StoreKey& key) override { // Wine does not find these
        key = {cngKey(context), ncryptKeySpec, false};
        return key.handle != 0 ? 0 : Base::acquireKey(context, key);
    }
    uintptr_t cngKey(CertContext context) {
        const EncodedCertificate at = encoded(context);
        return cngKeys[std::string(at.data, at.data + at.length)];
    }
    static std::string own(const std::string& store) {
        return "CmncryptoTest" + std::to_string(GetCurrentProcessId()) + store;
    }
    std::map<std::string, uintptr_t> cngKeys; ///< by the encoding of the certificate
};

/** Stores of the local machine that go with this. */
struct MachineBench : situations::Bench {
    MachineBench() {
        setCertStorePlatform(machine);
        backwards = true; // as Wine does
    }
    ~MachineBench() override {
        clear();
        setCertStorePlatform(nullptr);
    }
    void make(const std::string& store) override {
        open(store, CERT_STORE_DELETE_FLAG); // what a process of the same number may have left
        CertCloseStore(open(store, CERT_STORE_CREATE_NEW_FLAG), 0);
        m_made.push_back(store);
    }
    void put(const std::string& store, X509* certificate, bool withKey) override {
        put(store, certificate, withKey ? L"none" : nullptr);
    }
    /** With the name of a key, which need not exist, and a name for users. */
    void put(const std::string& store, X509* certificate, const wchar_t* key) {
        const WinCertStoreCertificate made = wrap(certificate);
        CRYPT_KEY_PROV_INFO info{};
        info.pwszContainerName = const_cast<wchar_t*>(key);
        info.dwProvType = PROV_RSA_FULL;
        info.dwKeySpec = AT_KEYEXCHANGE;
        const auto* const context = static_cast<PCCERT_CONTEXT>(made.GetContext());
        CertSetCertificateContextProperty(context, CERT_KEY_PROV_INFO_PROP_ID, 0, key != nullptr ? &info : nullptr);
        CRYPT_DATA_BLOB seen{2, reinterpret_cast<BYTE*>(const_cast<wchar_t*>(L""))};
        CertSetCertificateContextProperty(context, CERT_FRIENDLY_NAME_PROP_ID, 0, &seen);
        EXPECT_EQ(with(store, false, [&](auto to) { EXPECT_NE(made.AddToStore(to, 1), 0); }), 0U);
    }
    void clear() override {
        std::for_each(m_made.begin(), m_made.end(), [](auto& store) { open(store, CERT_STORE_DELETE_FLAG); });
        m_made.clear();
    }
    /** Opens a store for the time of @p use. @return the error */
    uint32_t with(const std::string& store, bool readOnly, const std::function<void(CertStoreHandle)>& use) const {
        CertStoreHandle opened = nullptr;
        const uint32_t error = machine->openStore(store, readOnly, opened);
        if (error == 0) {
            use(opened);
            machine->closeStore(opened);
        }
        return error;
    }
    WinCertStoreCertificate wrap(X509* certificate) const {
        const std::string encoding = der(certificate);
        CertContext context = nullptr;
        EXPECT_EQ(machine->createContext(bytes(encoding), encoding.size(), context), 0U);
        return WinCertStoreCertificate(context, CERT_MEMORY_OWNED, machine);
    }
    const std::shared_ptr<Machine> machine = std::make_shared<Machine>();

private:
    static HCERTSTORE open(const std::string& store, DWORD flags) {
        const std::string name = Machine::own(store);
        return CertOpenStore(CERT_STORE_PROV_SYSTEM_A, 0, 0, CERT_SYSTEM_STORE_LOCAL_MACHINE | flags, name.c_str());
    }
    std::vector<std::string> m_made;
};

#endif

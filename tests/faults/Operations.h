#ifndef CMNCRYPTO_FAULTS_OPERATIONS_H
#define CMNCRYPTO_FAULTS_OPERATIONS_H

#include <functional>
#include <map>
#include <string>
#include <type_traits>

#include "testlib/Pki.h"
#include "testlib/Testlib.h"

namespace faults {

/** Each answers with its result as text, and can be run again. The name begins with the function that logs. */
using Operations = std::map<std::string, std::function<std::string()>>;

/** What is done with names, certificates, chains, keys, and with the following. */
Operations x509Operations(const Folder& folder);
/** What is done with revocation lists, and with stores that use them. */
Operations revocationOperations(const Folder& folder);
/** What is done with servers and connections of TLS. */
Operations tlsOperations(const Folder& folder);
/** What is done with a store's certificate and key in a context of TLS. */
Operations bridgeOperations(const Folder& folder);

/**
 * The decision of a list by CN=host, signed with P-256, on a certificate of makeCertificate(): status, serial number,
 * time and reason; without a revocation "-", 7 and 7 from before.
 */
std::string decision(const Crl& crl, unsigned int age);

/** An operation with a result of any kind, as one with a text. */
template <class Body> std::function<std::string()> made(Body body) {
    return [body] {
        if constexpr (std::is_void_v<decltype(body())>) {
            body();
            return std::string("done");
        } else if constexpr (std::is_arithmetic_v<decltype(body())>) {
            return std::to_string(body());
        } else {
            return std::string(body());
        }
    };
}

/** Runs an operation, and a check when it fails. */
template <class Body, class Check> void failing(const Body& body, const Check& check) {
    try {
        body();
    } catch (...) {
        EXPECT_TRUE(check());
        throw;
    }
}

/** What a call hands out. */
template <class T> struct Out {
    explicit Out(T* before = nullptr) : raw(before) {}
    ~Out() { testlib::Release()(raw); }
    Out(const Out&) = delete;
    Out& operator=(const Out&) = delete;
    T* raw;
};

/** The code of a flat function that hands something out on success only. */
template <class T, class Call> int codeOf(const Call& call) {
    Out<T> out;
    const int code = call(&out.raw);
    EXPECT_EQ(out.raw == nullptr, code != 0);
    return code;
}

} // namespace faults

#endif

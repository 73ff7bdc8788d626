#ifndef CMNCRYPTO_FUZZ_HARNESS_H
#define CMNCRYPTO_FUZZ_HARNESS_H

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <sys/mman.h>
#include <unistd.h>
#include <vector>

#include "cmncrypto/cmncrypto.hpp"
#include "ossl/OpenSsl.h"

/** What the harnesses share; each is a program of its own. */
namespace fuzz {

using namespace CmnCrypto;

/** What a harness defines: the library must cope with every input. */
void tryOut(const std::string& input);

/** Ends the process where something does not hold. */
inline void require(bool holds, const char* what) {
    if (!holds) {
        std::fprintf(stderr, "does not hold: %s\n", what);
        std::abort();
    }
}

inline size_t failures = 0; ///< logged so far

/** Reads each message to its end, so that a wrong length or a text that is gone is seen. */
inline int readMessage(int level, const char* message, const char* function) {
    require(level == 16 || level == 8 || level == 4 || level == 2, "a message of a known level");
    require(std::strlen(message) < 8192 && *function != '\0', "a message of a function, not longer than promised");
    failures += level == 16 ? 1 : 0;
    return 0;
}
inline const int installed = set_log_callback(readMessage, nullptr);

/**
 * Runs an operation of the library. Afterwards OpenSSL's error queue must be empty; what it throws must be logged.
 * @return whether it threw nothing
 */
template <class Operation> bool succeeds(Operation&& operation) {
    const size_t before = failures;
    bool done = true;
    try {
        operation();
    } catch (const std::exception&) {
        done = false;
    }
    require(done || failures > before, "a failure is logged before it is thrown");
    require(ERR_peek_error() == 0, "the error queue is empty afterwards");
    return done;
}

/** Empties the error queue, and tells libFuzzer where OpenSSL has come to: it cannot watch OpenSSL's own code. */
inline void noteSslError() {
    [[gnu::section("__libfuzzer_extra_counters")]] static uint8_t counters[1024];
    ++counters[ERR_GET_REASON(ERR_peek_last_error()) % 1024];
    ERR_clear_error();
}

inline std::string textOf(const unsigned char* data, long size) {
    return {reinterpret_cast<const char*>(data), static_cast<size_t>(size)};
}

inline const unsigned char* bytesOf(const std::string& text) {
    return reinterpret_cast<const unsigned char*>(text.data());
}

inline OpenSslPtr<BIO> over(const std::string& text) {
    return OpenSslPtr<BIO>(BIO_new_mem_buf(text.data(), static_cast<int>(text.size())));
}

/** What @p write puts out. */
template <class Write> std::string written(Write&& write) {
    const OpenSslPtr<BIO> bio(BIO_new(BIO_s_mem()));
    write(bio.get());
    ERR_clear_error();
    const unsigned char* data = nullptr;
    const long size = BIO_get_mem_data(bio.get(), &data);
    return textOf(data, size);
}

/** DER in the armour of PEM, other input as it is; up to its first zero byte. DER is changed to more effect than PEM.
 */
inline std::string armoured(const std::string& input, const char* kind) {
    const auto size = static_cast<long>(input.size());
    const auto write = [&](BIO* bio) { PEM_write_bio(bio, kind, "", bytesOf(input), size); };
    return input[0] == '0' ? written(write) : input.c_str();
}

/** @return the path of a file that is nowhere on disk; the next call gives it another content */
inline std::string fileWith(const std::string& content) {
    static const int file = memfd_create("input", 0);
    require(ftruncate(file, 0) == 0 && pwrite(file, content.data(), content.size(), 0) >= 0, "a file in memory");
    return "/proc/self/fd/" + std::to_string(file);
}

/** A certificate of the issuer CN=host with one content for several extensions. */
inline OpenSslPtr<X509> certificateWith(std::initializer_list<int> extensions, const std::string& content) {
    OpenSslPtr<X509> certificate(X509_new());
    X509_NAME_add_entry_by_txt(X509_get_issuer_name(certificate.get()), "CN", MBSTRING_ASC, bytesOf("host"), -1, -1, 0);
    const OpenSslPtr<ASN1_STRING> octets(ASN1_OCTET_STRING_new());
    ASN1_OCTET_STRING_set(octets.get(), bytesOf(content), static_cast<int>(content.size()));
    for (const int nid : extensions) {
        const OpenSslPtr<X509_EXTENSION> extension(X509_EXTENSION_create_by_NID(nullptr, nid, 0, octets.get()));
        X509_add_ext(certificate.get(), extension.get(), -1);
    }
    return certificate;
}

/** @return whether DER holds a number that may be more rounds of a key derivation than there is time for */
inline bool isCostly(const std::string& der) {
    bool found = false;
    for (size_t i = der.find('\x02'); !found && i != std::string::npos; i = der.find('\x02', i + 1)) {
        const unsigned char* position = bytesOf(der) + i;
        const OpenSslPtr<ASN1_STRING> number(d2i_ASN1_INTEGER(nullptr, &position, static_cast<long>(der.size() - i)));
        found = number && ASN1_INTEGER_get(number.get()) > 2048 && ASN1_INTEGER_get(number.get()) != RSA_F4;
    }
    ERR_clear_error();
    return found;
}

} // namespace fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::tryOut(fuzz::textOf(data, static_cast<long>(size)));
    return 0;
}

#endif

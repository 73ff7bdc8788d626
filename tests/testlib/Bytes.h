#ifndef CMNCRYPTO_TESTLIB_BYTES_H
#define CMNCRYPTO_TESTLIB_BYTES_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace testlib {

std::string toHex(const std::string& bytes);
std::string fromHex(const std::string& hex);

/** @return the same bytes for the same arguments on every run */
std::string pseudoRandom(size_t size, uint32_t seed);

inline const unsigned char* bytes(const std::string& text) {
    return reinterpret_cast<const unsigned char*>(text.data());
}

/** The text with its NUL in a buffer of exactly that size: a sanitizer sees whoever reads on. */
std::unique_ptr<char[]> exactly(const std::string& text);

/** The rows of a file in tests/data: fields between blanks, "-" an empty field, "#" a comment. */
std::vector<std::vector<std::string>> readRows(const std::string& file);

/** Queues an OpenSSL error as a host might leave it; what the library logs must not show it. */
void queueHostError();
/** How queueHostError()'s error would show in a text. */
constexpr const char* hostErrorMark = "lib(128)";

} // namespace testlib

#endif

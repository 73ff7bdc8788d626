#include "testlib/Bytes.h"

#include <cstring>
#include <fstream>
#include <random>
#include <sstream>
#include <stdexcept>

#include <openssl/err.h>

namespace testlib {

std::string toHex(const std::string& bytes) {
    std::string hex;
    for (const char byte : bytes) {
        constexpr const char* digits = "0123456789abcdef";
        hex += digits[static_cast<unsigned char>(byte) / 16];
        hex += digits[static_cast<unsigned char>(byte) % 16];
    }
    return hex;
}

std::string fromHex(const std::string& hex) {
    std::string bytes;
    for (size_t i = 0; i + 1 < hex.size(); i += 2) {
        bytes += static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16));
    }
    return bytes;
}

std::string pseudoRandom(size_t size, uint32_t seed) {
    std::mt19937 generator(seed);
    std::string bytes(size, '\0');
    for (char& byte : bytes) {
        byte = static_cast<char>(generator());
    }
    return bytes;
}

std::unique_ptr<char[]> exactly(const std::string& text) {
    std::unique_ptr<char[]> copy(new char[text.size() + 1]);
    std::memcpy(copy.get(), text.c_str(), text.size() + 1);
    return copy;
}

std::vector<std::vector<std::string>> readRows(const std::string& file) {
    std::ifstream stream(std::string(CMNCRYPTO_TEST_DATA) + "/" + file);
    std::vector<std::vector<std::string>> rows;
    for (std::string line, field; std::getline(stream, line);) {
        if (line[0] != '#') {
            rows.emplace_back();
            for (std::istringstream fields(line); fields >> field;) {
                rows.back().push_back(field == "-" ? "" : field);
            }
        }
    }
    if (rows.empty()) {
        throw std::runtime_error("no rows in " + file);
    }
    return rows;
}

void queueHostError() {
    ERR_raise(ERR_LIB_USER, 77);
}

} // namespace testlib

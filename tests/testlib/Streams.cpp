#include "testlib/Streams.h"

#include <algorithm>
#include <stdexcept>

#include "testlib/Oracle.h"

namespace testlib {

std::string Side::output() const {
    const unsigned char* data = nullptr;
    size_t length = 0;
    if (get(&data, &length) != 0) {
        throw std::runtime_error("no output");
    }
    return std::string(reinterpret_cast<const char*>(data), length);
}

Outcome run(const Side& side, const std::string& data, size_t piece, const std::string& aad) {
    Outcome outcome{aad.empty() ? 0 : side.aad(aad), ""};
    for (size_t done = 0; outcome.status == 0;) {
        const size_t length = std::min(piece == 0 ? data.size() : piece, data.size() - done);
        const bool final = done + length == data.size();
        outcome.status = side.put(bytes(data) + done, length, final);
        if (outcome.status == 0) {
            outcome.output += side.output();
        }
        done += length;
        if (final) {
            break;
        }
    }
    return outcome;
}

std::string Kind::expectedStream(const std::string& streamIv, const std::string& data, const std::string& aad) const {
    return type == KSCrypt::CRYPT_NONE ? data
           : authenticated             ? streamIv + oracle::gcmEncrypt(key, streamIv, aad, data)
                                       : streamIv + *oracle::cbc(true, key, streamIv.empty() ? iv : streamIv, data);
}

Kind kindOf(int type) {
    constexpr size_t keySizes[] = {0, 0, 32, 24, 16, 32, 32};
    const size_t ivInStream = type == 6 ? 12 : type >= 2 && type <= 4 ? 16 : 0;
    return {static_cast<KSCrypt::CryptType>(type), pseudoRandom(keySizes[type], 1),
            type == 5 ? pseudoRandom(16, 2) : "", ivInStream, type == 6};
}

} // namespace testlib

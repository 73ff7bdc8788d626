#include "PeakMemory.h"

#include <cstdio>
#include <memory>
#include <sys/resource.h>

#include "Pairs.h"

using CmnCrypto::Encryption::CryptFactory;
using CmnCrypto::Encryption::KSCrypt;

namespace {

size_t peakBytes() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<size_t>(usage.ru_maxrss) * 1024;
}

} // namespace

int printPeakMemory() {
    constexpr size_t streamLength = size_t{512} << 20;
    const auto data = sample(size_t{64} << 10);
    const std::string key(32, 'k');
    const std::unique_ptr<KSCrypt> crypter(CryptFactory::createCrypter(KSCrypt::AES_256_GCM, key, ""));
    const size_t before = peakBytes();
    bool worked = true;
    for (size_t done = 0; done < streamLength; done += data.size()) {
        const bool last = done + data.size() >= streamLength;
        const unsigned char* out = nullptr;
        size_t length = 0;
        worked = crypter->encrypt(data.data(), data.size(), last) == 0 &&
                 crypter->getEncryptedData(&out, &length) == 0 && crypter->decrypt(out, length, last) == 0 && worked;
    }
    require(worked, "decryption");
    std::printf("peak memory of a withheld 512 MiB stream: %.3f x the stream\n",
                static_cast<double>(peakBytes() - before) / static_cast<double>(streamLength));
    return 0;
}

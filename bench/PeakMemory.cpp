#include "PeakMemory.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <functional>
#include <memory>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "CrlMaterial.h"
#include "CrlRaw.h"
#include "IdleMemory.h"
#include "Pairs.h"

using CmnCrypto::Encryption::CryptFactory;
using CmnCrypto::Encryption::KSCrypt;

namespace {

size_t peakBytes() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<size_t>(usage.ru_maxrss) * 1024;
}

/** @return a line of this process's status in KiB */
double statusKiB(const std::string& field) {
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;) {
        if (word == field) {
            double value = 0;
            status >> value;
            return value;
        }
    }
    require(false, "reading the process's status");
    return 0;
}

/** Runs @p work in a process that nothing has used before, so that no freed memory is there to be used again. */
void inOwnProcess(const std::function<void()>& work) {
    std::fflush(stdout);
    const pid_t child = fork();
    require(child >= 0, "starting a process");
    if (child == 0) {
        work();
        std::fflush(stdout);
        _exit(0);
    }
    int status = 0;
    require(waitpid(child, &status, 0) == child && status == 0, "a process");
}

/** A way to load a list; what it answers is kept. */
struct Loading {
    const char* name;
    std::shared_ptr<void> (*load)(const ListMaterial& list);
};

std::shared_ptr<void> keep(Owned<X509_CRL> crl) {
    return {crl.release(), [](X509_CRL* object) { X509_CRL_free(object); }};
}

std::shared_ptr<void> keepFile(const std::string& path) {
    auto crl = std::make_shared<Crl>();
    crl->loadFromPath(path);
    return crl;
}

constexpr Loading loadings[] = {
    {"ours, all three forms, from DER",
     [](const ListMaterial& list) -> std::shared_ptr<void> { return std::make_shared<Crl>(list.der); }},
    {"ours, all three forms, from PEM",
     [](const ListMaterial& list) -> std::shared_ptr<void> { return std::make_shared<Crl>(list.pem); }},
    {"ours, all three forms, from a DER file", [](const ListMaterial& list) { return keepFile(list.derPath); }},
    {"ours, all three forms, from a PEM file", [](const ListMaterial& list) { return keepFile(list.pemPath); }},
    {"OpenSSL, all three forms, from DER",
     [](const ListMaterial& list) -> std::shared_ptr<void> { return std::make_shared<RawForms>(list.der); }},
    {"OpenSSL, the object, from DER",
     [](const ListMaterial& list) { return keep(rawFromDer(list.der.data(), list.der.size())); }},
    {"OpenSSL, the object, from a DER file",
     [](const ListMaterial& list) { return keep(rawFromDerFile(list.derPath)); }},
    {"OpenSSL, the object, from a PEM file",
     [](const ListMaterial& list) {
         const Owned<BIO> bio(BIO_new_file(list.pemPath.c_str(), "rb"));
         return keep(rawFromPem(bio.get()));
     }},
};

constexpr int sizes[] = {1000, 100000, 1000000};
constexpr int entriesAtOnce = 100000; ///< of short lists so many are held that the system's pages do not matter

double peakOf(const Loading& loading, int entries) {
    const ListMaterial& given = list(entries); // the caller's own bytes do not count
    const int count = std::max(1, entriesAtOnce / entries);
    std::vector<std::shared_ptr<void>> held;
    const double before = statusKiB("VmRSS:");
    for (int i = 0; i < count; ++i) {
        held.push_back(loading.load(given));
    }
    return (statusKiB("VmHWM:") - before) * 1024 / (count * static_cast<double>(given.der.size()));
}

void printListMemory() {
    require(Crl(listPki().rootListPem).getX509Crl() != nullptr, "a first list"); // what OpenSSL sets up once
    std::printf("%-45s", "peak memory as a multiple of the list's DER");
    for (const int entries : sizes) {
        inOwnProcess([entries] { listFiles(entries); });
        std::printf("%16d", entries);
    }
    for (const Loading& loading : loadings) {
        std::printf("\n%-45s", loading.name);
        for (const int entries : sizes) {
            inOwnProcess([&] { std::printf("%16.2f", peakOf(loading, entries)); });
        }
    }
    std::printf("\n\n");
}

void printStreamMemory() {
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
}

} // namespace

int printPeakMemory() {
    printListMemory();
    printStreamMemory();
    printIdleMemory();
    return 0;
}

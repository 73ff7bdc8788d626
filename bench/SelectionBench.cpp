// Selecting among many certificates of a software store that would all serve. OpenSSL's side reads each file once,
// which is the least that a search in a folder can do.

#include <filesystem>

#include <openssl/pem.h>

#include "Material.h"
#include "Pairs.h"
#include "StoreFolder.h"

namespace {

using namespace CmnCrypto::WinCertStore;
using Filters = std::list<std::shared_ptr<CertificateFilter>>;

void selectRaw(benchmark::State& state) {
    const std::string folder = storeFolder(static_cast<int>(state.range(0))) + "/MY";
    for (auto _ : state) {
        for (const auto& entry : std::filesystem::directory_iterator(folder)) {
            const Owned<BIO> file(BIO_new_file(entry.path().c_str(), "rb"));
            const Owned<X509> certificate(PEM_read_bio_X509(file.get(), nullptr, nullptr, nullptr));
            require(certificate != nullptr, "reading a certificate");
        }
    }
}

void selectOurs(benchmark::State& state, const Filters& filters) {
    setCertStorePlatform(std::make_shared<SoftwareCertStore>(storeFolder(static_cast<int>(state.range(0)))));
    const CertificateSelector selector(R"(MY\\host)", filters);
    for (auto _ : state) {
        WinCertStoreCertificate certificate;
        require(selector.GetCertificate(certificate, false) == 0, "the selection");
    }
}

void selectFirst(benchmark::State& state) {
    selectOurs(state, {});
}

void selectByLag(benchmark::State& state) {
    selectOurs(state, {std::make_shared<TimeLagCertificateFilter>(0)});
}

/** A search through the whole store is one run, of which the small ones have several in a measurement. */
void registerSide(const std::string& name, void (*function)(benchmark::State&), int size) {
    auto* const measured = benchmark::RegisterBenchmark(name.c_str(), function)->Arg(size);
    measured->Iterations(1 + 1000 / size);
    if (size > 1000) {
        measured->Repetitions(3);
    }
}

[[maybe_unused]] const bool registered = [] {
    for (const int size : {10, 1000, 10000}) {
        for (const bool byLag : {false, true}) {
            const std::string job = "selection among " + std::to_string(size) + (byLag ? ", by time" : ", the first");
            registerSide(job + "/raw", selectRaw, size);
            registerSide(job + "/ours", byLag ? selectByLag : selectFirst, size);
        }
    }
    return true;
}();

} // namespace

// Revocation lists of three sizes: loading, the decision, and chains verified with lists. What both sides spend most of
// their time with is OpenSSL building an object for each entry.

#include <algorithm>
#include <optional>
#include <utility>

#include "CrlMaterial.h"
#include "CrlRaw.h"
#include "Pairs.h"

namespace {

using CmnCrypto::X509CertChain;
using CmnCrypto::X509Certificate;
using CmnCrypto::X509Store;

constexpr unsigned int anyAge = 3600U * 24 * 365 * 20; // more than lists are kept

// --- loading

void loadDerRaw(benchmark::State& state, const ListMaterial& list) {
    for (auto _ : state) {
        benchmark::DoNotOptimize(rawFromDer(list.der.data(), list.der.size()));
    }
}

void loadDerOurs(benchmark::State& state, const ListMaterial& list) {
    for (auto _ : state) {
        X509_CRL* crl = nullptr;
        require(CrlConverter::derToX509Crl(list.der, &crl) == 0, "loading DER");
        X509_CRL_free(crl);
    }
}

void loadDerFileRaw(benchmark::State& state, const ListMaterial& list) {
    for (auto _ : state) {
        benchmark::DoNotOptimize(rawFromDerFile(list.derPath));
    }
}

void loadPemRaw(benchmark::State& state, const ListMaterial& list) {
    for (auto _ : state) {
        const Owned<BIO> bio(BIO_new_mem_buf(list.pem.data(), static_cast<int>(list.pem.size())));
        benchmark::DoNotOptimize(rawFromPem(bio.get()));
    }
}

void loadPemOurs(benchmark::State& state, const ListMaterial& list) {
    for (auto _ : state) {
        X509_CRL* crl = nullptr;
        require(CrlConverter::pemToX509Crl(list.pem, &crl) == 0, "loading PEM");
        X509_CRL_free(crl);
    }
}

void loadPemFileRaw(benchmark::State& state, const ListMaterial& list) {
    for (auto _ : state) {
        const Owned<BIO> bio(BIO_new_file(list.pemPath.c_str(), "rb"));
        benchmark::DoNotOptimize(rawFromPem(bio.get()));
    }
}

void loadFileOurs(benchmark::State& state, const std::string& path) {
    for (auto _ : state) {
        X509_CRL* crl = nullptr;
        require(CrlUtil::getX509Crl(path, &crl) == 0, "loading a file");
        X509_CRL_free(crl);
    }
}

void loadDerFileOurs(benchmark::State& state, const ListMaterial& list) {
    loadFileOurs(state, list.derPath);
}

void loadPemFileOurs(benchmark::State& state, const ListMaterial& list) {
    loadFileOurs(state, list.pemPath);
}

void threeFormsRaw(benchmark::State& state, const ListMaterial& list) {
    require(RawForms(list.der).pemText() == list.pem, "the raw PEM form");
    for (auto _ : state) {
        benchmark::DoNotOptimize(RawForms(list.der));
    }
}

void threeFormsOurs(benchmark::State& state, const ListMaterial& list) {
    require(Crl(list.der).getPemCrl() == list.pem, "the PEM form");
    for (auto _ : state) {
        benchmark::DoNotOptimize(Crl(list.der));
    }
}

// --- the decision

/** The issuer's certificate and the one in question, as a host holds them; the good one unless told otherwise. */
struct Question {
    explicit Question(const X509* asked = listPki().good.get())
        : issuer(pemOf(listPki().issuer.get()), CmnCrypto::INIT_TYPE_BLOB), certificate(asked) {}

    CCRYPTStatus ask(const Crl& crl) {
        const CCRYPTStatus status = crl.checkCertRevokeStatus(&issuer, anyAge, &certificate, &info);
        delete[] std::exchange(info.serialNumber, nullptr);
        return status;
    }

    X509CertChain issuer;
    X509Certificate certificate;
    RevokeInfo info;
};

/** Both sides must tell the good certificate from one in the middle of the list before their time counts. */
void compareVerdicts(const ListMaterial& list) {
    static std::vector<int> compared;
    if (std::find(compared.begin(), compared.end(), list.entries) != compared.end()) {
        return;
    }
    compared.push_back(list.entries);
    const Owned<ASN1_INTEGER> listed = serialOf(list.entries / 2);
    const Owned<X509> bad = certificateWith(listed.get());
    const Owned<X509_CRL> raw = rawFromDer(list.der.data(), list.der.size());
    const X509* const good = listPki().good.get();
    require(!rawWalk(raw.get(), good) && rawWalk(raw.get(), bad.get()) && !rawLookUp(raw.get(), good) &&
                rawLookUp(raw.get(), bad.get()),
            "the raw verdicts");
    const Crl first(list.der);
    require(Question(bad.get()).ask(first) == CCRYPT_CERT_REVOKED && Question().ask(first) == CCRYPT_SUCCESS &&
                Question(bad.get()).ask(first) == CCRYPT_CERT_REVOKED,
            "the verdicts");
}

void loadAndCheckRaw(benchmark::State& state, const ListMaterial& list) {
    compareVerdicts(list);
    for (auto _ : state) {
        const Owned<X509_CRL> crl = rawFromDer(list.der.data(), list.der.size());
        require(rawVerify(crl.get()) && !rawWalk(crl.get(), listPki().good.get()), "the raw check");
    }
}

void loadAndCheckOurs(benchmark::State& state, const ListMaterial& list) {
    compareVerdicts(list);
    Question question;
    for (auto _ : state) {
        require(question.ask(Crl(list.der)) == CCRYPT_SUCCESS, "the check");
    }
}

/** The first check of a list that has just been loaded, the loading left out. */
void firstCheckRaw(benchmark::State& state, const ListMaterial& list) {
    compareVerdicts(list);
    Owned<X509_CRL> crl;
    for (auto _ : state) {
        state.PauseTiming();
        crl.reset(); // before the next one, as on our side: that one then lies where the caches know it
        crl = rawFromDer(list.der.data(), list.der.size());
        state.ResumeTiming();
        require(rawVerify(crl.get()) && !rawWalk(crl.get(), listPki().good.get()), "the raw check");
    }
}

void firstSortingCheckRaw(benchmark::State& state, const ListMaterial& list) {
    compareVerdicts(list);
    Owned<X509_CRL> crl;
    for (auto _ : state) {
        state.PauseTiming();
        crl.reset();
        crl = rawFromDer(list.der.data(), list.der.size());
        state.ResumeTiming();
        require(rawVerify(crl.get()) && !rawLookUp(crl.get(), listPki().good.get()), "the raw check");
    }
}

void firstCheckOurs(benchmark::State& state, const ListMaterial& list) {
    compareVerdicts(list);
    Question question;
    std::optional<Crl> crl;
    for (auto _ : state) {
        state.PauseTiming();
        crl.emplace(list.der);
        state.ResumeTiming();
        require(question.ask(*crl) == CCRYPT_SUCCESS, "the check");
    }
}

void checkRaw(benchmark::State& state, const ListMaterial& list) {
    compareVerdicts(list);
    const Owned<X509_CRL> crl = rawFromDer(list.der.data(), list.der.size());
    require(!rawLookUp(crl.get(), listPki().good.get()), "sorting the raw list");
    for (auto _ : state) {
        require(rawVerify(crl.get()) && !rawLookUp(crl.get(), listPki().good.get()), "the raw check");
    }
}

void checkOurs(benchmark::State& state, const ListMaterial& list) {
    compareVerdicts(list);
    const Crl crl(list.der);
    Question question;
    require(question.ask(crl) == CCRYPT_SUCCESS && question.ask(crl) == CCRYPT_SUCCESS, "sorting the list");
    for (auto _ : state) {
        require(question.ask(crl) == CCRYPT_SUCCESS, "the check");
    }
}

// --- chains

void chainRaw(benchmark::State& state, const ListMaterial& list) {
    const std::string lists = listPki().rootListPem + list.pem;
    for (auto _ : state) {
        require(rawVerifyChain(listPki().rootPem, lists, listPki().chainPem) == 3, "the raw chain");
    }
}

void chainOurs(benchmark::State& state, const ListMaterial& list) {
    const std::string lists = listPki().rootListPem + list.pem;
    for (auto _ : state) {
        X509Store store;
        store.setTrustedCerts(listPki().rootPem);
        store.setCrl(lists);
        store.setCrlCheckLevel(CRL_CHECK_CHAIN);
        require(store.verifyX509Cert(listPki().chainPem) == 0 && store.getStatus().verified &&
                    store.getVerifiedX509CertChain()->getCertChainLength() == 3,
                "the chain");
    }
}

// --- all of them, for each size

using Side = void (*)(benchmark::State&, const ListMaterial&);

struct ListJob {
    const char* name;
    Side raw;
    Side ours;
    int entries; ///< that one measurement goes through, at least
};

constexpr ListJob jobs[] = {
    {"list: DER to object", loadDerRaw, loadDerOurs, 20000},
    {"list: DER file to object", loadDerFileRaw, loadDerFileOurs, 20000},
    {"list: PEM to object", loadPemRaw, loadPemOurs, 20000},
    {"list: PEM file to object", loadPemFileRaw, loadPemFileOurs, 20000},
    {"list: DER to all three forms", threeFormsRaw, threeFormsOurs, 20000},
    {"list: load and one check", loadAndCheckRaw, loadAndCheckOurs, 20000},
    {"list: first check, to a walk", firstCheckRaw, firstCheckOurs, 20000},
    {"list: first check, to get0_by_serial", firstSortingCheckRaw, firstCheckOurs, 20000},
    {"list: check, loaded and sorted", checkRaw, checkOurs, 500000},
    {"list: chain of 3 verified with lists", chainRaw, chainOurs, 20000},
};

constexpr int sizes[] = {1000, 100000, 1000000};
constexpr int longestShort = 100000; ///< a longer one is measured less often
constexpr int fewRepetitions = 7;

void registerSide(const ListJob& job, int entries, const char* label, Side side) {
    const std::string name = std::string(job.name) + ", " + std::to_string(entries) + " entries/" + label;
    const auto run = [side, entries](benchmark::State& state) { side(state, list(entries)); };
    benchmark::internal::Benchmark* const measured = benchmark::RegisterBenchmark(name.c_str(), run);
    measured->Iterations(std::max(1, job.entries / entries));
    if (entries > longestShort) {
        measured->Repetitions(fewRepetitions);
    }
}

const bool registered = [] {
    for (const ListJob& job : jobs) {
        for (const int entries : sizes) {
            registerSide(job, entries, "raw", job.raw);
            registerSide(job, entries, "ours", job.ours);
        }
    }
    return true;
}();

} // namespace

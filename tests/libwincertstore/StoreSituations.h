#ifndef CMNCRYPTO_TESTS_STORESITUATIONS_H
#define CMNCRYPTO_TESTS_STORESITUATIONS_H

#include "testlib/FakeStore.h"
#include "testlib/Pki.h"
#include "testlib/Testlib.h"

/** What every store has to do alike. */
namespace situations {

/** Where the tables of selection are set up: stores of the process's platform. The keys are of keyOf(). */
struct Bench {
    virtual ~Bench() = default;
    virtual void make(const std::string& store) = 0;
    virtual void put(const std::string& store, X509* certificate, bool withKey) = 0;
    virtual void clear() = 0; ///< no store is there any more
    bool backwards = false;   ///< whether stores list certificates from the highest digest on
};

void checksInTheirOrder(Bench& bench); ///< store-candidates.txt, but for calls that fail
void choices(Bench& bench);            ///< store-choices.txt

/** Puts a certificate where the platform can tell about it. */
using Wrap = std::function<WinCertStoreCertificate(X509*)>;
/** store-rendered.txt, but for names that are rendered in another way, and store-usages.txt. */
void namesAndUsages(const Wrap& wrap, const std::map<std::string, std::string>& otherwise = {});
void dates(const Wrap& wrap);

} // namespace situations

#endif

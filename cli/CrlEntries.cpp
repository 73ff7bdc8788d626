#include "CrlEntries.h"

#include <algorithm>
#include <array>

#include <openssl/err.h>
#include <openssl/x509v3.h>

#include "CrlDetails.h"
#include "OpenSslOwner.h"
#include "cmncrypto/CrlUtil.h"

namespace CmnCrypto::Cli {

namespace {

/** By number: RFC 5280, 5.3.1. */
constexpr std::array<const char*, 11> reasonNames = {
    "unspecified",     "keyCompromise", "cACompromise",  "affiliationChanged", "superseded",  "cessationOfOperation",
    "certificateHold", nullptr,         "removeFromCRL", "privilegeWithdrawn", "aACompromise"};

/** So much is written at once. */
constexpr size_t pieceSize = size_t{64} * 1024;

const char* reasonName(int32_t reason) {
    return reason >= 0 && static_cast<size_t>(reason) < reasonNames.size()
               ? reasonNames[static_cast<size_t>(reason)] // NOLINT(*-constant-array-index): checked
               : nullptr;
}

int32_t reasonOf(const X509_REVOKED* entry) {
    if (X509_REVOKED_get0_extensions(entry) == nullptr) {
        return CRL_REASON_NONE;
    }
    const Owned<ASN1_ENUMERATED, ASN1_ENUMERATED_free> reason(
        static_cast<ASN1_ENUMERATED*>(X509_REVOKED_get_ext_d2i(entry, NID_crl_reason, nullptr, nullptr)));
    ERR_clear_error();
    return reason ? static_cast<int32_t>(ASN1_ENUMERATED_get(reason.get())) : CRL_REASON_NONE;
}

/** Keeps @p own up to date, which tells whether the entries from here on are of the list's issuer (RFC 5280, 5.3.3). */
void followIssuer(const X509_REVOKED* entry, const X509_NAME* issuer, bool& own) {
    if (X509_REVOKED_get0_extensions(entry) == nullptr) {
        return;
    }
    const Owned<GENERAL_NAMES, GENERAL_NAMES_free> names(
        static_cast<GENERAL_NAMES*>(X509_REVOKED_get_ext_d2i(entry, NID_certificate_issuer, nullptr, nullptr)));
    ERR_clear_error();
    if (names) {
        CrlUtil::isMatchingX509NameExists(names.get(), issuer, own);
    }
}

struct Listing {
    Listing(const Crl& list, uint64_t most) : entries(X509_CRL_get_REVOKED(list.getX509Crl())) {
        total = static_cast<uint64_t>(std::max(sk_X509_REVOKED_num(entries), 0));
        count = std::min(most, total);
    }
    const X509_REVOKED* at(uint64_t index) const { return sk_X509_REVOKED_value(entries, static_cast<int>(index)); }

    STACK_OF(X509_REVOKED)* entries;
    uint64_t total;
    uint64_t count;
};

} // namespace

CrlEntry::CrlEntry(const X509_REVOKED* entry)
    : date(X509_REVOKED_get0_revocationDate(entry)), reason(reasonOf(entry)) {}

std::string CrlEntry::reasonText() const {
    if (reason < 0) {
        return "none given";
    }
    const char* const name = reasonName(reason);
    return (name == nullptr ? "unknown" : name) + (" (" + std::to_string(reason)) + ")";
}

void CrlEntry::addTo(Details& details) const {
    details.add("Revoked", "",
                date.isReadable()
                    ? date.text() + " (" + date.relative() + ", " + std::to_string(date.seconds()) + " seconds)"
                    : date.text());
    details.add("", "revocationDate", date.isReadable() ? Json(date.iso()) : Json());
    details.add("", "revocationTime", date.isReadable() ? Json(date.seconds()) : Json());
    details.add("Reason", "", reasonText());
    details.add("", "reason", reason);
    const char* const name = reasonName(reason);
    details.add("", "reasonName", name == nullptr ? Json() : Json(name));
}

const X509_REVOKED* findEntry(const Crl& list, const ASN1_INTEGER* serial) {
    const Listing listing(list, UINT64_MAX);
    const X509_NAME* const issuer = X509_CRL_get_issuer(list.getX509Crl());
    bool own = true;
    for (uint64_t i = 0; i < listing.count; ++i) {
        const X509_REVOKED* const entry = listing.at(i);
        followIssuer(entry, issuer, own);
        if (own && ASN1_INTEGER_cmp(X509_REVOKED_get0_serialNumber(entry), serial) == 0) {
            return entry;
        }
    }
    return nullptr;
}

void printEntries(const Crl& list, uint64_t count) {
    const Listing listing(list, count);
    std::string piece;
    for (uint64_t i = 0; i < listing.count; ++i) {
        const X509_REVOKED* const raw = listing.at(i);
        const CrlEntry entry(raw);
        piece += (piece.empty() ? "" : "\n") + hexadecimal(X509_REVOKED_get0_serialNumber(raw)) + "  " +
                 entry.date.text() + "  " + entry.reasonText();
        if (piece.size() >= pieceSize || i + 1 == listing.count) {
            printLine(piece);
            piece.clear();
        }
    }
    if (listing.count < listing.total) {
        printLine("... and " + std::to_string(listing.total - listing.count) + " more (--entries " +
                  std::to_string(listing.total) + " lists all)");
    }
}

std::string describeEntries(const Crl& list, uint64_t count) {
    const Listing listing(list, count);
    std::string text = "[";
    for (uint64_t i = 0; i < listing.count; ++i) {
        Details details;
        details.add("", "serialNumber", hexadecimal(X509_REVOKED_get0_serialNumber(listing.at(i))));
        CrlEntry(listing.at(i)).addTo(details);
        text += (i == 0 ? "" : ",") + details.members().dump();
    }
    return text + "]";
}

} // namespace CmnCrypto::Cli

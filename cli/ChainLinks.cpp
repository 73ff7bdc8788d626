#include "ChainLinks.h"

#include <map>
#include <unordered_map>

#include <openssl/err.h>
#include <openssl/x509v3.h>

#include "CertificateDetails.h"

namespace CmnCrypto::Cli {

namespace {

std::string roleOf(const X509Certificate& certificate) {
    const bool authority = X509_check_ca(certificate.getX509()) > 0;
    if (isSelfIssued(certificate)) {
        return authority ? "root" : "self-issued";
    }
    return authority ? "intermediate" : "leaf";
}

bool isSignedBy(const X509Certificate& certificate, const X509Certificate& issuer) {
    EVP_PKEY* key = X509_get0_pubkey(issuer.getX509());
    const bool fits = key != nullptr && X509_verify(certificate.getX509(), key) == 1;
    ERR_clear_error();
    return fits;
}

std::string number(size_t index) {
    return "certificate " + std::to_string(index + 1);
}

/** Positions by the hash of the subject, so that thousands of certificates are not compared each with each. */
using SubjectIndex = std::unordered_map<unsigned long, std::vector<size_t>>;

/** Certificates of one name whose keys are tried: cross-signing and renewals need a few, an attacker offers thousands.
 */
constexpr size_t mostCandidates = 16;

/** @return those with the issuer's name: the certificate that follows first, where the issuer belongs */
std::vector<size_t> candidatesFor(const CertificateInput& input, const SubjectIndex& subjects, size_t self) {
    const X509Name name = input.at(self).getIssuer();
    std::vector<size_t> candidates;
    if (self + 1 < input.size() && name == input.at(self + 1).getSubject()) {
        candidates.push_back(self + 1);
    }
    const auto found = subjects.find(name.getHash());
    if (found == subjects.end()) {
        return candidates;
    }
    for (const size_t index : found->second) {
        if (candidates.size() == mostCandidates) {
            break;
        }
        if (index != self && index != self + 1 && name == input.at(index).getSubject()) {
            candidates.push_back(index);
        }
    }
    return candidates;
}

/** Takes the first whose key fits or, where none does, the first. */
void findIssuer(const CertificateInput& input, const SubjectIndex& subjects, size_t self, ChainLink& link) {
    for (const size_t index : candidatesFor(input, subjects, self)) {
        link.isSigned = isSignedBy(input.at(self), input.at(index));
        if (link.isSigned || !link.issuer) {
            link.issuer = index;
        }
        if (link.isSigned) {
            return;
        }
    }
}

void addRepetitions(const CertificateInput& input, std::vector<std::string>& problems) {
    std::map<std::string, size_t> seen;
    for (size_t i = 0; i < input.size(); ++i) {
        const auto [first, isNew] = seen.emplace(input.at(i).generateHash(HASH_ALGO_SHA256), i);
        if (!isNew) {
            problems.push_back("repeated: " + number(i) + " is " + number(first->second) + " again");
        }
    }
}

} // namespace

std::string ChainLink::text(size_t self) const {
    if (!issuer) {
        return "issuer is not in the input";
    }
    if (*issuer == self) {
        return isSigned ? "signs itself" : "names itself as issuer, but its key does not fit";
    }
    return (isSigned ? "signed by " : "not signed by ") + number(*issuer) +
           (isSigned ? "" : ", which has the issuer's name: its key does not fit");
}

std::vector<ChainLink> findLinks(const CertificateInput& input) {
    SubjectIndex subjects;
    for (size_t i = 0; i < input.size(); ++i) {
        subjects[input.at(i).getSubject().getHash()].push_back(i);
    }
    std::vector<ChainLink> links(input.size());
    for (size_t i = 0; i < input.size(); ++i) {
        links[i].role = roleOf(input.at(i));
        if (isSelfIssued(input.at(i))) {
            links[i].issuer = i;
            links[i].isSigned = isSignedBy(input.at(i), input.at(i));
        } else {
            findIssuer(input, subjects, i, links[i]);
        }
    }
    return links;
}

std::vector<std::string> chainProblems(const CertificateInput& input, const std::vector<ChainLink>& links) {
    std::vector<std::string> problems;
    for (size_t i = 0; i < links.size(); ++i) {
        const ChainLink& link = links[i];
        const bool last = i + 1 == links.size();
        if (link.issuer && !link.isSigned) {
            problems.push_back("wrong signature: " + number(i) + " is " + link.text(i));
        }
        if (!link.issuer && !last) {
            problems.push_back("broken chain: the issuer of " + number(i) + " is not in the input");
        } else if (link.issuer == i && !last) {
            problems.push_back("out of order: " + number(i) + " issues itself, so it should be the last");
        } else if (link.issuer && link.issuer != i && link.issuer != i + 1) {
            problems.push_back("out of order: the issuer of " + number(i) + " is " + number(*link.issuer) +
                               ", it should follow at once");
        }
    }
    addRepetitions(input, problems);
    return problems;
}

} // namespace CmnCrypto::Cli

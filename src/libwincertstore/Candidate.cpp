#include "libwincertstore/Candidate.h"

#include <utility>

#include "libwincertstore/NameMatch.h"
#include "libwincertstore/OpenStore.h"
#include "libwincertstore/StoreLog.h"

namespace CmnCrypto::WinCertStore {

namespace {

/** A candidate on its way through the checks; each answers 0 or a code, after having logged why. */
struct Candidate {
    const WinCertStoreCertificate& certificate;
    const _win_cert_store_path& path;
    std::string subject;

    int signatureAlgorithm();
    int subjectName();
    int issuerName();
    int privateKey();
    int serverPurpose();
    int clientPurpose();
    int validity();
    int keyType();
};

int Candidate::signatureAlgorithm() {
    const int code = certificate.ValidateAlgo();
    if (code == 0) {
        return 0;
    }
    logFailureOf(selectionTag, {"wcs_certificate.validateAlgorithm failed. Error: ", std::to_string(code)});
    return codeSignatureRefused;
}

int Candidate::subjectName() {
    if (const int code = certificate.GetSubjectName(subject)) {
        logFailureOf(selectionTag, {"GetSubjectName failed. Error: ", std::to_string(code)});
        return code;
    }
    if (subjectMatches(subject, path.subject_patterns)) {
        return 0;
    }
    logFailureOf(selectionTag, {"Certificate subject name does not match. Subject: ", subject});
    return codeSubjectMismatch;
}

int Candidate::issuerName() {
    std::string issuer;
    if (const int code = certificate.GetIssuerName(issuer)) {
        logFailureOf(selectionTag, {"get_issuer_name failed. Error: ", std::to_string(code)});
        return code;
    }
    if (issuerMatches(issuer, path.issuer_patterns)) {
        return 0;
    }
    logFailureOf(selectionTag, {"Certificate issuer name does not match. Issuer: ", issuer});
    return codeIssuerMismatch;
}

int Candidate::privateKey() {
    if (certificate.DoesPrivateKeyExist() != 0) {
        return 0;
    }
    logFailureOf(selectionTag, {"Private key not found associated with this certificate.", " SubjectName: ", subject});
    return WinCertStoreCommon::WinCertToQXError(WIN_CERT_STORE_NO_PRIVATE_KEY);
}

int Candidate::serverPurpose() {
    const int code = certificate.IsIntendedForServerPurpose();
    if (code != 0) {
        logFailureOf("CheckCertPurposes", {"Certificate cannot be used for server. SubjectName is: ", subject});
    }
    return code;
}

int Candidate::clientPurpose() {
    const int code = certificate.IsIntendedForClientPurpose();
    if (code != 0) {
        logFailureOf("CheckCertPurposes", {"Certificate cannot be used for client. SubjectName is: ", subject});
    }
    return code;
}

int Candidate::validity() {
    const int code = certificate.IsValid();
    if (code == 0) {
        traceOf(selectionTag, {"Certificate is valid. SubjectName: ", subject});
    } else {
        logFailureOf(selectionTag, {code == codeCertificateExpired ? "Certificate is expired. SubjectName: "
                                                                   : "Certificate is yet not valid one. SubjectName: ",
                                    subject});
    }
    return code;
}

int Candidate::keyType() {
    if (certificate.IsKeyRSA() != 0) {
        return 0;
    }
    logFailureOf(selectionTag, {"Certificate's SubjectPublicKeyInfo.Algorithm.pszObjId ", certificate.GetKeyAlgo(),
                                " is not supported"});
    return codeKeyTypeRefused;
}

struct Check {
    CandidateCheck name;
    int (Candidate::*run)();
};

constexpr Check checks[] = {
    {CandidateCheck::signatureAlgorithm, &Candidate::signatureAlgorithm},
    {CandidateCheck::subject, &Candidate::subjectName},
    {CandidateCheck::issuer, &Candidate::issuerName},
    {CandidateCheck::privateKey, &Candidate::privateKey},
    {CandidateCheck::serverPurpose, &Candidate::serverPurpose},
    {CandidateCheck::clientPurpose, &Candidate::clientPurpose},
    {CandidateCheck::validity, &Candidate::validity},
    {CandidateCheck::keyType, &Candidate::keyType},
};

} // namespace

CandidateVerdict examine(const WinCertStoreCertificate& certificate, const _win_cert_store_path& path) {
    Candidate candidate{certificate, path, {}};
    for (const Check& check : checks) {
        if (const int code = (candidate.*check.run)()) {
            return {certificate, path, check.name, code};
        }
    }
    traceOf(selectionTag, {"Context created successfully for subject name ", candidate.subject});
    return {certificate, path, CandidateCheck::none, 0};
}

bool countsAsResult(const CandidateVerdict& verdict) {
    return verdict.refusedBy != CandidateCheck::privateKey && verdict.code != codeReadFailed;
}

bool isRefusedForItsDatesAlone(const CandidateVerdict& verdict) {
    return verdict.refusedBy == CandidateCheck::validity && verdict.certificate.IsKeyRSA() != 0;
}

int eachCandidate(const _win_cert_store_path& path, const std::function<void(CandidateVerdict&&)>& take) {
    const std::shared_ptr<CertStorePlatform> platform = certStorePlatform();
    const OpenStore store(*platform, path.store_name, false);
    if (store.error() != 0) {
        logFailureOf(selectionTag, {"CertOpenStore failed to open store: ", path.store_name, ". Windows Error: 0x",
                                    store.errorDigits()});
        return codeStoreNotOpened;
    }
    traceOf(selectionTag, {"CertOpenStore successfully opened the store ", path.store_name});
    const std::string text = path.subject_patterns.empty() ? std::string() : path.subject_patterns.front().name;
    // The search takes the count of the certificate that it goes on from, the wrapper keeps one of its own.
    WinCertStoreCertificate last;
    const auto next = [&] {
        const CertContext from = last.GetContext();
        return platform->findBySubject(store.get(), text, from != nullptr ? platform->duplicate(from) : nullptr);
    };
    while (const CertContext found = next()) {
        last = WinCertStoreCertificate(found, CERT_MEMORY_OWNED, platform);
        take(examine(last, path));
    }
    return 0;
}

} // namespace CmnCrypto::WinCertStore

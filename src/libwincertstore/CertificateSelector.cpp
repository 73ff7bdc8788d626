#include "cmncrypto/CertificateSelector.h"

#include <map>
#include <utility>

#include "libwincertstore/Candidate.h"
#include "libwincertstore/StoreLog.h"
#include "libwincertstore/StorePathText.h"

namespace CmnCrypto::WinCertStore {

namespace {

using Filters = std::list<std::shared_ptr<CertificateFilter>>;
using Certificates = std::list<WinCertStoreCertificate>;

/**
 * Chooses among certificates that all serve: the first one, or the first one that the filter leaves. Hosts rely on only
 * the first filter being consulted.
 * @return 0; the filter's code; 8771 when nothing is left
 */
int choose(const Certificates& certificates, const Filters& filters, WinCertStoreCertificate& chosen) {
    Certificates left;
    const bool filtered = !filters.empty() && filters.front() != nullptr;
    if (filtered) {
        if (const int code = filters.front()->Filter(certificates, left)) {
            return code;
        }
    }
    const Certificates& from = filtered ? left : certificates;
    if (from.empty()) {
        return codeSubjectMismatch;
    }
    chosen = from.front();
    return 0;
}

/** Selects within one store. */
int selectInStore(const _win_cert_store_path& path, const Filters& filters, bool evenIfNotInTime,
                  WinCertStoreCertificate& certificate) {
    Certificates accepted;
    WinCertStoreCertificate outOfTime;
    int result = codeSubjectMismatch;
    const int opened = eachCandidate(path, [&](CandidateVerdict&& verdict) {
        if (verdict.code == 0) {
            accepted.push_back(verdict.certificate);
            return;
        }
        result = countsAsResult(verdict) ? verdict.code : result;
        if (evenIfNotInTime && outOfTime.GetContext() == nullptr && isRefusedForItsDatesAlone(verdict)) {
            outOfTime = verdict.certificate;
        }
    });
    if (opened != 0) {
        return opened;
    }
    if (!accepted.empty() && choose(accepted, filters, certificate) == 0) {
        return 0;
    }
    if (accepted.empty() && outOfTime.GetContext() != nullptr) {
        certificate = outOfTime;
        return 0;
    }
    const std::string subject = path.subject_patterns.empty() ? std::string() : path.subject_patterns.front().name;
    logFailureOf(selectionTag, {"Context not created for subject name ", subject});
    return result;
}

/** What the store paths of a certificate path have yielded. */
struct Collected {
    Certificates certificates;
    std::map<WinCertStoreCertificate, _win_cert_store_path> origins;
    int failure = codeStorePathMalformed; ///< the last one
};

Collected collect(const std::string& certPath, const Filters& filters, bool evenIfNotInTime) {
    Collected collected;
    for (const std::string& storePath : storePathsOf(certPath)) {
        _win_cert_store_path path;
        WinCertStoreCertificate certificate;
        int code = CertificateSelector::SplitCertPath(storePath, path);
        if (code == 0) {
            code = selectInStore(path, filters, evenIfNotInTime, certificate);
        }
        if (code != 0) {
            logFailureOf(selectionTag, {"Could not get PCCERT CONTEXT for certpath ", "[", storePath, "]"});
            collected.failure = code;
            continue;
        }
        collected.certificates.push_back(certificate);
        collected.origins.emplace(certificate, std::move(path));
    }
    return collected;
}

int selectAlongPaths(const std::string& certPath, const Filters& filters, bool evenIfNotInTime,
                     WinCertStoreCertificate& certificate, _selected_win_cert_store_path& selected) {
    const Collected collected = collect(certPath, filters, evenIfNotInTime);
    if (collected.certificates.empty()) {
        return collected.failure;
    }
    WinCertStoreCertificate chosen = collected.certificates.front();
    if (collected.certificates.size() > 1) {
        if (const int code = choose(collected.certificates, filters, chosen)) {
            logFailureOf(selectionTag, {"Filter failed."});
            return code;
        }
    }
    const auto origin = collected.origins.find(chosen);
    if (origin != collected.origins.end()) { // a host's filter may bring a certificate of its own
        selected.store_path = origin->second;
    }
    certificate = chosen;
    return 0;
}

} // namespace

CertificateSelector::CertificateSelector(const std::string& certPath, const Filters& filters)
    : m_certPath(certPath), m_filters(filters) {}

const std::string& CertificateSelector::GetCertPath() const noexcept {
    return m_certPath;
}

int CertificateSelector::GetCertificate(WinCertStoreCertificate& certificate,
                                        const bool& evenIfNotInTime) const noexcept {
    _selected_win_cert_store_path selected;
    return GetCertificate(certificate, selected, evenIfNotInTime);
}

int CertificateSelector::GetCertificate(WinCertStoreCertificate& certificate, _selected_win_cert_store_path& selected,
                                        const bool& evenIfNotInTime) const noexcept {
    return withoutThrowing(selectionTag, codeNoMemory, [&] {
        return selectAlongPaths(m_certPath, m_filters, evenIfNotInTime, certificate, selected);
    });
}

int CertificateSelector::GetCertificate(const _win_cert_store_path& path, WinCertStoreCertificate& certificate,
                                        _selected_win_cert_store_path& selected,
                                        const bool& evenIfNotInTime) const noexcept {
    return withoutThrowing(selectionTag, codeNoMemory, [&] {
        const int code = selectInStore(path, m_filters, evenIfNotInTime, certificate);
        if (code == 0) {
            selected.store_path = path;
        }
        return code;
    });
}

int CertificateSelector::Explain(std::list<CandidateVerdict>& verdicts) const noexcept {
    return withoutThrowing("CertificateSelector::Explain", codeNoMemory, [&] {
        verdicts.clear();
        int result = m_certPath.empty() ? codeStorePathMalformed : 0;
        for (const std::string& storePath : storePathsOf(m_certPath)) {
            _win_cert_store_path path;
            int code = SplitCertPath(storePath, path);
            if (code == 0) {
                code = eachCandidate(path, [&](CandidateVerdict&& verdict) { verdicts.push_back(std::move(verdict)); });
            }
            result = code != 0 ? code : result;
        }
        return result;
    });
}

int CertificateSelector::CheckCertPresence() const noexcept {
    WinCertStoreCertificate certificate;
    const int code = GetCertificate(certificate, false);
    if (code == 0) {
        traceOf("CertificateSelector::CheckCertPresence",
                {"Certificate at certPath ", m_certPath, " is present in windows certificate store."});
    }
    return code;
}

} // namespace CmnCrypto::WinCertStore

#include "cmncrypto/Crl.h"

#include <cstdlib>
#include <new>
#include <optional>
#include <utility>

#include "cmncrypto/CmnApi.h"
#include "cmncrypto/CrlUtil.h"
#include "frame/Clock.h"
#include "frame/Failure.h"
#include "ossl/AsnTime.h"
#include "ossl/ErrorQueue.h"

using namespace CmnCrypto;

namespace {

/** Copies a form of the list. @return 0, or 36 when memory is short */
template <class Form> int store(Form& target, const Form& given) noexcept {
    try {
        target = given;
        return 0;
    } catch (const std::bad_alloc&) {
        return codeNoMemory;
    }
}

int report(int code, const char* function, const char* text) {
    if (code != 0) {
        clogmsg(logFailure, function, "%s", text);
    }
    return code;
}

/** Warns where the list is asked for something and there is none. @return whether there is one */
bool isHeld(const X509_CRL* crl, const char* function, const char* warning) {
    if (crl == nullptr) {
        clogmsg(logWarning, function, "%s", warning);
    }
    return crl != nullptr;
}

void throwFor(int code) {
    if (code != 0) {
        throw CrlConversionException(code);
    }
}

} // namespace

Crl::Crl() noexcept = default;

Crl::Crl(const std::string& pem) {
    throwFor(setPemCrl(pem));
}

Crl::Crl(const BinaryData& der) {
    throwFor(setDerCrl(der));
}

Crl::Crl(const X509_CRL* crl) {
    throwFor(report(setX509Crl(crl), "Crl::Crl", "Failed to read X509_CRL"));
}

Crl::Crl(const Crl& other) {
    if (other.m_x509Crl) {
        const ossl::ErrorScope errors;
        m_x509Crl.reset(X509_CRL_dup(other.m_x509Crl.get()));
        throwFor(report(m_x509Crl ? 0 : codeNoMemory, "Crl::Crl", "Failed to copy X509_CRL"));
    }
    throwFor(store(m_pemCrl, other.m_pemCrl));
    throwFor(store(m_derCrl, other.m_derCrl));
}

Crl::Crl(Crl&& other) noexcept {
    swap(other);
}

Crl& Crl::operator=(const Crl& other) {
    Crl(other).swap(*this);
    return *this;
}

Crl& Crl::operator=(Crl&& other) noexcept {
    swap(other);
    return *this;
}

Crl::~Crl() = default;

void Crl::swap(Crl& other) noexcept {
    m_derCrl.swap(other.m_derCrl);
    m_pemCrl.swap(other.m_pemCrl);
    m_x509Crl.swap(other.m_x509Crl);
    std::swap(m_searched, other.m_searched);
}

// A setter that fails does not restore the list before: callers set again or drop the object.

int Crl::setDerCrl(const BinaryData& der) {
    constexpr const char* function = "Crl::setDerCrl";
    const int stored = store(m_derCrl, der);
    m_x509Crl.reset();
    m_searched = false;
    X509_CRL* read = nullptr;
    const int result = stored != 0 ? stored : CrlConverter::derToX509Crl(m_derCrl, &read);
    if (result != 0) {
        return report(result, function, "Failed to convert DER encoded CRL to X509_CRL.");
    }
    m_x509Crl.reset(read);
    return report(CrlConverter::x509CrlToPem(read, m_pemCrl), function, "Failed to convert X509_CRL to PEM.");
}

int Crl::setPemCrl(const std::string& pem) {
    constexpr const char* function = "Crl::setPemCrl";
    m_x509Crl.reset();
    m_searched = false;
    X509_CRL* read = nullptr;
    int result = CrlConverter::pemToX509Crl(pem, &read);
    OpenSslPtr<X509_CRL> crl(read);
    // Stored after parsing, which is when memory peaks, and stored even if that has failed.
    const int stored = store(m_pemCrl, pem);
    result = result != 0 ? result : stored;
    if (result != 0) {
        clogmsg(logFailure, function, "Failed to convert PEM encoded CRL to X509_CRL. pemCrl = %s", pem.c_str());
        return result;
    }
    m_x509Crl = std::move(crl);
    return report(CrlConverter::x509CrlToDer(read, m_derCrl), function, "Failed to convert X509_CRL to DER.");
}

int Crl::setX509Crl(const X509_CRL* crl) {
    CmnApi::initOpenssl();
    const ossl::ErrorScope errors;
    return useX509Crl(OpenSslPtr<X509_CRL>(X509_CRL_dup(crl)));
}

/** Takes a list over and derives the other forms from it; a null one fails there. */
int Crl::useX509Crl(OpenSslPtr<X509_CRL> crl) {
    constexpr const char* function = "Crl::setX509Crl";
    m_x509Crl = std::move(crl);
    m_searched = false;
    const int result = CrlConverter::x509CrlToDer(m_x509Crl.get(), m_derCrl);
    if (result != 0) {
        return report(result, function, "Failed to convert X509 CRL to DER encoded CRL.");
    }
    return report(CrlConverter::x509CrlToPem(m_x509Crl.get(), m_pemCrl), function,
                  "Failed to convert X509 CRL to PEM encoded CRL.");
}

void Crl::loadFromPath(const std::string& path) {
    constexpr const char* function = "Crl::loadFromPath";
    X509_CRL* read = nullptr;
    if (CrlUtil::getX509Crl(path, &read) != 0) {
        fail(function, "Failed to get X509 CRL from file path", codeCrlFileNotRead);
    }
    // Nobody else knows the list: it changes hands, where a copy would be parsed anew.
    const int result = useX509Crl(OpenSslPtr<X509_CRL>(read));
    if (result != 0) {
        fail(function, "Failed to set X509 CRL to CRL object", result);
    }
}

const BinaryData& Crl::getDerCrl() const noexcept {
    return m_derCrl;
}

const std::string& Crl::getPemCrl() const noexcept {
    return m_pemCrl;
}

X509_CRL* Crl::getX509Crl() const noexcept {
    return m_x509Crl.get();
}

X509Name Crl::getIssuer() const {
    constexpr const char* function = "Crl::getIssuer";
    if (!isHeld(m_x509Crl.get(), function, "m_x509Crl is NULL. Cannot get issuer.")) {
        return X509Name(nullptr);
    }
    const X509_NAME* const issuer = X509_CRL_get_issuer(m_x509Crl.get());
    if (issuer == nullptr) {
        fail(function, "name object for issuer is NULL.", CmnException::noCode);
    }
    return X509Name(issuer);
}

ASN1_TIME* Crl::getLastUpdate() const {
    if (!isHeld(m_x509Crl.get(), "Crl::getLastUpdate", "m_x509Crl is NULL. Cannot get last update.")) {
        return nullptr;
    }
    // Hosts keep it as what it was before OpenSSL made it const.
    return const_cast<ASN1_TIME*>( // NOLINT(cppcoreguidelines-pro-type-const-cast)
        X509_CRL_get0_lastUpdate(m_x509Crl.get()));
}

const ASN1_TIME* Crl::getNextUpdate() const {
    return isHeld(m_x509Crl.get(), "Crl::getNextUpdate", "m_x509Crl is NULL. Cannot get next update.")
               ? X509_CRL_get0_nextUpdate(m_x509Crl.get())
               : nullptr;
}

long Crl::getVersion() const {
    // The sentence of getNextUpdate(): hosts search their logs for it.
    return isHeld(m_x509Crl.get(), "Crl::getVersion", "m_x509Crl is NULL. Cannot get next update.")
               ? X509_CRL_get_version(m_x509Crl.get())
               : 0;
}

long Crl::getCrlNumber() const {
    constexpr const char* function = "Crl::getCrlNumber";
    if (!isHeld(m_x509Crl.get(), function, "m_x509Crl is NULL. Cannot get CRL number.")) {
        return -1;
    }
    const int position = X509_CRL_get_ext_by_NID(m_x509Crl.get(), NID_crl_number, -1);
    if (position < 0) {
        clogmsg(logFailure, function, "CRL Number extension is not found in x509 CRL");
        return -1;
    }
    const ASN1_OCTET_STRING* const value = X509_EXTENSION_get_data(X509_CRL_get_ext(m_x509Crl.get(), position));
    const unsigned char* const data = value == nullptr ? nullptr : ASN1_STRING_get0_data(value);
    if (data == nullptr) {
        clogmsg(logFailure, function, "failed to fetch the CRL number from x509 CRL extension");
        return -1;
    }
    try {
        // The DER of the number, read as if it were digits: callers know not to rely on the result.
        const std::string digits(reinterpret_cast<const char*>(data), static_cast<size_t>(ASN1_STRING_length(value)));
        clogmsg(logInfo, function, "CRL number(str) = %s", digits.c_str());
        return std::strtol(digits.c_str(), nullptr, 10);
    } catch (const std::bad_alloc&) {
        clogmsg(logInfo, function, "memory allocation is failed for CRL number buffer");
        return -1;
    }
}

bool Crl::isDeltaCRL() const {
    constexpr const char* function = "Crl::isDeltaCRL";
    if (!isHeld(m_x509Crl.get(), function, "m_x509Crl is NULL. Cannot look for delta CRL indicator.") ||
        X509_CRL_get_ext_by_NID(m_x509Crl.get(), NID_delta_crl, -1) < 0) {
        return false;
    }
    clogmsg(logInfo, function, "CRL is delta CRL");
    return true;
}

bool Crl::isExpired() const {
    const ASN1_TIME* const nextUpdate = getNextUpdate();
    if (nextUpdate == nullptr) {
        return true;
    }
    const ossl::ErrorScope errors;
    const std::optional<TimeDifference> since = timeBetween(nextUpdate, asnTime(now()).get());
    if (!since) {
        clogmsg(logFailure, "Crl::isExpired", "Failed to compare next update time and current time.");
        return true;
    }
    return since->days >= 0 && since->seconds >= 0;
}

bool Crl::isNewerThan(const Crl& other) const {
    const ASN1_TIME* const issued = getLastUpdate();
    const ASN1_TIME* const otherIssued = other.getLastUpdate();
    if (issued == nullptr || otherIssued == nullptr) {
        return issued != nullptr;
    }
    const ossl::ErrorScope errors;
    const std::optional<TimeDifference> later = timeBetween(otherIssued, issued);
    if (!later) {
        clogmsg(logFailure, "Crl::isNewerThan", "Failed to compare last update times.");
        return false;
    }
    return later->days > 0 || later->seconds >= 1;
}

bool Crl::operator==(const Crl& other) const {
    return m_pemCrl == other.m_pemCrl;
}

bool Crl::operator!=(const Crl& other) const {
    return !(*this == other);
}

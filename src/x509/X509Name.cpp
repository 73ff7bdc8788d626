#include "cmncrypto/X509Name.h"

#include "cmncrypto/CmnApi.h"
#include "frame/Failure.h"
#include "ossl/ErrorQueue.h"
#include "x509/Held.h"
#include "x509/NameText.h"

namespace CmnCrypto {

namespace {

constexpr const char* releasedText = "Name is NULL.";

OpenSslPtr<X509_NAME> newName(const char* function) {
    const ossl::ErrorScope errors;
    OpenSslPtr<X509_NAME> name(X509_NAME_new());
    if (!name) {
        fail(function, "Failed to create X509_NAME object", CmnException::noCode);
    }
    return name;
}

/** A copy of @p name, or an empty name for null. */
OpenSslPtr<X509_NAME> copyOf(const X509_NAME* name, const char* function, const char* failureText) {
    const ossl::ErrorScope errors;
    OpenSslPtr<X509_NAME> copy(name == nullptr ? X509_NAME_new() : X509_NAME_dup(name));
    if (!copy) {
        fail(function, failureText, codeNoMemory);
    }
    return copy;
}

void logOrganizationalUnit(const char* function, const ASN1_STRING* unit) {
    if (unit == nullptr) {
        clogmsg(logInfo, function, "name_string = NULL.");
    } else if (isLogged()) {
        const auto* data = reinterpret_cast<const char*>(ASN1_STRING_get0_data(unit));
        const std::string text(data, static_cast<size_t>(ASN1_STRING_length(unit))); // it need not end in a NUL
        clogmsg(logInfo, function, "name_string = %s.", text.c_str());
    }
}

} // namespace

X509Name::X509Name() : m_name(newName("X509Name::X509Name")) {}

X509Name::X509Name(const X509_NAME* name)
    : m_name(copyOf(name, "X509Name::X509Name", "Failed to allocate name object.")) {}

X509Name::X509Name(const X509Name& other)
    : m_name(copyOf(other.m_name.get(), "X509Name::X509Name", "Failed to allocate name object.")) {}

// NOLINTNEXTLINE(cert-oop54-cpp): the copy is made before the old name goes
X509Name& X509Name::operator=(const X509Name& other) {
    m_name = copyOf(other.m_name.get(), "X509Name::operator=", "Failed to duplicate name object during assignment.");
    return *this;
}

X509Name::~X509Name() {
    releaseObject();
}

bool X509Name::operator==(const X509Name& other) const {
    return *this == other.m_name.get();
}

bool X509Name::operator==(const X509_NAME* other) const {
    const ossl::ErrorScope errors;
    return m_name && other != nullptr && X509_NAME_cmp(m_name.get(), other) == 0;
}

void X509Name::addEntry(const char* field, const char* value) {
    constexpr const char* function = "X509Name::addEntry";
    const ossl::ErrorScope errors;
    X509_NAME* const name = held(m_name.get(), function, releasedText);
    const auto* bytes = reinterpret_cast<const unsigned char*>(value);
    if (field == nullptr || value == nullptr ||
        X509_NAME_add_entry_by_txt(name, field, MBSTRING_ASC, bytes, -1, -1, 0) != 1) {
        // It speaks of "OU" whatever the field: hosts search for this text.
        failWithSslErrors(function, "Unable to extract name entry from OU, failed with error %s",
                          "Failed to add entry to X509Name object", CmnException::noCode);
    }
}

std::string X509Name::getCommonName() const {
    return getField(NAME_FIELD_CN);
}

std::string X509Name::getOUName() const {
    return getField(NAME_FIELD_OU);
}

std::string X509Name::getField(nameField field) const {
    return CmnApi::ASN1_STRING_to_string(getFieldAsASN(field));
}

ASN1_STRING* X509Name::getFieldAsASN(nameField field) const {
    constexpr const char* function = "X509Name::getFieldAsASN";
    const ossl::ErrorScope errors;
    if (field != NAME_FIELD_OU && field != NAME_FIELD_CN) {
        clogmsg(logFailure, function, "unknown field name passed %d", static_cast<int>(field));
        throw CmnException("Unknown field name.", codeInvalidArgument);
    }
    const X509_NAME* const name = held(m_name.get(), function, releasedText);
    const int nid = field == NAME_FIELD_OU ? NID_organizationalUnitName : NID_commonName;
    const int index = X509_NAME_get_index_by_NID(name, nid, -1);
    if (index < 0) {
        clogmsg(logFailure, function, "Unable to extract specified field from name, failed with error %s",
                drainSslErrors().c_str());
        return nullptr;
    }
    const X509_NAME_ENTRY* const entry = X509_NAME_get_entry(name, index);
    if (entry == nullptr) {
        clogmsg(logFailure, function, "Unable to extract name entry from requested field, failed with error %s",
                drainSslErrors().c_str());
        return nullptr;
    }
    return X509_NAME_ENTRY_get_data(entry);
}

unsigned long X509Name::getHash() const {
    constexpr const char* function = "X509Name::getHash";
    const ossl::ErrorScope errors;
    const unsigned long hash = X509_NAME_hash_ex(held(m_name.get(), function, releasedText), nullptr, nullptr, nullptr);
    if (hash == 0) {
        failWithSslErrors(function, "Unable to generate hash for name entry, failed with error %s",
                          "Failed to generate hash of X509Name object", CmnException::noCode);
    }
    return hash;
}

std::string X509Name::getNameDN(_name_format format) const {
    return nameText(held(m_name.get(), "X509Name::getNameDN", releasedText), format);
}

bool X509Name::isMatching(const X509Name& other, bool ouOnly) const {
    constexpr const char* function = "X509Name::isMatching";
    if (!ouOnly) {
        return *this == other;
    }
    const ASN1_STRING* const own = getFieldAsASN(NAME_FIELD_OU);
    const ASN1_STRING* const others = other.getFieldAsASN(NAME_FIELD_OU);
    logOrganizationalUnit(function, own);
    logOrganizationalUnit(function, others);
    if (own == nullptr || others == nullptr) {
        clogmsg(logFailure, function, "One of the name string representing OU is NULL; hence shall fail match.");
        return false;
    }
    return ASN1_STRING_cmp(own, others) == 0;
}

bool X509Name::validate() const {
    const ossl::ErrorScope errors;
    if (!m_name || X509_NAME_get_entry(m_name.get(), 0) == nullptr) {
        clogmsg(logFailure, "X509Name::validate", "Unable to extract name entry, failed with error %s",
                drainSslErrors().c_str());
        return false;
    }
    return true;
}

void X509Name::reset() {
    m_name = newName("X509Name::reset");
}

void X509Name::releaseObject() {
    m_name.reset();
}

X509_NAME* X509Name::getX509Name() const noexcept {
    return m_name.get();
}

} // namespace CmnCrypto

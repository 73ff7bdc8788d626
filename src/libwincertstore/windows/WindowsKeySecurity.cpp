#include "libwincertstore/windows/WindowsKeySecurity.h"

#include <memory>
#include <type_traits>

// clang-format off: the others need it
#include <windows.h>
// clang-format on
#include <aclapi.h>
#include <ncrypt.h>

#include "frame/Wide.h"
#include "frame/windows/OwnerRights.h"
#include "libwincertstore/windows/LastError.h"
#include "libwincertstore/windows/WindowsCertStore.h"

namespace CmnCrypto::WinCertStore {

namespace {

/** What a key container's access list calls reading; the system maps the generic right to that of files. */
constexpr DWORD readRights = GENERIC_READ;
constexpr DWORD anyReadRight = GENERIC_READ | GENERIC_ALL | FILE_READ_DATA;
/** What comes with reading as with other rights, and is of no use alone. */
constexpr DWORD sharedRights = READ_CONTROL | SYNCHRONIZE;

using AclPtr = std::unique_ptr<ACL, LocalMemoryDeleter>;

using Sid = std::vector<unsigned char>;

/** @return whether that can be granted something; an empty name, for one, is that of a domain */
bool isAccount(SID_NAME_USE use) noexcept {
    return use != SidTypeDomain && use != SidTypeDeletedAccount && use != SidTypeInvalid && use != SidTypeUnknown;
}

/** Finds an account's identifier. @return the error number @throws std::bad_alloc */
uint32_t sidOf(const std::string& account, Sid& sid) {
    const std::wstring name = wide(account);
    DWORD size = 0;
    DWORD domainSize = 0;
    SID_NAME_USE use = SidTypeUnknown;
    ::LookupAccountNameW(nullptr, name.c_str(), nullptr, &size, nullptr, &domainSize, &use);
    const DWORD error = lastError();
    if (size == 0) {
        return error;
    }
    sid.resize(size);
    std::wstring domain(domainSize, L'\0');
    if (::LookupAccountNameW(nullptr, name.c_str(), sid.data(), &size, domain.data(), &domainSize, &use) == FALSE) {
        return lastError();
    }
    return isAccount(use) ? 0 : ERROR_NONE_MAPPED;
}

TRUSTEE_W trusteeOf(Sid& sid) noexcept {
    TRUSTEE_W trustee = {};
    ::BuildTrusteeWithSidW(&trustee, sid.data());
    return trustee;
}

/** @param list borrowed from the descriptor; null: nobody is kept out */
uint32_t listOf(const SecurityDescriptor& descriptor, PACL& list) noexcept {
    BOOL present = FALSE;
    BOOL defaulted = FALSE;
    list = nullptr;
    // NOLINTNEXTLINE: the descriptor is only read
    auto* const bytes = const_cast<unsigned char*>(descriptor.data());
    if (::GetSecurityDescriptorDacl(bytes, &present, &list, &defaulted) == FALSE) {
        return lastError();
    }
    list = present != FALSE ? list : nullptr;
    return 0;
}

/** @return rights of files in place of generic ones, so that one entry's can be compared with another's */
DWORD concrete(DWORD rights) noexcept {
    GENERIC_MAPPING mapping = {FILE_GENERIC_READ, FILE_GENERIC_WRITE, FILE_GENERIC_EXECUTE, FILE_ALL_ACCESS};
    ::MapGenericMask(&rights, &mapping);
    return rights;
}

/** The rights that the entries of one account give, those before them being minded that deny. */
DWORD rightsByEntries(ACL* list, Sid& sid) noexcept {
    unsigned char everyone[SECURITY_MAX_SID_SIZE];
    DWORD size = sizeof everyone;
    ::CreateWellKnownSid(WinWorldSid, nullptr, everyone, &size);
    DWORD allowed = 0;
    DWORD denied = 0;
    for (DWORD index = 0; index < list->AceCount; ++index) {
        void* entry = nullptr;
        if (::GetAce(list, index, &entry) == FALSE) {
            break;
        }
        const auto* const header = static_cast<const ACE_HEADER*>(entry);
        if (header->AceType != ACCESS_ALLOWED_ACE_TYPE && header->AceType != ACCESS_DENIED_ACE_TYPE) {
            continue;
        }
        auto* const ace = static_cast<ACCESS_ALLOWED_ACE*>(entry); // both kinds are laid out alike
        if (::EqualSid(&ace->SidStart, sid.data()) != FALSE || ::EqualSid(&ace->SidStart, everyone) != FALSE) {
            (header->AceType == ACCESS_ALLOWED_ACE_TYPE ? allowed : denied) |=
                concrete(ace->Mask) & ~(header->AceType == ACCESS_ALLOWED_ACE_TYPE ? denied : allowed);
        }
    }
    return allowed;
}

/** Replaces a descriptor by one with that list, which stands to the folder's as the one before did, and nothing else.
 *  @return the error number @throws std::bad_alloc */
uint32_t describe(ACL* list, SecurityDescriptor& descriptor) {
    constexpr SECURITY_DESCRIPTOR_CONTROL inheritance = SE_DACL_PROTECTED | SE_DACL_AUTO_INHERITED;
    SECURITY_DESCRIPTOR_CONTROL control = 0;
    DWORD revision = 0;
    SECURITY_DESCRIPTOR absolute = {};
    if (::GetSecurityDescriptorControl(descriptor.data(), &control, &revision) == FALSE ||
        ::InitializeSecurityDescriptor(&absolute, SECURITY_DESCRIPTOR_REVISION) == FALSE ||
        ::SetSecurityDescriptorDacl(&absolute, TRUE, list, FALSE) == FALSE ||
        ::SetSecurityDescriptorControl(&absolute, inheritance, control & inheritance) == FALSE) {
        return lastError();
    }
    DWORD size = 0;
    ::MakeSelfRelativeSD(&absolute, nullptr, &size);
    descriptor.resize(size);
    return ::MakeSelfRelativeSD(&absolute, descriptor.data(), &size) != FALSE ? 0 : lastError();
}

/** Adds an entry that lets an account read. @return the error number @throws std::bad_alloc */
uint32_t letRead(ACL* list, Sid& sid, SecurityDescriptor& descriptor) {
    EXPLICIT_ACCESS_W entry = {};
    entry.grfAccessPermissions = readRights;
    entry.grfAccessMode = GRANT_ACCESS;
    entry.grfInheritance = NO_INHERITANCE;
    entry.Trustee = trusteeOf(sid);
    PACL changed = nullptr;
    const uint32_t error = ::SetEntriesInAclW(1, &entry, list, &changed);
    const AclPtr owner(changed);
    return error != 0 ? error : describe(changed, descriptor);
}

/** @return what is left of some rights without that to read, which full control has as well */
DWORD withoutReading(DWORD rights) noexcept {
    if ((rights & GENERIC_ALL) != 0) {
        rights = (rights & ~GENERIC_ALL) | FILE_ALL_ACCESS;
    }
    rights &= ~(GENERIC_READ | (FILE_GENERIC_READ & ~sharedRights));
    return (rights & ~sharedRights) != 0 ? rights : 0;
}

/** Takes the right to read out of an account's entries; those of which nothing is left go. */
void takeReadBack(ACL* list, Sid& sid) noexcept {
    for (DWORD index = list->AceCount; index-- > 0;) {
        void* entry = nullptr;
        if (::GetAce(list, index, &entry) == FALSE ||
            static_cast<const ACE_HEADER*>(entry)->AceType != ACCESS_ALLOWED_ACE_TYPE) {
            continue;
        }
        auto* const ace = static_cast<ACCESS_ALLOWED_ACE*>(entry);
        if (::EqualSid(&ace->SidStart, sid.data()) == FALSE || (ace->Mask & anyReadRight) == 0) {
            continue;
        }
        ace->Mask = withoutReading(ace->Mask);
        if (ace->Mask == 0) {
            ::DeleteAce(list, index);
        }
    }
}

} // namespace

uint32_t WindowsKeySecurity::readCng(uintptr_t key, SecurityDescriptor& descriptor) {
    constexpr DWORD flags = DACL_SECURITY_INFORMATION | NCRYPT_SILENT_FLAG;
    DWORD size = 0;
    SECURITY_STATUS status = ::NCryptGetProperty(key, NCRYPT_SECURITY_DESCR_PROPERTY, nullptr, 0, &size, flags);
    if (status == ERROR_SUCCESS) {
        descriptor.resize(size);
        status = ::NCryptGetProperty(key, NCRYPT_SECURITY_DESCR_PROPERTY, descriptor.data(), size, &size, flags);
    }
    return static_cast<uint32_t>(status);
}

uint32_t WindowsKeySecurity::writeCng(uintptr_t key, const SecurityDescriptor& descriptor) {
    // NOLINTNEXTLINE: the descriptor is only read
    auto* const bytes = const_cast<unsigned char*>(descriptor.data());
    return static_cast<uint32_t>(::NCryptSetProperty(key, NCRYPT_SECURITY_DESCR_PROPERTY, bytes,
                                                     static_cast<DWORD>(descriptor.size()),
                                                     DACL_SECURITY_INFORMATION | NCRYPT_SILENT_FLAG));
}

uint32_t WindowsKeySecurity::readProvider(uintptr_t provider, SecurityDescriptor& descriptor) {
    DWORD size = 0;
    if (::CryptGetProvParam(provider, PP_KEYSET_SEC_DESCR, nullptr, &size, DACL_SECURITY_INFORMATION) == FALSE) {
        return lastError();
    }
    descriptor.resize(size);
    return ::CryptGetProvParam(provider, PP_KEYSET_SEC_DESCR, descriptor.data(), &size, DACL_SECURITY_INFORMATION) !=
                   FALSE
               ? 0
               : lastError();
}

uint32_t WindowsKeySecurity::writeProvider(uintptr_t provider, const SecurityDescriptor& descriptor) {
    return errorOf(::CryptSetProvParam(provider, PP_KEYSET_SEC_DESCR, descriptor.data(), DACL_SECURITY_INFORMATION));
}

uint32_t WindowsKeySecurity::mayRead(const SecurityDescriptor& descriptor, const std::string& account, bool& granted) {
    Sid sid;
    PACL list = nullptr;
    uint32_t error = sidOf(account, sid);
    error = error != 0 ? error : listOf(descriptor, list);
    if (error != 0) {
        return error;
    }
    TRUSTEE_W trustee = trusteeOf(sid);
    ACCESS_MASK rights = 0;
    if (list == nullptr) {
        rights = readRights;
    } else if (::GetEffectiveRightsFromAclW(list, &trustee, &rights) != ERROR_SUCCESS) {
        rights = rightsByEntries(list, sid); // as where no domain controller answers about groups
    }
    granted = (rights & anyReadRight) != 0;
    return 0;
}

uint32_t WindowsKeySecurity::setRead(SecurityDescriptor& descriptor, const std::string& account, bool granted) {
    Sid sid;
    PACL list = nullptr;
    uint32_t error = sidOf(account, sid);
    error = error != 0 ? error : listOf(descriptor, list);
    if (error != 0 || list == nullptr) { // where there is no list nobody is kept out, and one would change that
        return error != 0 || granted ? error : ERROR_INVALID_ACL;
    }
    if (granted) {
        return letRead(list, sid, descriptor);
    }
    takeReadBack(list, sid);
    return 0;
}

uint32_t WindowsKeySecurity::ownAccount(std::string& account) {
    HANDLE token = nullptr;
    if (::OpenProcessToken(::GetCurrentProcess(), TOKEN_QUERY, &token) == FALSE) {
        return lastError();
    }
    const std::unique_ptr<std::remove_pointer_t<HANDLE>, decltype(&::CloseHandle)> owner(token, &::CloseHandle);
    alignas(TOKEN_USER) unsigned char user[sizeof(TOKEN_USER) + SECURITY_MAX_SID_SIZE];
    DWORD size = sizeof user;
    if (::GetTokenInformation(token, TokenUser, user, size, &size) == FALSE) {
        return lastError();
    }
    constexpr DWORD longest = 257;
    wchar_t name[longest];
    wchar_t domain[longest];
    DWORD nameSize = longest;
    DWORD domainSize = longest;
    SID_NAME_USE use = SidTypeUnknown;
    const PSID sid = reinterpret_cast<const TOKEN_USER*>(user)->User.Sid;
    if (::LookupAccountSidW(nullptr, sid, name, &nameSize, domain, &domainSize, &use) == FALSE) {
        return lastError();
    }
    account = narrow(domain) + '\\' + narrow(name);
    return 0;
}

KeySecurity* WindowsCertStore::keySecurity() {
    static WindowsKeySecurity security;
    return &security;
}

} // namespace CmnCrypto::WinCertStore

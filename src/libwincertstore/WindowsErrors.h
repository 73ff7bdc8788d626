#ifndef CMNCRYPTO_LIBWINCERTSTORE_WINDOWSERRORS_H
#define CMNCRYPTO_LIBWINCERTSTORE_WINDOWSERRORS_H

#include <cstdint>

namespace CmnCrypto::WinCertStore {

/** Windows error numbers, which every platform of the store reports, with their names there. */
constexpr uint32_t windowsFileNotFound = 2;               ///< ERROR_FILE_NOT_FOUND
constexpr uint32_t windowsAccessDenied = 5;               ///< ERROR_ACCESS_DENIED
constexpr uint32_t windowsNotEnoughMemory = 8;            ///< ERROR_NOT_ENOUGH_MEMORY
constexpr uint32_t windowsInvalidData = 13;               ///< ERROR_INVALID_DATA
constexpr uint32_t windowsNotSupported = 50;              ///< ERROR_NOT_SUPPORTED
constexpr uint32_t windowsFileExists = 80;                ///< ERROR_FILE_EXISTS
constexpr uint32_t windowsInvalidPassword = 86;           ///< ERROR_INVALID_PASSWORD
constexpr uint32_t windowsInvalidParameter = 87;          ///< ERROR_INVALID_PARAMETER
constexpr uint32_t windowsBufferOverflow = 111;           ///< ERROR_BUFFER_OVERFLOW
constexpr uint32_t windowsMoreData = 234;                 ///< ERROR_MORE_DATA
constexpr uint32_t windowsBadKey = 0x80090003;            ///< NTE_BAD_KEY
constexpr uint32_t windowsBadLength = 0x80090004;         ///< NTE_BAD_LEN
constexpr uint32_t windowsBadData = 0x80090005;           ///< NTE_BAD_DATA
constexpr uint32_t windowsBadKeyType = 0x8009000A;        ///< NTE_BAD_TYPE
constexpr uint32_t windowsBadKeyState = 0x8009000B;       ///< NTE_BAD_KEY_STATE
constexpr uint32_t windowsNoKey = 0x8009000D;             ///< NTE_NO_KEY
constexpr uint32_t windowsPermission = 0x80090010;        ///< NTE_PERM
constexpr uint32_t windowsBadPublicKey = 0x80090015;      ///< NTE_BAD_PUBLIC_KEY
constexpr uint32_t windowsNoKeyset = 0x80090016;          ///< NTE_BAD_KEYSET: there is none of that name
constexpr uint32_t windowsKeysetEntryBad = 0x8009001A;    ///< NTE_KEYSET_ENTRY_BAD
constexpr uint32_t windowsProviderFailed = 0x80090020;    ///< NTE_FAIL
constexpr uint32_t windowsInvalidHandle = 0x80090026;     ///< NTE_INVALID_HANDLE
constexpr uint32_t windowsKeyStays = 0x80090029;          ///< NTE_NOT_SUPPORTED
constexpr uint32_t windowsBadEncoding = 0x80092002;       ///< CRYPT_E_BAD_ENCODE
constexpr uint32_t windowsNotFound = 0x80092004;          ///< CRYPT_E_NOT_FOUND
constexpr uint32_t windowsExists = 0x80092005;            ///< CRYPT_E_EXISTS
constexpr uint32_t windowsNoKeyProperty = 0x8009200B;     ///< CRYPT_E_NO_KEY_PROPERTY
constexpr uint32_t windowsRevoked = 0x80092010;           ///< CRYPT_E_REVOKED
constexpr uint32_t windowsRevocationUnknown = 0x80092013; ///< CRYPT_E_REVOCATION_OFFLINE
constexpr uint32_t windowsMalformedEncoding = 0x80093100; ///< CRYPT_E_ASN1_ERROR
constexpr uint32_t windowsWrongSignature = 0x80096004;    ///< TRUST_E_CERT_SIGNATURE
constexpr uint32_t windowsBasicConstraints = 0x80096019;  ///< TRUST_E_BASIC_CONSTRAINTS
constexpr uint32_t windowsExpired = 0x800B0101;           ///< CERT_E_EXPIRED
constexpr uint32_t windowsCritical = 0x800B0105;          ///< CERT_E_CRITICAL
constexpr uint32_t windowsUntrustedRoot = 0x800B0109;     ///< CERT_E_UNTRUSTEDROOT
constexpr uint32_t windowsChaining = 0x800B010A;          ///< CERT_E_CHAINING
constexpr uint32_t windowsTrustFailed = 0x800B010B;       ///< TRUST_E_FAIL
constexpr uint32_t windowsWrongHostName = 0x800B010F;     ///< CERT_E_CN_NO_MATCH
constexpr uint32_t windowsWrongUsage = 0x800B0110;        ///< CERT_E_WRONG_USAGE
constexpr uint32_t windowsInvalidName = 0x800B0114;       ///< CERT_E_INVALID_NAME

/** CERT_STORE_ADD_ values: what becomes of an equal certificate that is in the store already. */
constexpr uint32_t addNew = 1;
constexpr uint32_t addUseExisting = 2;
constexpr uint32_t addReplaceExisting = 3;
constexpr uint32_t addAlways = 4;
constexpr uint32_t addReplaceExistingInheritProperties = 5;
constexpr uint32_t addNewer = 6;
constexpr uint32_t addNewerInheritProperties = 7;

} // namespace CmnCrypto::WinCertStore

#endif

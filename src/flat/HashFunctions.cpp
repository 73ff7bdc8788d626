#include <cstdlib>
#include <cstring>
#include <new>

#include "cmncrypto/CmnApi.h"
#include "cmncrypto/HashGenerator.h"
#include "cmncrypto/LibraryObject.h"
#include "cmncrypto/X509Certificate.h"
#include "cmncrypto/cmncrypto.h"
#include "flat/FlatGuard.h"

using namespace CmnCrypto;

namespace {

constexpr int32_t kindEmpty = 0;
constexpr int32_t kindHashGenerator = 1;
constexpr int32_t kindLibraryObject = 2;

// The answer of the handle functions for success; the one-call functions answer 0.
constexpr int hasherDone = 1;

/** Whether a handle is of the kind that the hasher functions work on; logs under @p function when it is not. */
bool isHasher(const char* function, const CmnCryptoHandle* handle) {
    const int32_t kind = handle == nullptr ? kindEmpty : handle->kind;
    if (kind != kindHashGenerator) {
        clogmsg(logFailure, function, "Invalid operation on object type :%d", kind);
        return false;
    }
    return true;
}

/** Logs @p text under @p function unless @p holds. @return @p holds */
bool holdsOrLog(bool holds, const char* function, const char* text) {
    if (!holds) {
        clogmsg(logFailure, function, "%s", text);
    }
    return holds;
}

/** A copy of a text for the host to free(); null is logged. */
char* duplicate(const char* function, const std::string& text) {
    char* copy = strdup(text.c_str());
    if (copy == nullptr) {
        clogmsg(logFailure, function, "strdup returned NULL");
    }
    return copy;
}

/** A copy of bytes for the host to free(); null is logged, in the words that the text form uses. */
void* duplicateBytes(const char* function, const std::string& bytes) {
    void* copy = std::malloc(bytes.size());
    if (copy == nullptr) {
        clogmsg(logFailure, function, "strdup returned NULL");
        return nullptr;
    }
    return std::memcpy(copy, bytes.data(), bytes.size());
}

HashGenerator* hasherOf(const CmnCryptoHandle* handle) {
    return static_cast<HashGenerator*>(handle->object);
}

} // namespace

int CmnCrypto_init_hasher(CmnCryptoHandle* handle, _HASH_ALGO algorithm) {
    constexpr const char* function = "CmnCrypto_init_hasher";
    return guarded(function, [=] {
        if (!holdsOrLog(handle != nullptr, function, "Invalid argument")) {
            return codeInvalidArgument;
        }
        // Short memory leaves a handle of kind 1 without an object; the other functions refuse it.
        auto* hasher = new (std::nothrow) HashGenerator(algorithm);
        *handle = {kindHashGenerator, hasher};
        return hasherDone;
    });
}

int CmnCrypto_hasher_update(CmnCryptoHandle* handle, const void* data, int length) {
    constexpr const char* function = "CmnCrypto_hasher_update";
    return guarded(function, [=] {
        if (!isHasher(function, handle)) {
            return codeInvalidArgument;
        }
        const bool valid = handle->object != nullptr && length >= 0 && (data != nullptr || length == 0);
        if (!holdsOrLog(valid, function, "Invalid argument")) {
            return codeInvalidArgument;
        }
        hasherOf(handle)->addData(data, static_cast<size_t>(length));
        return hasherDone;
    });
}

int CmnCrypto_hasher_generateHash(CmnCryptoHandle* handle, char** out) {
    constexpr const char* function = "CmnCrypto_hasher_generateHash";
    return guarded(function, [=] {
        if (!isHasher(function, handle) ||
            !holdsOrLog(handle->object != nullptr && out != nullptr, function, "Invalid argument")) {
            return codeInvalidArgument;
        }
        std::string text;
        hasherOf(handle)->generateHexHash(text);
        *out = duplicate(function, text);
        return *out != nullptr ? hasherDone : codeNoMemory;
    });
}

int CmnCrypto_hasher_generateBinaryHash(CmnCryptoHandle* handle, void** out, unsigned int* outLength) {
    constexpr const char* function = "CmnCrypto_hasher_generateBinaryHash";
    return guardedOrZero(function, [=] {
        if (!isHasher(function, handle) ||
            !holdsOrLog(handle->object != nullptr && out != nullptr && outLength != nullptr, function,
                        "Invalid argument")) {
            return 0;
        }
        std::string digest;
        hasherOf(handle)->generateBinaryHash(digest);
        *outLength = static_cast<unsigned int>(digest.size());
        *out = duplicateBytes(function, digest);
        return *out != nullptr ? hasherDone : 0;
    });
}

int CmnCrypto_context_copy(CmnCryptoHandle* source, CmnCryptoHandle* target) {
    constexpr const char* function = "CmnCrypto_copy"; // the name that its messages have always carried
    return guardedOrZero(function, [=] {
        if (!isHasher(function, source) || !holdsOrLog(source->object != nullptr, function, "Invalid argument")) {
            return 0;
        }
        // The target's kind is not checked: hosts copy into records that they filled themselves.
        return hasherOf(source)->hashContextCopy(target == nullptr ? nullptr : hasherOf(target));
    });
}

int CmnCrypto_release_Obj(CmnCryptoHandle* handle) {
    constexpr const char* function = "CmnCrypto_release_Obj";
    const int32_t kind = handle == nullptr ? kindEmpty : handle->kind;
    if (kind == kindHashGenerator) {
        delete hasherOf(handle);
    } else if (kind == kindLibraryObject) {
        delete static_cast<LibraryObject*>(handle->object);
    } else {
        clogmsg(logFailure, function, "Invalid operation on object type :%d", kind);
    }
    if (handle != nullptr) {
        *handle = {kindEmpty, nullptr};
    }
    return 0;
}

int cmncrypto_getHash(const char* data, size_t length, char** out, _HASH_ALGO algorithm) {
    constexpr const char* function = "cmncrypto_getHash";
    return guarded(function, [=] {
        clogmsg(logInfo, function, "Inside cmncrypto_getHash for hashing data using algo:%d", algorithm);
        if (!holdsOrLog(out != nullptr, function, "Invalid input arguments.")) {
            return codeInvalidArgument;
        }
        *out = nullptr;
        std::string text;
        if (!holdsOrLog(HashGenerator::generateHexHashForStr(data, length, algorithm, text), function,
                        "generateHexHashForStr function failed.")) {
            return codeCryptoFailed;
        }
        *out = duplicate(function, text);
        return *out != nullptr ? 0 : codeNoMemory;
    });
}

int cmncrypto_getBinaryHash(const unsigned char* data, size_t length, _HASH_ALGO algorithm, unsigned char** out,
                            size_t* outLength) {
    constexpr const char* function = "cmncrypto_getBinaryHash";
    return guarded(function, [=] {
        clogmsg(logInfo, function, "Inside cmncrypto_getBinaryHash for hashing data using algo:%d", algorithm);
        const bool valid = (data != nullptr || length == 0) && out != nullptr && outLength != nullptr;
        if (!holdsOrLog(valid, function, "Invalid input arguments.")) {
            return codeInvalidArgument;
        }
        *out = nullptr;
        std::string digest;
        // The text form's name in the message is kept: hosts look for it.
        if (!holdsOrLog(
                HashGenerator::generateBinaryHashForStr(reinterpret_cast<const char*>(data), length, algorithm, digest),
                function, "generateHexHashForStr function failed.")) {
            return codeCryptoFailed;
        }
        *outLength = digest.size();
        *out = static_cast<unsigned char*>(duplicateBytes(function, digest));
        return *out != nullptr ? 0 : codeNoMemory;
    });
}

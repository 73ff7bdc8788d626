#include "StreamKey.h"

#include <cstring>

#include "Failure.h"
#include "PassPhrase.h"
#include "PassPhraseHeader.h"

namespace CmnCrypto::Cli {

namespace {

using Encryption::KSCrypt;

/** IV length of AES-256-CBC, the one cipher whose IV is the caller's. */
constexpr size_t ivLength = 16;

Failure unusableStreamKey(const std::string& text) {
    return {ExitCode::keyUnusable, text};
}

int hexDigit(char digit) noexcept {
    const char* const digits = "0123456789abcdef";
    const char lower = digit >= 'A' && digit <= 'F' ? static_cast<char>(digit - 'A' + 'a') : digit;
    const char* const found = digit == '\0' ? nullptr : std::strchr(digits, lower);
    return found == nullptr ? -1 : static_cast<int>(found - digits);
}

/** Turns exactly 2 * @p size digits into bytes. @return false for anything else */
bool parseHex(const char* text, size_t length, size_t size, Secret& bytes) {
    Secret parsed(size);
    if (length != 2 * size) {
        return false;
    }
    for (size_t i = 0; i < size; ++i) {
        const int high = hexDigit(text[2 * i]);
        const int low = hexDigit(text[2 * i + 1]);
        if (high < 0 || low < 0) {
            return false;
        }
        parsed.bytes()[i] = static_cast<unsigned char>(high << 4 | low);
    }
    bytes = std::move(parsed);
    return true;
}

Secret readKeyFile(const std::string& name, size_t keyLength, bool quiet) {
    // Room for hexadecimal digits, a line end of two characters and one byte that shows a longer file.
    Secret content(2 * keyLength + 3);
    try {
        InputFile file(name);
        content.shorten(file.read(content.bytes(), content.size()));
        warnIfReadableByOthers(name, file.status(), quiet);
    } catch (const Failure& failure) {
        throw unusableStreamKey(failure.what());
    }
    if (content.size() == keyLength) {
        return content;
    }
    size_t length = content.size();
    if (length > 0 && content.text()[length - 1] == '\n') {
        --length;
        length -= length > 0 && content.text()[length - 1] == '\r' ? 1 : 0;
    }
    Secret key;
    if (!parseHex(content.data(), length, keyLength, key)) {
        throw unusableStreamKey(name + ": is no key for this cipher; it must hold " + std::to_string(keyLength) +
                                " bytes or " + std::to_string(2 * keyLength) + " hexadecimal digits");
    }
    return key;
}

} // namespace

StreamKey obtainStreamKey(const KeyOptions& options, InputFile* encrypted) {
    const size_t keyLength = KSCrypt::cryptTypeToKeyLen(options.type);
    const bool wantsIv = options.type == KSCrypt::AES_256_CBC_EVP;
    StreamKey result;
    if (!options.iv.empty() && !parseHex(options.iv.data(), options.iv.size(), ivLength, result.iv)) {
        throw unusableStreamKey("--iv: is no IV; give " + std::to_string(2 * ivLength) + " hexadecimal digits");
    }
    if (!options.keyFile.empty()) {
        result.key = readKeyFile(options.keyFile, keyLength, options.quiet);
    } else if (!options.passFile.empty()) {
        const Secret phrase = readPassPhrase(options.passFile, options.quiet);
        const PassPhraseHeader header =
            encrypted == nullptr ? PassPhraseHeader::create() : PassPhraseHeader::read(*encrypted);
        Secret derived = header.derive(phrase, keyLength + (wantsIv ? ivLength : 0));
        if (wantsIv) {
            result.iv = Secret(ivLength);
            std::memcpy(result.iv.data(), derived.data() + keyLength, ivLength);
        }
        derived.shorten(keyLength);
        result.key = std::move(derived);
        result.header = header.toBytes();
    }
    return result;
}

} // namespace CmnCrypto::Cli

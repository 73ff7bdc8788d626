#ifndef CMNCRYPTO_FRAME_ASCIICASE_H
#define CMNCRYPTO_FRAME_ASCIICASE_H

#include <algorithm>
#include <string>

namespace CmnCrypto {

/** @return an ASCII letter in lower case, anything else as it is, whatever the locale of the host */
constexpr char lowerCase(char letter) {
    return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

/** @return an ASCII letter in upper case, anything else as it is, whatever the locale of the host */
constexpr char upperCase(char letter) {
    return letter >= 'a' && letter <= 'z' ? static_cast<char>(letter - 'a' + 'A') : letter;
}

/** @return @p text with its ASCII letters in upper case */
inline std::string upperCased(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), upperCase);
    return text;
}

/** @return whether @p text begins with @p prefix, which is in lower case, in any case */
constexpr bool beginsWithIgnoringCase(const char* text, const char* prefix) {
    while (*prefix != '\0' && lowerCase(*text) == *prefix) {
        ++text;
        ++prefix;
    }
    return *prefix == '\0';
}

} // namespace CmnCrypto

#endif

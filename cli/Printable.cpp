#include "Printable.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string_view>

namespace CmnCrypto::Cli {

namespace {

struct Range {
    uint32_t first;
    uint32_t last;
};

/** Controls, invisible characters, those that turn the direction of writing, line ends, tags. */
constexpr std::array<Range, 11> hidden = {{{0x00, 0x1f},
                                           {0x7f, 0x9f},
                                           {0xad, 0xad},
                                           {0x61c, 0x61c},
                                           {0x180e, 0x180e},
                                           {0x200b, 0x200f},
                                           {0x2028, 0x202e},
                                           {0x2060, 0x206f},
                                           {0xfeff, 0xfeff},
                                           {0xfff9, 0xfffb},
                                           {0xe0000, 0xe007f}}};

struct Character {
    uint32_t value;
    size_t length; ///< 0: the bytes are no UTF-8
};

/** Decodes the first character as RFC 3629 says: nothing overlong, no surrogates, nothing beyond U+10FFFF. */
Character decode(std::string_view text) {
    const auto byte = [text](size_t index) { return static_cast<unsigned char>(text[index]); };
    const unsigned char lead = byte(0);
    if (lead < 0x80) {
        return {lead, 1};
    }
    const size_t length = lead >= 0xf0 ? 4 : lead >= 0xe0 ? 3 : 2;
    if (lead < 0xc2 || lead > 0xf4 || text.size() < length) {
        return {0, 0};
    }
    uint32_t value = lead & (0x7fU >> length);
    for (size_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xc0U) != 0x80U) {
            return {0, 0};
        }
        value = value << 6U | (byte(i) & 0x3fU);
    }
    const bool overlong = (length == 3 && value < 0x800) || (length == 4 && value < 0x10000);
    const bool surrogate = value >= 0xd800 && value <= 0xdfff;
    return {value, overlong || surrogate || value > 0x10ffff ? 0 : length};
}

std::string escapedByte(uint32_t value) {
    std::array<char, 8> text = {};
    std::snprintf(text.data(), text.size(), "\\x%02X", value & 0xffU);
    return text.data();
}

std::string escapedCharacter(uint32_t value) {
    switch (value) {
    case '\n':
        return "\\n";
    case '\r':
        return "\\r";
    case '\t':
        return "\\t";
    default:
        break;
    }
    if (value < 0x80) {
        return escapedByte(value);
    }
    std::array<char, 16> text = {};
    std::snprintf(text.data(), text.size(), "\\u{%X}", value);
    return text.data();
}

} // namespace

std::string printable(const std::string& bytes, Backslash backslash) {
    std::string text;
    text.reserve(bytes.size());
    for (size_t position = 0; position < bytes.size();) {
        const auto [value, length] = decode(std::string_view(bytes).substr(position));
        if (length == 0) {
            text += escapedByte(static_cast<unsigned char>(bytes[position++]));
            continue;
        }
        const uint32_t character = value;
        const bool hide = std::any_of(hidden.begin(), hidden.end(), [character](const Range& range) {
            return character >= range.first && character <= range.last;
        });
        if (hide) {
            text += escapedCharacter(character);
        } else if (character == '\\' && backslash == Backslash::escape) {
            text += "\\\\";
        } else {
            text.append(bytes, position, length);
        }
        position += length;
    }
    return text;
}

} // namespace CmnCrypto::Cli

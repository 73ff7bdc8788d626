#include "SubjectText.h"

#include <algorithm>
#include <cctype>
#include <cstring>

#include "Failure.h"
#include "cmncrypto/CmnException.h"
#include "cmncrypto/X509Name.h"

namespace CmnCrypto::Cli {

namespace {

Failure misuse(const std::string& option, const std::string& text) {
    return {ExitCode::usage, option + ": " + text};
}

/** Walks through the text, attribute by attribute. */
class SubjectParser {
public:
    SubjectParser(std::string option, const std::string& text) : m_option(std::move(option)), m_text(text) {}

    std::vector<SubjectAttribute> parse() {
        std::vector<SubjectAttribute> attributes;
        do {
            attributes.push_back(attribute());
        } while (m_position++ < m_text.size());
        std::reverse(attributes.begin(), attributes.end());
        return attributes;
    }

private:
    SubjectAttribute attribute() {
        const size_t equals = std::min(m_text.find('=', m_position), m_text.size());
        std::string token = m_text.substr(m_position, equals - m_position);
        token.erase(0, token.find_first_not_of(' '));
        token.erase(token.find_last_not_of(' ') + 1);
        if (equals == m_text.size() || token.empty() || token.find_first_of(",+\\") != std::string::npos) {
            throw misuse(m_option, "\"" + m_text + "\" is no name; write it as CN=host.example,O=Company,C=US");
        }
        m_position = equals + 1;
        return {token, toLatin1(m_option, value())};
    }

    /** Up to the next comma; blanks around it do not count unless they are escaped. */
    std::string value() {
        m_position = std::min(m_text.find_first_not_of(' ', m_position), m_text.size());
        std::string result;
        size_t kept = 0; // what trailing blanks must not cut
        for (; m_position < m_text.size() && m_text[m_position] != ','; ++m_position) {
            const char character = m_text[m_position];
            if (character == '+') {
                throw misuse(m_option, "attributes joined by + are not supported; write \\+ where a plus is meant");
            }
            result += character == '\\' ? escaped() : character;
            kept = character == ' ' ? kept : result.size();
        }
        result.resize(kept);
        return result;
    }

    char escaped() {
        const std::string digits = m_text.substr(m_position + 1, 2);
        const auto isDigit = [](unsigned char c) { return std::isxdigit(c) != 0; };
        if (digits.size() == 2 && std::all_of(digits.begin(), digits.end(), isDigit)) {
            m_position += 2;
            return static_cast<char>(std::stoi(digits, nullptr, 16));
        }
        if (digits.empty()) {
            throw misuse(m_option, "ends with a backslash; write \\\\ where one is meant");
        }
        ++m_position;
        return digits[0];
    }

    std::string m_option;
    const std::string& m_text;
    size_t m_position = 0;
};

} // namespace

std::vector<SubjectAttribute> parseSubject(const std::string& option, const std::string& text) {
    std::vector<SubjectAttribute> attributes = SubjectParser(option, text).parse();
    X509Name name;
    for (const SubjectAttribute& attribute : attributes) {
        try {
            name.addEntry(attribute.token.c_str(), attribute.value.c_str());
        } catch (const CmnException&) {
            throw misuse(option, attribute.token + ": is no known attribute, or does not allow this value (C has two " +
                                     "letters, CN at most 64 characters)");
        }
    }
    return attributes;
}

std::string toLatin1(const std::string& option, const std::string& text) {
    std::string result;
    for (size_t i = 0; i < text.size(); ++i) {
        const auto lead = static_cast<unsigned char>(text[i]);
        if (lead < 0x80 && lead != 0) {
            result += text[i];
            continue;
        }
        const auto next = static_cast<unsigned char>(i + 1 < text.size() ? text[i + 1] : 0);
        if ((lead != 0xc2 && lead != 0xc3) || (next & 0xc0U) != 0x80U) {
            throw misuse(option, "holds characters beyond ISO 8859-1, which the library does not take in names");
        }
        result += static_cast<char>((lead & 3U) << 6U | (next & 0x3fU));
        ++i;
    }
    return result;
}

} // namespace CmnCrypto::Cli

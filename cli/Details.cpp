#include "Details.h"

#include <algorithm>

namespace CmnCrypto::Cli {

namespace {

std::string lineOf(const Json& value, Backslash backslash) {
    if (value.is_boolean()) {
        return value.get<bool>() ? "yes" : "no";
    }
    return value.is_string() ? printable(value.get<std::string>(), backslash) : value.dump();
}

} // namespace

void Details::add(const std::string& label, const std::string& member, const Json& value, Backslash backslash) {
    if (!member.empty()) {
        m_members[member] = value;
    }
    if (label.empty() || value.is_null()) {
        return;
    }
    bool first = true;
    for (const Json& element : value.is_array() ? value : Json::array({value})) {
        m_lines.push_back({first ? label + ":" : "", lineOf(element, backslash)});
        first = false;
    }
}

void Details::addPart(const std::string& member, const Details& part) {
    if (!member.empty()) {
        m_members[member] = part.m_members;
    }
    m_lines.insert(m_lines.end(), part.m_lines.begin(), part.m_lines.end());
}

void Details::problem(const std::string& text) {
    m_problems.push_back(text);
}

Json Details::document() const {
    Json document = m_members;
    document["problems"] = m_problems;
    return document;
}

void Details::print(bool json) const {
    if (json) {
        printJson(document());
    } else if (const std::string whole = text(); !whole.empty()) {
        printLine(whole);
    }
}

std::string Details::text() const {
    std::vector<Line> lines = m_lines;
    for (const std::string& text : m_problems) {
        lines.push_back({"Problem:", printable(text, Backslash::keep)});
    }
    size_t width = 0;
    for (const Line& line : lines) {
        width = std::max(width, line.label.size() + 1);
    }
    std::string whole;
    for (const Line& line : lines) {
        whole += (whole.empty() ? "" : "\n") + line.label + std::string(width - line.label.size(), ' ') + line.text;
    }
    return whole;
}

void Details::printOrWarn(bool json, bool quiet) const {
    if (json) {
        printJson(document());
        return;
    }
    for (const std::string& text : m_problems) {
        if (!quiet) {
            printError("warning: " + text);
        }
    }
}

} // namespace CmnCrypto::Cli

#include "ProgressBar.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <utility>

#include "Interrupt.h"
#include "Terminal.h"

namespace CmnCrypto::Cli {

namespace {

constexpr std::chrono::milliseconds patience(500);
constexpr std::chrono::milliseconds period(100);

std::string format(const char* pattern, double value) {
    std::array<char, 48> text = {};
    // The patterns are the literals of this file.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    std::snprintf(text.data(), text.size(), pattern, value);
#pragma GCC diagnostic pop
    return text.data();
}

std::string humanTime(double seconds) {
    const auto whole = std::lround(std::clamp(seconds, 0.0, 1e7));
    const std::string rest = std::to_string(whole % 60);
    return std::to_string(whole / 60) + ":" + (rest.size() < 2 ? "0" : "") + rest;
}

/** "[####......] " where the line has room for it, otherwise nothing. */
std::string bar(double share, size_t room) {
    constexpr size_t longest = 30;
    if (room < 10) {
        return "";
    }
    const size_t cells = std::min(longest, room - 3);
    const auto filled = static_cast<size_t>(share * static_cast<double>(cells));
    return "[" + std::string(filled, '#') + std::string(cells - filled, '.') + "] ";
}

} // namespace

std::string humanBytes(double bytes) {
    constexpr std::array<const char*, 5> units = {" B", " KiB", " MiB", " GiB", " TiB"};
    size_t unit = 0;
    while (bytes >= 1024 && unit + 1 < units.size()) {
        bytes /= 1024;
        ++unit;
    }
    return format(unit == 0 ? "%.0f" : "%.1f", bytes) + units[unit];
}

ProgressBar::ProgressBar(std::string label, std::optional<uint64_t> total, bool wanted)
    : m_label(std::move(label)), m_total(total), m_enabled(wanted && canRewriteLines()), m_start(Clock::now()),
      m_nextDraw(m_start + patience) {}

ProgressBar::~ProgressBar() {
    if (isProgressShown()) {
        std::fputs(eraseLine, stderr);
        setProgressShown(false);
    }
}

void ProgressBar::update(uint64_t done) {
    if (!m_enabled) {
        return;
    }
    const Clock::time_point now = Clock::now();
    if (now >= m_nextDraw) {
        m_nextDraw = now + period;
        draw(done, std::chrono::duration<double>(now - m_start).count());
    }
}

void ProgressBar::draw(uint64_t done, double seconds) {
    const double rate = static_cast<double>(done) / seconds;
    std::string text = humanBytes(static_cast<double>(done));
    double share = 0;
    if (m_total && *m_total > 0) {
        // A file that grows meanwhile does not go beyond the end of the bar.
        share = std::min(1.0, static_cast<double>(done) / static_cast<double>(*m_total));
        text = format("%.0f%% ", share * 100) + text + " of " + humanBytes(static_cast<double>(*m_total));
    }
    text += ", " + humanBytes(rate) + "/s";
    if (share > 0) {
        text += ", " + humanTime(seconds / share - seconds) + " left";
    }
    const size_t width = terminalWidth() - 1;
    const std::string head = m_label + ": ";
    const size_t used = head.size() + text.size();
    text = head + (share > 0 && used < width ? bar(share, width - used) : "") + text;
    setProgressShown(true);
    std::fputs((eraseLine + text.substr(0, width)).c_str(), stderr);
}

} // namespace CmnCrypto::Cli

#include "LineOutput.h"

#include <cerrno>

#include "Writing.h"

namespace CmnCrypto::Cli {

namespace {

constexpr size_t mostWaiting = size_t{1} << 20;

} // namespace

void LineOutput::add(const std::string& line, bool last) {
    if (!last && m_waiting.size() + line.size() >= mostWaiting) {
        ++m_lost;
        return;
    }
    m_waiting += line + "\n";
}

void LineOutput::writeSome() {
    while (isWaiting()) {
        const ptrdiff_t taken = m_output.write(m_waiting.data(), m_waiting.size());
        if (taken < 0) {
            m_waiting.clear();
            failToWrite("standard output", errno);
        }
        if (taken == 0) {
            return; // no room, or a signal, which is to be heard now
        }
        m_waiting.erase(0, static_cast<size_t>(taken));
    }
}

bool LineOutput::flush(const Deadline& deadline) {
    while (isWaiting() && m_output.waitForRoom(deadline)) {
        writeSome();
    }
    return !isWaiting();
}

} // namespace CmnCrypto::Cli

#include "ServerEvents.h"

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include "Failure.h"
#include "FileDescriptor.h"

namespace CmnCrypto::Cli {

struct ServerEvents::Channel {
    FileDescriptor reading;
    FileDescriptor writing;
};

ServerEvents::ServerEvents() : m_channel(std::make_unique<Channel>()) {
    std::array<int, 2> ends = {};
    if (::pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK) != 0) {
        throw Failure::ofSystem(ExitCode::internal, "pipe", errno);
    }
    m_channel->reading = FileDescriptor(ends[0]);
    m_channel->writing = FileDescriptor(ends[1]);
}

ServerEvents::~ServerEvents() = default;

void ServerEvents::wake() noexcept {
    if (::write(m_channel->writing.get(), "w", 1) < 0) {
        return; // the pipe is full: nobody sleeps beside it
    }
}

ServerEvents::Ready ServerEvents::wait(const std::vector<Socket>& listeners, bool output, int milliseconds) {
    constexpr int nobody = -1; // which poll() passes over
    std::vector<pollfd> waiting = {{m_channel->reading.get(), POLLIN, 0},
                                   {output ? standardOutput : nobody, POLLOUT, 0}};
    const size_t first = waiting.size();
    for (const Socket& listener : listeners) {
        waiting.push_back({static_cast<int>(listener.number()), POLLIN, 0});
    }
    Ready ready;
    if (::poll(waiting.data(), waiting.size(), milliseconds) <= 0) {
        return ready; // a signal, most likely; its byte is waiting
    }
    std::array<char, 512> bytes = {};
    while (::read(m_channel->reading.get(), bytes.data(), bytes.size()) > 0) {
        // the bytes say no more than that there are some
    }
    ready.output = waiting[1].revents != 0;
    for (size_t i = first; i < waiting.size(); ++i) {
        if (waiting[i].revents != 0) {
            ready.listeners.push_back(i - first);
        }
    }
    return ready;
}

} // namespace CmnCrypto::Cli

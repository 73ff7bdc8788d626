/** @file
 * What a server waits for.
 */
#ifndef CMNCRYPTO_CLI_SERVEREVENTS_H
#define CMNCRYPTO_CLI_SERVEREVENTS_H

#include <cstddef>
#include <memory>
#include <vector>

#include "Socket.h"

namespace CmnCrypto::Cli {

/** Waits for clients, for room on standard output, and for those who wake it: other threads and signals. */
class ServerEvents {
public:
    /** @throws Failure (internal) */
    ServerEvents();
    ~ServerEvents();
    ServerEvents(const ServerEvents&) = delete;
    ServerEvents& operator=(const ServerEvents&) = delete;

    /** Ends a wait, or the next one. For any thread and for signal handlers. */
    void wake() noexcept;

    struct Ready {
        bool output = false;
        std::vector<size_t> listeners; ///< those with clients, by their position
    };
    /**
     * @param listeners in which clients are of interest @param output whether room on standard output is
     * @param milliseconds -1: for ever @return nothing when the time is over or a signal has come
     */
    Ready wait(const std::vector<Socket>& listeners, bool output, int milliseconds);

private:
    struct Channel;
    std::unique_ptr<Channel> m_channel;
};

} // namespace CmnCrypto::Cli

#endif

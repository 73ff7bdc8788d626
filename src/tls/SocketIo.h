#ifndef CMNCRYPTO_TLS_SOCKETIO_H
#define CMNCRYPTO_TLS_SOCKETIO_H

#include <cstddef>

#include "tls/Deadline.h"

namespace CmnCrypto::tls {

// A connected socket without side effects: nothing here changes its settings, and a peer that has gone raises no
// signal.

/** How a wait ended. */
enum class Wait { ready, timedOut, failed };

/** What a socket is to be ready for. */
enum class Direction { reading, writing };

/** Whether a call may wait for as long as a blocking socket does. */
enum class Blocking { asSocket, never };

/**
 * Receives at most @p size bytes.
 * @return their number, 0 at the end of the stream, -1 for a failure: the system's error tells which
 */
int receive(int socket, char* buffer, size_t size, Blocking blocking) noexcept;

/** Sends at most @p size bytes. @return their number, or -1 as receive() */
int transmit(int socket, const char* data, size_t size, Blocking blocking) noexcept;

/** @return the system's number of the failure that this thread's last call has met */
int lastSocketError() noexcept;

/**
 * Waits until a socket can be read from or written to, or has an error for the next call to report. Signals do not end
 * the wait.
 * @return failed where the number is no open socket
 */
Wait waitFor(int socket, Direction direction, const Deadline& deadline) noexcept;

} // namespace CmnCrypto::tls

#endif

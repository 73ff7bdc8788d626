#include "PatientOutput.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

#include "Files.h"

namespace CmnCrypto::Cli {

namespace {

constexpr size_t largestPiece = size_t{64} * 1024;

} // namespace

/** Writes one piece after another on a thread that may wait for the reader, in the end for ever. */
struct PatientOutput::Worker {
    std::mutex mutex;
    std::condition_variable changed;
    std::string piece; ///< what is being written
    int error = 0;     ///< of the last piece, until it has been told
    bool ended = false;

    void run() {
        std::unique_lock<std::mutex> lock(mutex);
        for (;;) {
            changed.wait(lock, [this] { return ended || !piece.empty(); });
            if (ended) {
                return;
            }
            lock.unlock();
            const int result = writeAll();
            lock.lock();
            error = result;
            piece.clear();
            changed.notify_all();
        }
    }

    /** @return 0, or why it failed. Nobody changes the piece meanwhile */
    int writeAll() const noexcept {
        for (size_t done = 0; done < piece.size();) {
            const ptrdiff_t written = writeTo(standardOutput, piece.data() + done, piece.size() - done);
            if (written < 0) {
                return errno;
            }
            done += static_cast<size_t>(written);
        }
        return 0;
    }

    bool isBusy() const noexcept { return !piece.empty() || error != 0; }
};

PatientOutput::PatientOutput() : m_worker(std::make_shared<Worker>()) {
    std::thread([worker = m_worker] { worker->run(); }).detach();
}

PatientOutput::~PatientOutput() {
    const std::lock_guard<std::mutex> lock(m_worker->mutex);
    m_worker->ended = true;
    m_worker->changed.notify_all();
}

ptrdiff_t PatientOutput::write(const char* data, size_t size) {
    const std::lock_guard<std::mutex> lock(m_worker->mutex);
    if (m_worker->error != 0) {
        errno = std::exchange(m_worker->error, 0);
        return -1;
    }
    if (!m_worker->piece.empty()) {
        return 0;
    }
    m_worker->piece.assign(data, std::min(size, largestPiece));
    m_worker->changed.notify_all();
    return static_cast<ptrdiff_t>(m_worker->piece.size());
}

bool PatientOutput::isBusy() const noexcept {
    const std::lock_guard<std::mutex> lock(m_worker->mutex);
    return m_worker->isBusy();
}

bool PatientOutput::waitForRoom(const Deadline& deadline) {
    std::unique_lock<std::mutex> lock(m_worker->mutex);
    return m_worker->changed.wait_for(lock, std::chrono::milliseconds(deadline.remaining()),
                                      [this] { return m_worker->piece.empty(); });
}

} // namespace CmnCrypto::Cli

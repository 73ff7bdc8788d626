/** @file
 * Standard output that is written to without waiting.
 */
#ifndef CMNCRYPTO_CLI_PATIENTOUTPUT_H
#define CMNCRYPTO_CLI_PATIENTOUTPUT_H

#include <cstddef>
#include <memory>

#include "Socket.h"

namespace CmnCrypto::Cli {

/** For one thread. */
class PatientOutput {
public:
    PatientOutput();
    ~PatientOutput();
    PatientOutput(const PatientOutput&) = delete;
    PatientOutput& operator=(const PatientOutput&) = delete;

    /** Takes what can be taken without waiting. @return how much, 0 for nothing; -1 with errno when it fails */
    ptrdiff_t write(const char* data, size_t size);
    /** @return whether something that was taken is not written yet, or write() has a failure to tell */
    bool isBusy() const noexcept;
    /** @return whether write() has something to do in time */
    bool waitForRoom(const Deadline& deadline);

private:
    struct Worker;
    std::shared_ptr<Worker> m_worker; ///< where the system cannot tell whether there is room
};

} // namespace CmnCrypto::Cli

#endif

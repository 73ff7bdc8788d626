#ifndef CMNCRYPTO_FAULTS_FAULTS_H
#define CMNCRYPTO_FAULTS_FAULTS_H

#include <ctime>
#include <functional>
#include <map>
#include <string>
#include <vector>

/** Calls of the library into OpenSSL and the C library that fail on demand. */
namespace faults {

/**
 * Plans the next calls of a wrapped function on the calling thread: "x" fails and queues an OpenSSL error, "."
 * goes through, "*" fails from here on. Plans last until clear().
 */
void plan(const std::string& function, const std::string& calls);
void clear();

/** Lets the library see this second as the present one until clear(). */
void stopClock(std::time_t at);

/** @return how often the operation calls each wrapped function; "new" is any allocation in C++ */
std::map<std::string, size_t> calls(const std::function<void()>& operation);

/** @return what it was: whether calls fail and count */
bool setActive(bool active);

/** Runs what an operation needs, or how it is looked at, with nothing that fails or counts. */
template <class Body> auto spared(const Body& body) {
    struct Scope {
        bool was = setActive(false);
        ~Scope() { setActive(was); }
    } const scope;
    return body();
}

/** @return the lengths that a data function was called with since the last clear() */
std::vector<size_t> lengths(const std::string& function);

/** How the error that a failing call queues shows in a log pattern. */
inline const std::string queued = "Error - (#: error:*)";

} // namespace faults

#endif

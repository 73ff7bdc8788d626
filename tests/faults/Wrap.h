#ifndef CMNCRYPTO_FAULTS_WRAP_H
#define CMNCRYPTO_FAULTS_WRAP_H

#include <cstddef>
#include <ctime>
#include <new>

namespace faults {

/** @return whether this call of a function fails; it has queued an error then where the function is OpenSSL's */
bool strikes(const char* function);
/** Notes the length that a data function is called with. */
void noteLength(const char* function, size_t length);
template <class Length> void note(const char* function, Length length) {
    noteLength(function, static_cast<size_t>(length));
}
/** @return where stopClock() stands */
std::time_t stoppedAt();

} // namespace faults

// The linker sends the library's calls of each function to its wrapper (--wrap); the build reads the names of lines
// that begin with WRAP. A plan has the function's own name, or the one given.
#define WRAP_EXPANDED(symbol, name, result, parameters, arguments, failure)                                            \
    extern "C" result __real_##symbol parameters;                                                                      \
    extern "C" result __wrap_##symbol parameters {                                                                     \
        return faults::strikes(name) ? (failure) : __real_##symbol arguments;                                          \
    }
#define WRAP_AS(...) WRAP_EXPANDED(__VA_ARGS__)
#define WRAP(symbol, ...) WRAP_AS(symbol, #symbol, __VA_ARGS__)
#define P0 (), ()
#define P1(A) (A a), (a)
#define P2(A, B) (A a, B b), (a, b)
#define P3(A, B, C) (A a, B b, C c), (a, b, c)
#define P4(A, B, C, D) (A a, B b, C c, D d), (a, b, c, d)
#define P5(A, B, C, D, E) (A a, B b, C c, D d, E e), (a, b, c, d, e)
#define P7(A, B, C, D, E, F, G) (A a, B b, C c, D d, E e, F f, G g), (a, b, c, d, e, f, g)

#define NEW_NOTHROW (size_t size, const std::nothrow_t& tag), (size, tag), nullptr

#endif

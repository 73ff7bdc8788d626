#ifndef CMNCRYPTO_FRAME_ASSERTION_H
#define CMNCRYPTO_FRAME_ASSERTION_H

namespace CmnCrypto {

/** Logs a broken invariant and ends the process: going on could release data that were never authenticated. */
[[noreturn]] void assertionFailed(const char* function, const char* condition, const char* file, int line,
                                  const char* message);

} // namespace CmnCrypto

/** Ends the process when @p holds is false; @p condition is the text that is logged for it. */
#define CMNCRYPTO_ASSERT(holds, function, condition, message)                                                          \
    do {                                                                                                               \
        if (!(holds)) {                                                                                                \
            CmnCrypto::assertionFailed(function, condition, __FILE__, __LINE__, message);                              \
        }                                                                                                              \
    } while (false)

#endif

#include "Failure.h"

#include <new>
#include <utility>

#include "SystemText.h"
#include "cmncrypto/CmnException.h"

namespace CmnCrypto::Cli {

Failure::Failure(ExitCode exit, std::string text, int32_t code) : m_exit(exit), m_text(std::move(text)), m_code(code) {}

Failure Failure::ofSystem(ExitCode exit, const std::string& what, int errorNumber) {
    return {exit, what + ": " + systemText(errorNumber)};
}

Failure currentFailure() {
    try {
        throw;
    } catch (const Failure& failure) {
        return failure;
    } catch (const CmnException& failure) {
        const std::string more = failure.additional_message();
        return {ExitCode::internal,
                std::string("library: ") + failure.what() + (more.empty() ? "" : ", " + more) + " (code " +
                    std::to_string(failure.getErrorCode()) + "); --log-level failure shows more",
                failure.getErrorCode()};
    } catch (const std::bad_alloc&) {
        return {ExitCode::internal, "memory: not enough; use a smaller input"};
    } catch (const std::exception& failure) {
        return {ExitCode::internal, std::string("internal: ") + failure.what()};
    } catch (...) {
        return {ExitCode::internal, "internal: unknown exception"};
    }
}

} // namespace CmnCrypto::Cli

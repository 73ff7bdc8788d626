#include "CertificateFile.h"

#include "Failure.h"
#include "Interrupt.h"
#include "cmncrypto/CmnException.h"

namespace CmnCrypto::Cli {

namespace {

/** Codes of the two classes for an existing path. */
constexpr int32_t certificateExists = -1;
constexpr int32_t chainExists = 5967;

template <class Certificates> void save(const Certificates& certificates, const std::string& path, int32_t exists) {
    if (path == "-") {
        throw Failure(ExitCode::usage, "-o: certificates are saved to files only; name a file, ./- for this name");
    }
    const SignalBlock block;
    try {
        certificates.saveToFile(path);
    } catch (const CmnException& failure) {
        const int32_t code = failure.getErrorCode();
        if (code == exists) {
            throw Failure(ExitCode::outputExists, path + ": exists already; choose another name", code);
        }
        throw Failure(ExitCode::outputUnwritable,
                      path + ": " + failure.what() + "; choose a folder that exists and has room", code);
    }
}

} // namespace

void saveToNewFile(const X509CertChain& chain, const std::string& path) {
    save(chain, path, chainExists);
}

void saveToNewFile(const X509Certificate& certificate, const std::string& path) {
    save(certificate, path, certificateExists);
}

} // namespace CmnCrypto::Cli

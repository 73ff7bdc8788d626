#include "CertificateInput.h"

#include "FileOption.h"
#include "PemInput.h"

namespace CmnCrypto::Cli {

namespace {

std::string readTogether(const std::vector<std::string>& names) {
    readStandardInputOnce(names);
    std::string pem;
    for (const std::string& name : names) {
        pem += certificatesAsPem(name);
    }
    return pem;
}

} // namespace

void addCertificateOptions(CLI::App& parser, CertificateOptions& options) {
    parser.add_flag("--json", options.json, "Print the result as one JSON document");
    parser.add_option("IN", options.input, "Certificate in PEM or DER; - or none: standard input")->check(namedFile());
}

CertificateInput::CertificateInput(const std::string& name) : m_chain(certificatesAsPem(name), INIT_TYPE_BLOB) {}

CertificateInput::CertificateInput(const std::vector<std::string>& names, bool leafOnly)
    : m_chain(readTogether(names), INIT_TYPE_BLOB, leafOnly) {}

} // namespace CmnCrypto::Cli

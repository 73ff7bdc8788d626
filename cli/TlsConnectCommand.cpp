#include <array>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <openssl/err.h>
#include <openssl/x509v3.h>

#include "AlternativeNames.h"
#include "CertificateDetails.h"
#include "CertificateProblems.h"
#include "ChainVerification.h"
#include "Commands.h"
#include "FileOption.h"
#include "GivenLists.h"
#include "HostName.h"
#include "KeyDescription.h"
#include "PemInput.h"
#include "ReadableName.h"
#include "TlsProbe.h"

namespace CmnCrypto::Cli {

namespace {

constexpr Verdict notChecked = {"not checked", ExitCode::success};

struct ConnectOptions {
    std::string target;
    std::string ca;
    std::vector<std::string> lists;
    std::string level;
    CLI::Option* levelGiven = nullptr;
    std::string serverName;
    std::string timeout = "10";
    bool json = false;
};

struct Target {
    std::string host;
    int port = 0;
};

Target parseTarget(const std::string& text) {
    const size_t colon = text.rfind(':');
    const bool bracketed =
        !text.empty() && text.front() == '[' && colon != std::string::npos && colon > 1 && text[colon - 1] == ']';
    if (colon == std::string::npos || colon == 0 || (!bracketed && text.find(':') != colon)) {
        throw Failure(ExitCode::usage, "\"" + text +
                                           "\": is no HOST:PORT; write www.example:443, 192.0.2.1:443 or "
                                           "[2001:db8::1]:443");
    }
    return {bracketed ? text.substr(1, colon - 2) : text.substr(0, colon),
            static_cast<int>(parseCount("port", text.substr(colon + 1), 1, 65535))};
}

struct Version {
    const char* name;
    int number;
};
constexpr std::array<Version, 4> versions = {
    {{"TLSv1.3", TLS1_3_VERSION}, {"TLSv1.2", TLS1_2_VERSION}, {"TLSv1.1", TLS1_1_VERSION}, {"TLSv1", TLS1_VERSION}}};

/** The first address of a host that answers, with the handshake that a client of today makes. */
struct Server {
    Server(const Target& target, const std::string& serverName, int milliseconds) {
        std::string reason;
        for (const Endpoint& candidate : resolve(target.host, target.port, false)) {
            endpoint = candidate;
            probe.emplace(candidate, serverName, milliseconds);
            handshake.emplace(probe->tryOut({}));
            if (handshake->hasConnected()) {
                break;
            }
            reason += (reason.empty() ? "" : "; ") + candidate.text() + ": " + handshake->reason();
        }
        if (!handshake || !handshake->hasConnected()) {
            throw Failure(ExitCode::inputUnreadable, target.host + ": cannot be reached: " + reason);
        }
        if (handshake->ssl() == nullptr) {
            throw Failure(ExitCode::inputUnreadable,
                          endpoint.text() + ": the TLS handshake failed: " + handshake->reason() +
                              (handshake->wasAskedForCertificate()
                                   ? "; the server asks for a certificate of the client, which this one has not"
                                   : "; is it a TLS server, and does it want a name (--servername)?"));
        }
    }

    Endpoint endpoint;
    std::optional<TlsProbe> probe;
    std::optional<Handshake> handshake;
};

/** Adds which versions the server accepts. @param negotiated one that it does @return what it said to TLS 1.2 */
Json addVersions(const TlsProbe& probe, int negotiated, Details& details) {
    Json accepted = Json::object();
    std::vector<std::string> lines;
    for (const Version& version : versions) {
        Json& answer = accepted[version.name] = true;
        std::string line = version.name + std::string(": ");
        if (version.number == negotiated) {
            line += "yes";
        } else {
            const Handshake attempt = probe.tryOut({version.number, version.number, "ALL:COMPLEMENTOFALL", nullptr});
            answer = attempt.ssl() != nullptr ? Json(true) : attempt.isRefused() ? Json(false) : Json();
            line += attempt.ssl() != nullptr ? "yes"
                                             : (attempt.isRefused() ? "no (" : "unknown (") + attempt.reason() + ")";
        }
        lines.push_back(line);
        if (answer == true && version.number < TLS1_2_VERSION) {
            details.problem(std::string("old protocol: the server accepts ") + version.name);
        }
    }
    details.add("Versions", "", lines);
    details.add("", "versions", accepted);
    return accepted["TLSv1.2"];
}

/** @return what the server accepts in TLS 1.2 @param accepts whether it does, null when that is not known */
AcceptedCiphers ciphersOf(const TlsProbe& probe, const Json& accepts) {
    if (accepts.is_null()) {
        return {{}, "it is unknown whether the server accepts TLSv1.2"};
    }
    return accepts == true ? probe.acceptedCiphers() : AcceptedCiphers();
}

/** Adds what the server accepts beside what was negotiated. @param negotiated the version */
void addOffers(const TlsProbe& probe, int negotiated, Details& details) {
    const auto [ciphers, incomplete] = ciphersOf(probe, addVersions(probe, negotiated, details));
    details.add("Suites of TLS 1.2", "ciphers", ciphers);
    CipherOrder order = CipherOrder::unknown;
    std::optional<std::string> resumption;
    if (incomplete.empty()) {
        order = ciphers.size() > 1 ? probe.order(ciphers) : order;
        resumption = probe.resumption(negotiated);
    } else {
        details.problem("incomplete: the suites of TLS 1.2: " + incomplete);
    }
    const bool own = order == CipherOrder::server;
    const bool known = order != CipherOrder::unknown;
    details.add("", "serverOrder", known ? Json(own) : Json());
    details.add(ciphers.size() > 1 ? "Their order" : "", "",
                !known ? "unknown"
                : own  ? "the server's"
                       : "the client's");
    details.add("", "resumption", resumption ? Json(*resumption) : Json());
    details.add("Resumption", "", resumption.value_or("unknown"));
}

std::vector<std::string> namesOf(const X509* certificate) {
    return alternativeNames(X509_get0_extensions(certificate));
}

Details describe(X509Certificate& certificate, size_t depth) {
    Details part;
    part.add("", "depth", depth);
    part.add("Subject", "subject", readableName(certificate.getSubject()), Backslash::keep);
    part.add("Issuer", "issuer", readableName(certificate.getIssuer()), Backslash::keep);
    part.add("Serial number", "serialNumber", certificate.getSerialNumber());
    addDates(certificate, part);
    if (const EVP_PKEY* key = X509_get0_pubkey(certificate.getX509()); key != nullptr) {
        KeyDescription(key).addTo(part);
    }
    ERR_clear_error();
    addSignatureAlgorithm(certificate, part);
    part.add("SHA-256 fingerprint", "sha256", certificate.generateHash(HASH_ALGO_SHA256));
    const std::vector<std::string> names = namesOf(certificate.getX509());
    part.add("Alternative names", "", shortened(names));
    part.add("", "alternativeNames", names);
    return part;
}

/** @return whether the certificate is for the host */
bool addHostMatch(X509* leaf, const HostName& host, Details& details) {
    const bool matches = host.matches(leaf);
    details.add("Certificate is for " + printable(host.text()), "hostMatches", matches);
    if (!matches) {
        details.problem("wrong host: the certificate is not for " + host.text());
    }
    return matches;
}

/** What the server's chain is verified with. It is read before anything is sent. */
struct Trust {
    explicit Trust(const ConnectOptions& options)
        : name(options.ca), pem(name.empty() ? "" : trustedCertificatesAsPem(name)), lists(options.lists),
          level(options.levelGiven->count() > 0 ? options.level
                : options.lists.empty()         ? "off"
                                                : "leaf") {}

    std::string name;
    std::string pem;
    GivenLists lists;
    std::string level;
};

/** Verifies the chain that the server sent. */
Verdict judge(const Trust& trust, const std::string& pem, Details& details) {
    const auto& [name, trusted, lists, level] = trust;
    const ChainAnswer answer = verifyChain({trusted, pem, lists.lists,
                                            level == "off"    ? CRL_CHECK_DISABLED
                                            : level == "leaf" ? CRL_CHECK_LEAF
                                                              : CRL_CHECK_CHAIN,
                                            X509_PURPOSE_SSL_SERVER});
    details.add("Trusted", "trusted", name);
    details.add("Revocation check", "", level + ", lists given: " + std::to_string(lists.lists.size()));
    details.add("", "crlCheck", level);
    details.add("", "listsGiven", lists.lists.size());
    if (answer.error != 0) {
        details.add("Error", "",
                    std::to_string(answer.error) + " at depth " + std::to_string(answer.depth) + ": " +
                        answer.errorText);
        details.add("", "errorNumber", answer.error);
        details.add("", "errorText", answer.errorText);
        details.add("", "errorDepth", answer.depth);
    }
    if (answer.revocation) {
        answer.revocation->addTo(details);
    }
    if (level == "off" && !lists.lists.empty()) {
        details.problem("lists ignored: --crl-check is off");
    }
    lists.addTo(details);
    return verdictOn(answer.error);
}

std::string pemOf(const STACK_OF(X509)* certificates) {
    return certificates == nullptr ? "" : X509CertChain(certificates).getPemString();
}

ExitCode runConnect(const ConnectOptions& options) {
    const Target target = parseTarget(options.target);
    if (options.ca.empty() && (!options.lists.empty() || options.levelGiven->count() > 0)) {
        throw Failure(ExitCode::usage,
                      (options.lists.empty() ? "--crl-check" : "--crl") +
                          std::string(": revocation is checked only with --ca FILE, the certificates that are "
                                      "trusted"));
    }
    const int seconds = static_cast<int>(parseCount("--timeout", options.timeout, 1, 3600));
    const HostName host("HOST:PORT", target.host);
    const HostName asked = options.serverName.empty() ? host : HostName("--servername", options.serverName);
    const Trust trust(options);
    Server server(target, asked.isAddress() ? "" : asked.text(), seconds * 1000);
    SSL* const ssl = server.handshake->ssl();
    Verdict verdict = notChecked;
    Details details;
    details.add("", "verdict", "");
    details.add("Server", "server", options.target);
    details.add("Address", "address", server.endpoint.text());
    details.add("Name asked for", "serverName", asked.isAddress() ? Json() : Json(asked.text()));
    addNegotiated(ssl, details);
    const bool wantsCertificate = server.handshake->wasAskedForCertificate();
    details.add("", "asksForCertificate", wantsCertificate);
    details.add(wantsCertificate ? "Certificate of the client" : "", "", "asked for");
    const std::string pem = pemOf(SSL_get_peer_cert_chain(ssl));
    const int version = SSL_version(ssl);
    server.handshake.reset(); // there are servers that serve one client at a time
    addOffers(*server.probe, version, details);
    Json chain = Json::array();
    std::string more;
    if (pem.empty()) {
        details.problem("no certificate: the server has sent none");
        verdict = options.ca.empty() ? notChecked : rejected;
    } else {
        const X509CertChain certificates(pem, INIT_TYPE_BLOB);
        X509Certificate& leaf = **certificates.getCertChainBegin();
        const bool matches = addHostMatch(leaf.getX509(), asked, details);
        if (!options.ca.empty()) {
            verdict = judge(trust, pem, details);
            const bool meant = X509_check_purpose(leaf.getX509(), X509_PURPOSE_SSL_SERVER, 0) == 1;
            if (!meant) {
                details.problem("wrong purpose: the certificate is not meant for TLS servers");
            }
            verdict = verdict == verified && !(matches && meant) ? rejected : verdict;
        }
        addProblems(leaf, details);
        const size_t length = certificates.getCertChainLength();
        for (auto at = certificates.getCertChainBegin(); at != certificates.getCertChainEnd(); ++at) {
            const Details part = describe(**at, chain.size());
            chain.push_back(part.members());
            more += "\n\nCertificate " + std::to_string(chain.size()) + " of " + std::to_string(length) + "\n" +
                    part.text();
        }
    }
    details.add("", "chain", chain);
    details.add("", "verdict", verdict.word);
    return printVerdict(verdict, details, options.json, more);
}

} // namespace

Command addTlsConnectCommand(CLI::App& group) {
    auto options = std::make_shared<ConnectOptions>();
    CLI::App* parser = group.add_subcommand("connect", "What a TLS server offers, and whether its certificate holds");
    parser->add_option("--ca", options->ca, "Certificates that are trusted, roots among them")->check(namedFile());
    parser->add_option("-l,--crl", options->lists, "Revocation lists in PEM or DER; may be repeated")
        ->check(namedFile())
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
        ->allow_extra_args(false);
    options->levelGiven =
        parser
            ->add_option("--crl-check", options->level,
                         "Whose revocation is checked; without this option leaf with --crl, off without")
            ->check(CLI::IsMember({"off", "leaf", "chain"}));
    parser->add_option("-n,--servername", options->serverName, "Name to ask for and to look for in the certificate");
    parser->add_option("-T,--timeout", options->timeout, "Seconds that each handshake may take")->capture_default_str();
    parser->add_flag("--json", options->json, "Print the result as one JSON document");
    parser->add_option("HOST:PORT", options->target, "The server")->required();
    return {parser, [options] { return runConnect(*options); }};
}

} // namespace CmnCrypto::Cli

#include "revocation/Situations.h"

#include <map>
#include <sstream>
#include <stdexcept>

#include "testlib/Bytes.h"

namespace testlib {

namespace {

using Options = std::multimap<std::string, std::string>;

std::vector<std::string> split(const std::string& text, char by) {
    std::vector<std::string> parts;
    std::istringstream stream(text);
    for (std::string part; std::getline(stream, part, by);) {
        parts.insert(parts.end(), part.empty() ? 0 : 1, part);
    }
    return parts;
}

/** What stands before the first @p by is named "". */
Options optionsOf(const std::string& text, char by) {
    Options options;
    for (const std::string& part : split("=" + text, by)) {
        options.emplace(part.substr(0, part.find('=')), part.substr(part.find('=') + 1));
    }
    return options;
}

/** Takes an option out. */
std::string take(Options& options, const std::string& name, const std::string& otherwise) {
    const auto option = options.extract(name);
    return option ? option.mapped() : otherwise;
}

/** The kind of key that belongs to a name, which may be a kind itself. */
std::string kindFor(const std::string& name) {
    return name.find('-') != std::string::npos ? name : (name == "rsa" ? "RSA-2048#" : "P-256#") + name;
}

/** 20 bytes for a leaf, the most that RFC 5280 allows. */
Owned<ASN1_INTEGER> serialOf(const std::string& name) {
    return serialFrom("7f" + toHex(name == "leaf" ? std::string(19, '\xff') : name));
}

Owned<ASN1_STRING> day(const std::string& days) {
    return Owned<ASN1_STRING>(X509_time_adj_ex(nullptr, std::stoi(days), 0, nullptr));
}

const EVP_MD* digestOf(Options& options) {
    return EVP_get_digestbyname(take(options, "md", "SHA256").c_str());
}

template <class T> void extend(T* object, int (*add)(T*, X509_EXTENSION*, int), const Options& options) {
    for (const auto& [name, value] : options) {
        if (!value.empty()) {
            const Owned<X509_EXTENSION> made(X509V3_EXT_nconf(nullptr, nullptr, name.c_str(), value.c_str()));
            if (!made || add(object, made.get(), -1) != 1) {
                throw std::runtime_error("cannot make " + name + "=" + value);
            }
        }
    }
}

Owned<X509> makeFrom(const std::string& text) {
    Options options = optionsOf(text, '|');
    const std::string names = take(options, "", "");
    const std::string subject = names.substr(0, names.find('<'));
    const std::string issuer = names.substr(names.find('<') + 1);
    const bool leaf = subject.rfind("leaf", 0) == 0;
    const std::string own = kindFor(take(options, "own", subject));
    const std::string signer = kindFor(take(options, "key", issuer));
    const EVP_MD* const digest = digestOf(options);
    const auto change = [&](X509* made) {
        X509_set_serialNumber(made, serialOf(subject).get());
        X509_set_subject_name(made, nameFrom("CN=" + subject).get());
        X509_set_issuer_name(made, nameFrom("CN=" + issuer).get());
        X509_set1_notBefore(made, day(take(options, "before", "-3")).get());
        X509_set1_notAfter(made, day(take(options, "after", "3")).get());
        options.emplace("basicConstraints", take(options, "basicConstraints", leaf ? "" : "critical,CA:TRUE"));
        options.emplace("keyUsage", take(options, "keyUsage", leaf ? "" : "critical,keyCertSign,cRLSign"));
        extend(made, X509_add_ext, options);
    };
    return makeCertificate(own, change, digest, signer);
}

Owned<X509_CRL> listFrom(const std::string& text) {
    Options options = optionsOf(text, '|');
    const std::string issuer = take(options, "", "");
    const std::string signer = kindFor(take(options, "key", issuer));
    const EVP_MD* const digest = digestOf(options);
    const Owned<X509_CRL> made = makeList(signer, [&](X509_CRL* list) {
        X509_CRL_set_version(list, std::stoi(take(options, "v", "2")) - 1);
        X509_CRL_set_issuer_name(list, nameFrom("CN=" + issuer).get());
        X509_CRL_set1_lastUpdate(list, day(take(options, "before", "-2")).get());
        const std::string after = take(options, "after", "2");
        X509_CRL_set1_nextUpdate(list, after.empty() ? nullptr : day(after).get());
        for (std::string revoked; !(revoked = take(options, "rev", "")).empty();) {
            Options entry = optionsOf(revoked, '/');
            X509_REVOKED* const added = X509_REVOKED_new();
            X509_REVOKED_set_serialNumber(added, serialOf(take(entry, "", "")).get());
            X509_REVOKED_set_revocationDate(added, day("-1").get());
            extend(added, X509_REVOKED_add_ext, entry);
            X509_CRL_add0_revoked(list, added);
        }
        extend(list, X509_CRL_add_ext, options);
    });
    X509_CRL_sign(made.get(), keyOf(signer), digest);
    return Owned<X509_CRL>(X509_CRL_dup(made.get())); // OpenSSL looks at a list's extensions when it parses it
}

/** Made once. */
template <class T> T* kept(const std::string& text, Owned<T> (*make)(const std::string&)) {
    static auto& all = *new std::map<std::string, Owned<T>>; // outlives OpenSSL's own clean-up
    const auto found = all.find(text);
    return (found != all.end() ? found : all.emplace(text, make(text)).first)->second.get();
}

} // namespace

X509* certificateOf(const std::string& text) {
    return kept(text, makeFrom);
}

std::string pemFrom(const std::string& texts) {
    std::string all;
    for (const std::string& text : split(texts, '+')) {
        all += text.find('<') != std::string::npos ? pem(certificateOf(text)) : pem(kept(text, listFrom));
    }
    return all;
}

std::string Verdict::message() const {
    return error == 0 ? "Certificate verified successfully."
                      : "Certificate verification failed, depth = " + std::to_string(depth) +
                            ", error = " + std::to_string(error) + " (" + X509_verify_cert_error_string(error) + ").";
}

Verdict::Verdict(const std::string& store, const std::string& chain, unsigned long flags) {
    const Owned<X509_STORE> known(X509_STORE_new());
    for (const std::string& text : split(store, '+')) {
        text.find('<') != std::string::npos ? X509_STORE_add_cert(known.get(), certificateOf(text))
                                            : X509_STORE_add_crl(known.get(), kept(text, listFrom));
    }
    X509_STORE_set_flags(known.get(), flags);
    const Owned<STACK_OF(X509)> untrusted(sk_X509_new_null());
    for (const std::string& text : split(chain, '+')) {
        X509_add_cert(untrusted.get(), certificateOf(text), X509_ADD_FLAG_UP_REF);
    }
    const Owned<X509_STORE_CTX> context(X509_STORE_CTX_new());
    X509_STORE_CTX_init(context.get(), known.get(), sk_X509_value(untrusted.get(), 0), untrusted.get());
    error = X509_verify_cert(context.get()) == 1 ? 0 : X509_STORE_CTX_get_error(context.get());
    depth = X509_STORE_CTX_get_error_depth(context.get());
    for (int i = 0; i < sk_X509_num(X509_STORE_CTX_get0_chain(context.get())); ++i) {
        built += pem(sk_X509_value(X509_STORE_CTX_get0_chain(context.get()), i));
    }
}

} // namespace testlib

#include "PemInput.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <functional>
#include <limits>
#include <new>

#include <openssl/err.h>
#include <openssl/pem.h>

#include "Failure.h"
#include "InputFile.h"
#include "OpenSslOwner.h"

namespace CmnCrypto::Cli {

namespace {

constexpr size_t maximalInput = size_t{64} << 20U;
constexpr size_t maximalListInput = size_t{256} << 20U; ///< some millions of entries
constexpr char armour[] = "-----BEGIN ";

Failure unreadable(const std::string& name, const std::string& text) {
    return {ExitCode::inputUnreadable, inputLabel(name) + ": " + text};
}

struct Element {
    int tag;       ///< -1: no complete element
    size_t header; ///< bytes before the content
    size_t length; ///< bytes with the header
    bool longForm; ///< the length takes more than one byte
};

/** Looks at the DER element at the beginning of some bytes. */
Element firstElement(const unsigned char* data, size_t size) {
    const unsigned char* position = data;
    long length = 0;
    int tag = 0;
    int kind = 0;
    const int result = ASN1_get_object(&position, &length, &tag, &kind, static_cast<long>(size));
    ERR_clear_error();
    if ((result & 0x80) != 0 || kind != V_ASN1_UNIVERSAL) {
        return {-1, 0, 0, false};
    }
    const auto header = static_cast<size_t>(position - data);
    return {tag, header, header + static_cast<size_t>(length), header > 2};
}

/** Text may begin with a zero, the first byte of DER, too. */
bool isDer(const Secret& input) {
    const auto* data = reinterpret_cast<const unsigned char*>(input.text().data());
    const Element element = firstElement(data, input.size());
    return element.tag == V_ASN1_SEQUENCE && (element.longForm || element.length == input.size());
}

OwnedBio memoryBio() {
    OwnedBio bio(BIO_new(BIO_s_mem()));
    if (!bio) {
        throw std::bad_alloc();
    }
    return bio;
}

OwnedBio readFrom(const Secret& input) {
    OwnedBio bio(BIO_new_mem_buf(input.text().data(), static_cast<int>(input.size())));
    if (!bio) {
        throw std::bad_alloc();
    }
    return bio;
}

Secret contentOf(const OwnedBio& bio) {
    char* data = nullptr;
    const long size = BIO_get_mem_data(bio.get(), &data);
    Secret content(static_cast<size_t>(std::max(size, 0L)));
    std::copy_n(data, content.size(), content.data());
    return content;
}

/** One block of a PEM text, wiped. */
struct PemBlock {
    explicit PemBlock(BIO* bio) { found = PEM_read_bio(bio, &name, &header, &data, &size) == 1; }
    PemBlock(const PemBlock&) = delete;
    PemBlock& operator=(const PemBlock&) = delete;
    ~PemBlock() {
        OPENSSL_free(name);
        OPENSSL_free(header);
        OPENSSL_clear_free(data, found ? static_cast<size_t>(size) : 0);
    }

    bool is(const char* wanted) const { return std::strcmp(name, wanted) == 0; }

    bool found = false;
    char* name = nullptr;
    char* header = nullptr;
    unsigned char* data = nullptr;
    long size = 0;
};

/** Whether the last block ended the text; otherwise it was malformed. The queue is empty afterwards. */
bool endOfPem() {
    const unsigned long error = ERR_peek_last_error();
    ERR_clear_error();
    return ERR_GET_LIB(error) == ERR_LIB_PEM && ERR_GET_REASON(error) == PEM_R_NO_START_LINE;
}

/** Decodes one certificate and appends it in PEM. @return the bytes it took, 0 when they are no certificate */
size_t appendCertificate(BIO* pem, const unsigned char* data, long size, bool withSettings) {
    const unsigned char* position = data;
    const OwnedCertificate certificate((withSettings ? d2i_X509_AUX : d2i_X509)(nullptr, &position, size));
    if (!certificate) {
        ERR_clear_error();
        return 0;
    }
    if ((withSettings ? PEM_write_bio_X509_AUX(pem, certificate.get()) : PEM_write_bio_X509(pem, certificate.get())) !=
        1) {
        throw std::bad_alloc();
    }
    return static_cast<size_t>(position - data);
}

/** What is looked for in an input. */
struct Search {
    std::string kind; ///< as messages call it
    std::function<bool(const PemBlock& block)> isWanted;
    std::function<size_t(const unsigned char* data, size_t size)> take; ///< @return what it took, 0 when malformed
};

/** @return how many there were */
size_t collectFromPem(const std::string& name, const Secret& input, const Search& search) {
    const OwnedBio source = readFrom(input);
    size_t count = 0;
    for (;;) {
        const PemBlock block(source.get());
        if (!block.found) {
            if (!endOfPem()) {
                throw unreadable(name, "the PEM block after " + std::to_string(count) + " " + search.kind +
                                           "s is malformed; fetch the file again");
            }
            return count;
        }
        if (!search.isWanted(block)) {
            continue;
        }
        ++count;
        const auto size = static_cast<size_t>(block.size);
        const size_t used = search.take(block.data, size);
        // Behind a trusted certificate stands what it is trusted for.
        if (used == 0 || (used != size && !block.is(PEM_STRING_X509_TRUSTED))) {
            throw unreadable(name, search.kind + " " + std::to_string(count) + " is malformed; fetch the file again");
        }
    }
}

size_t collectFromDer(const std::string& name, const Secret& input, const Search& search) {
    const auto* data = reinterpret_cast<const unsigned char*>(input.text().data());
    size_t done = 0;
    size_t count = 0;
    while (done < input.size()) {
        const size_t used = search.take(data + done, input.size() - done);
        if (used == 0) {
            throw unreadable(name, count == 0
                                       ? "is DER but no " + search.kind + "; give a " + search.kind + " in PEM or DER"
                                       : "has bytes behind " + search.kind + " " + std::to_string(count) +
                                             " that are no " + search.kind + "; fetch the file again");
        }
        done += used;
        ++count;
    }
    return count;
}

/** Hands everything that is looked for to the search. @throws Failure also when there is nothing */
void collect(const std::string& name, const Secret& input, const Search& search) {
    const size_t count = isDer(input) ? collectFromDer(name, input, search) : collectFromPem(name, input, search);
    if (count == 0) {
        throw unreadable(name, "holds no " + search.kind + "; give one in PEM or DER");
    }
}

/** @return the armour that DER of this structure belongs in, null when it is no private key */
const char* armourOfKey(const unsigned char* data, size_t size) {
    const Element whole = firstElement(data, size);
    if (whole.tag != V_ASN1_SEQUENCE || whole.length != size) {
        return nullptr;
    }
    std::array<int, 2> tags = {-1, -1};
    size_t count = 0;
    for (size_t done = whole.header; done < size; ++count) {
        const Element element = firstElement(data + done, size - done);
        if (count < tags.size()) {
            tags[count] = element.tag;
        }
        if (element.length == 0) {
            ++count; // a tagged element: those of keys come last
            break;
        }
        done += element.length;
    }
    if (tags[0] == V_ASN1_SEQUENCE && tags[1] == V_ASN1_OCTET_STRING && count == 2) {
        return PEM_STRING_PKCS8;
    }
    if (tags[0] != V_ASN1_INTEGER) {
        return nullptr;
    }
    switch (tags[1]) {
    case V_ASN1_SEQUENCE:
        return PEM_STRING_PKCS8INF;
    case V_ASN1_OCTET_STRING:
        return PEM_STRING_ECPRIVATEKEY;
    case V_ASN1_INTEGER:
        return count == 6 ? PEM_STRING_DSA : PEM_STRING_RSA;
    default:
        return nullptr;
    }
}

} // namespace

int refusePassPhrase(char*, int, int, void*) noexcept {
    return -1;
}

std::string inputLabel(const std::string& name) {
    return name == "-" ? "standard input" : name;
}

void readStandardInputOnce(const std::vector<std::string>& names) {
    if (std::count(names.begin(), names.end(), "-") > 1) {
        throw Failure(ExitCode::usage, "-: standard input can be read once only; name a file");
    }
}

Secret readWhole(const std::string& name) {
    return readWhole(name, maximalInput, "certificate or key file");
}

Secret readWhole(const std::string& name, size_t maximum, const std::string& kind) {
    InputFile file(name);
    // One byte more than a regular file has shows that it ends there.
    const uint64_t expected = file.size().value_or(0);
    size_t filled = 0;
    Secret content(std::max<size_t>(4096, std::min<uint64_t>(expected, maximum) + 1));
    for (;;) {
        filled += file.read(content.bytes() + filled, content.size() - filled);
        if (filled > maximum) {
            throw unreadable(name, "is larger than " + std::to_string(maximum >> 20U) + " MiB; that is no " + kind);
        }
        if (filled < content.size()) {
            content.shorten(filled);
            return content;
        }
        Secret larger(std::min(2 * content.size(), maximum + 1));
        std::copy_n(content.data(), filled, larger.data());
        content = std::move(larger);
    }
}

namespace {

std::string collectCertificates(const std::string& name, bool keepSettings) {
    const Secret input = readWhole(name);
    const OwnedBio pem = memoryBio();
    bool withSettings = false;
    collect(name, input,
            {"certificate",
             [keepSettings, &withSettings](const PemBlock& block) {
                 withSettings = keepSettings && block.is(PEM_STRING_X509_TRUSTED);
                 return block.is(PEM_STRING_X509) || block.is(PEM_STRING_X509_OLD) || block.is(PEM_STRING_X509_TRUSTED);
             },
             [&pem, &withSettings](const unsigned char* data, size_t size) {
                 return appendCertificate(pem.get(), data, static_cast<long>(size), withSettings);
             }});
    return contentOf(pem).text();
}

} // namespace

std::string certificatesAsPem(const std::string& name) {
    return collectCertificates(name, false);
}

std::string trustedCertificatesAsPem(const std::string& name) {
    return collectCertificates(name, true);
}

EncodedLists encodedLists(const std::string& name) {
    const Secret input = readWhole(name, maximalListInput, "revocation list");
    EncodedLists result = {!isDer(input), {}};
    // Not decoded here: that is most of the work with a long list, and the owner of the list does it.
    collect(name, input,
            {"revocation list", [](const PemBlock& block) { return block.is(PEM_STRING_X509_CRL); },
             [&result](const unsigned char* data, size_t size) {
                 const Element element = firstElement(data, size);
                 const size_t length = element.tag == V_ASN1_SEQUENCE ? element.length : 0;
                 result.der.emplace_back(data, data + length);
                 return length;
             }});
    return result;
}

std::string requestAsPem(const std::string& name) {
    const Secret input = readWhole(name);
    OwnedRequest request;
    if (isDer(input)) {
        const auto* position = reinterpret_cast<const unsigned char*>(input.text().data());
        const auto* end = position + input.size();
        request.reset(d2i_X509_REQ(nullptr, &position, static_cast<long>(input.size())));
        if (position != end) {
            request.reset(); // there is more than a request
        }
    } else {
        request.reset(PEM_read_bio_X509_REQ(readFrom(input).get(), nullptr, refusePassPhrase, nullptr));
    }
    ERR_clear_error();
    if (!request) {
        throw unreadable(name, "holds no certificate request that can be read; give one in PEM or DER");
    }
    const OwnedBio pem = memoryBio();
    if (PEM_write_bio_X509_REQ(pem.get(), request.get()) != 1) {
        throw std::bad_alloc();
    }
    return contentOf(pem).text();
}

Secret privateKeyAsPem(const std::string& name) {
    return privateKeyAsPem(name, readWhole(name));
}

Secret privateKeyAsPem(const std::string& name, Secret input) {
    if (!isDer(input)) {
        const size_t start = input.text().find(armour);
        if (start == std::string::npos || input.text().find("PRIVATE KEY-----", start) == std::string::npos) {
            throw unreadable(name, "holds no private key; give one in PEM or DER");
        }
        return input;
    }
    const char* label = armourOfKey(input.bytes(), input.size());
    if (label == nullptr) {
        throw unreadable(name, "is DER but no private key; give a private key in PEM or DER");
    }
    const OwnedBio pem = memoryBio();
    if (PEM_write_bio(pem.get(), label, "", input.bytes(), static_cast<long>(input.size())) <= 0) {
        throw std::bad_alloc();
    }
    return contentOf(pem);
}

} // namespace CmnCrypto::Cli

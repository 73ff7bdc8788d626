#include "CryptStream.h"

#include <algorithm>

#include "Failure.h"
#include "PassPhraseHeader.h"
#include "ProgressBar.h"
#include "Secret.h"
#include "cmncrypto/CryptFactory.h"

namespace CmnCrypto::Cli {

namespace {

using Encryption::CryptFactory;
using Encryption::KSCrypt;

constexpr int authenticationFailed = 1270;

/** IV and tag of a GCM stream. */
constexpr uint64_t shortestGcmStream = 28;

} // namespace

CryptStream::CryptStream(Direction direction, KSCrypt::CryptType type, const StreamKey& key, InputFile& input,
                         OutputFile& output)
    : m_direction(direction), m_type(type), m_input(input), m_output(output),
      m_crypter(CryptFactory::createCrypter(type, key.key.text(), key.iv.text())), m_header(key.header) {
    if (KSCrypt::cryptTypeSupportsAAD(type)) {
        addAuthenticatedData(m_header);
    }
}

void CryptStream::addAuthenticatedData(const std::string& data) {
    authenticate(reinterpret_cast<const unsigned char*>(data.data()), data.size());
}

void CryptStream::addAuthenticatedFile(const std::string& name) {
    InputFile file(name);
    Secret buffer(InputFile::pieceSize);
    size_t count = 0;
    do {
        count = file.read(buffer.bytes(), buffer.size());
        authenticate(buffer.bytes(), count);
    } while (count == buffer.size());
}

void CryptStream::authenticate(const unsigned char* data, size_t size) {
    if (size == 0) {
        return; // the same as none, and allowed with every cipher
    }
    const int status = m_direction == Direction::encrypt ? m_crypter->add_authenticated_data_encrypt(data, size)
                                                         : m_crypter->add_authenticated_data_decrypt(data, size);
    if (status != 0) {
        throw Failure(ExitCode::internal,
                      "authenticated data: refused by the library (code " + std::to_string(status) + ")", status);
    }
}

void CryptStream::run(bool showProgress) {
    ProgressBar progress(m_input.name(), m_input.size(), showProgress);
    Secret buffer(InputFile::pieceSize);
    if (m_direction == Direction::encrypt) {
        write(reinterpret_cast<const unsigned char*>(m_header.data()), m_header.size());
    } else {
        m_bytesIn = m_header.size();
    }
    bool final = false;
    while (!final) {
        const size_t count = m_input.read(buffer.bytes(), buffer.size());
        final = count < buffer.size();
        m_looksLikePassPhrase |= m_bytesIn == 0 && PassPhraseHeader::isAtStartOf(buffer.bytes(), count);
        m_bytesIn += count;
        feed(buffer.bytes(), count, final);
        takeOutput(showProgress);
        progress.update(m_bytesIn);
    }
}

void CryptStream::feed(const unsigned char* data, size_t size, bool final) {
    const int status = m_direction == Direction::encrypt ? m_crypter->encrypt(data, size, final)
                                                         : m_crypter->decrypt(data, size, final);
    if (status != 0) {
        refuse(status, final);
    }
}

void CryptStream::takeOutput(bool showProgress) {
    const unsigned char* data = nullptr;
    size_t size = 0;
    const int status = m_direction == Direction::encrypt ? m_crypter->getEncryptedData(&data, &size)
                                                         : m_crypter->getDecryptedData(&data, &size);
    if (status != 0) {
        refuse(status, false);
    }
    // GCM gives a whole stream at once.
    ProgressBar progress("writing", size, showProgress && size > 2 * InputFile::pieceSize);
    for (size_t done = 0; done < size;) {
        const size_t piece = std::min(size - done, InputFile::pieceSize);
        write(data + done, piece);
        done += piece;
        progress.update(done);
    }
}

void CryptStream::write(const unsigned char* data, size_t size) {
    m_output.write(data, size);
    m_bytesOut += size;
}

/** Tells a stream that is refused from a library that fails: both have the code 1224. */
void CryptStream::refuse(int status, bool final) const {
    const bool gcm = m_type == KSCrypt::AES_256_GCM;
    const uint64_t streamLength = m_bytesIn - m_header.size();
    std::string why;
    if (m_direction == Direction::decrypt && status == authenticationFailed) {
        why = "the stream is not authentic: wrong key, wrong authenticated data, or altered bytes";
    } else if (m_direction == Direction::decrypt && final && gcm && streamLength < shortestGcmStream) {
        why = "the stream is cut short: it has " + std::to_string(streamLength) + " bytes of at least " +
              std::to_string(shortestGcmStream);
    } else if (m_direction == Direction::decrypt && final && !gcm) {
        why = "the stream has a wrong padding or is cut short: wrong key, wrong IV, or altered bytes";
    }
    const std::string code = " (code " + std::to_string(status) + ")";
    if (why.empty()) {
        throw Failure(ExitCode::internal, m_input.name() + ": the library failed" + code, status);
    }
    const char* hint =
        m_looksLikePassPhrase ? "; it begins like a stream made with a pass phrase: try --pass-file" : "";
    throw Failure(ExitCode::streamRefused, m_input.name() + ": " + why + code + "; nothing was written" + hint, status);
}

} // namespace CmnCrypto::Cli

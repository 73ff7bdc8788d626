#include "x509/NewFile.h"

#include <atomic>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <utility>

#include "frame/FileSystem.h"
#include "x509/OwnerFile.h"

namespace CmnCrypto {

namespace {

/** @return a name that nobody else takes, in the folder of @p path; short, as @p path itself may be as long as can be
 */
std::string hiddenBeside(const std::string& path) {
    static std::atomic<unsigned> count{0};
    const char* const separators = std::filesystem::path::preferred_separator == '/' ? "/" : "/\\:";
    const size_t name = path.find_last_of(separators) + 1; // 0 where there is none
    if (name == path.size()) {
        return path; // no name of a file: to create it fails
    }
    const auto moment = std::chrono::steady_clock::now().time_since_epoch().count();
    return path.substr(0, name) + ".new-" + std::to_string(moment) + "-" + std::to_string(++count);
}

} // namespace

NewFile::NewFile(const char* function, const std::string& path, int32_t existsCode, NewFileReaders readers)
    : m_function(function), m_path(path), m_hidden(hiddenBeside(path)), m_existsCode(existsCode) {
    if (existsCode != replaces && pathExists(path)) {
        failExisting();
    }
    m_bio.reset(BIO_new(BIO_s_file()));
    if (!m_bio) {
        fail(function, "Failed to allocate BIO", codeAllocationFailed);
    }
    m_file = readers == NewFileReaders::owner ? createOwnerFile(m_hidden) : createFile(m_hidden);
    if (m_file == nullptr) {
        failOpening();
    }
    if (readers == NewFileReaders::owner) {
        std::setvbuf(m_file, nullptr, _IONBF, 0); // NOLINT(cert-err33-c): buffered it works as well
    }
    BIO_set_fp(m_bio.get(), m_file, BIO_NOCLOSE);
}

NewFile::~NewFile() {
    if (m_file != nullptr) {
        std::fclose(m_file); // NOLINT(cert-err33-c): the file goes anyway
    }
    if (!m_hidden.empty()) {
        removeFile(m_hidden);
    }
}

void NewFile::write(const X509* certificate) {
    if (certificate == nullptr || PEM_write_bio_X509(m_bio.get(), certificate) != 1) {
        failWriting();
    }
}

void NewFile::write(const EVP_PKEY* key) {
    if (PEM_write_bio_PKCS8PrivateKey(m_bio.get(), key, nullptr, nullptr, 0, nullptr, nullptr) != 1) {
        failWriting();
    }
}

void NewFile::write(const unsigned char* data, size_t length) {
    size_t written = 0;
    if (BIO_write_ex(m_bio.get(), data, length, &written) != 1 || written != length) {
        failWriting();
    }
}

void NewFile::complete() {
    if (std::fflush(m_file) != 0) { // what the disk could not take shows only now
        failWriting();
    }
    if (std::fclose(std::exchange(m_file, nullptr)) != 0) {
        failWriting();
    }
}

void NewFile::finish() {
    if (m_file != nullptr) {
        complete();
    }
    if (!(m_existsCode == replaces ? renameReplacing : renameWithoutReplacing)(m_hidden, m_path)) {
        failOpening();
    }
    m_hidden.clear();
}

void NewFile::failExisting() const {
    clogmsg(logFailure, m_function, "File path [%s] already exists", m_path.c_str());
    throw CmnException("Specified certificate file already exists", m_existsCode);
}

void NewFile::failOpening() const {
    if (errno == EEXIST && m_existsCode != replaces) { // it has appeared meanwhile
        failExisting();
    }
    clogmsg(logFailure, m_function, "Failed to open cert file %s", m_path.c_str());
    throw CmnException("Failed to open cert file", codeOpenFailed);
}

void NewFile::failWriting() const {
    fail(m_function, "Failed to write certificate", codeWriteFailed);
}

} // namespace CmnCrypto

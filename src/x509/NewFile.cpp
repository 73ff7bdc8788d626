#include "x509/NewFile.h"

#include <cerrno>
#include <utility>

#include "frame/FileSystem.h"
#include "x509/OwnerFile.h"

namespace CmnCrypto {

NewFile::NewFile(const char* function, const std::string& path, int32_t existsCode, NewFileReaders readers)
    : m_function(function), m_path(path) {
    if (pathExists(path)) {
        failExisting(existsCode);
    }
    m_bio.reset(BIO_new(BIO_s_file()));
    if (!m_bio) {
        fail(function, "Failed to allocate BIO", codeAllocationFailed);
    }
    m_file = readers == NewFileReaders::owner ? createOwnerFile(path) : createFile(path);
    if (m_file == nullptr) {
        if (errno == EEXIST) {
            failExisting(existsCode);
        }
        clogmsg(logFailure, function, "Failed to open cert file %s", path.c_str());
        throw CmnException("Failed to open cert file", codeOpenFailed);
    }
    if (readers == NewFileReaders::owner) {
        std::setvbuf(m_file, nullptr, _IONBF, 0); // NOLINT(cert-err33-c): buffered it works as well
    }
    BIO_set_fp(m_bio.get(), m_file, BIO_NOCLOSE);
}

NewFile::~NewFile() {
    if (m_file != nullptr) {
        std::fclose(m_file); // NOLINT(cert-err33-c): the file goes anyway
        removeFile(m_path);
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

void NewFile::finish() {
    if (std::fflush(m_file) != 0) { // what the disk could not take shows only now
        failWriting();
    }
    if (std::fclose(std::exchange(m_file, nullptr)) != 0) {
        removeFile(m_path);
        failWriting();
    }
}

void NewFile::failExisting(int32_t code) const {
    clogmsg(logFailure, m_function, "File path [%s] already exists", m_path.c_str());
    throw CmnException("Specified certificate file already exists", code);
}

void NewFile::failWriting() const {
    fail(m_function, "Failed to write certificate", codeWriteFailed);
}

} // namespace CmnCrypto

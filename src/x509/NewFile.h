#ifndef CMNCRYPTO_X509_NEWFILE_H
#define CMNCRYPTO_X509_NEWFILE_H

#include <cstdio>
#include <string>

#include "frame/Failure.h"
#include "ossl/OpenSsl.h"

namespace CmnCrypto {

/** Who can read a new file. */
enum class NewFileReaders {
    asUsual, ///< as the process's settings have it
    owner    ///< nobody else, and nothing of it stays in a buffer: it holds a private key
};

/**
 * A certificate file that did not exist before, or no file at all: it is created exclusively, so that of two processes
 * that race for a path one fails, and goes again unless finish() is reached.
 */
class NewFile {
public:
    /**
     * @param function logs and throws in this function's name
     * @throws CmnException @p existsCode when there is something under @p path, 12 when the file cannot be opened, 10
     *         when memory is short
     */
    NewFile(const char* function, const std::string& path, int32_t existsCode,
            NewFileReaders readers = NewFileReaders::asUsual);
    ~NewFile();
    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;

    /** Appends the PEM text of a certificate. @throws CmnException 14 */
    void write(const X509* certificate);
    /** Appends the PEM text of a private key, PKCS#8 without encryption. @throws CmnException 14 */
    void write(const EVP_PKEY* key);
    /** Appends bytes. @throws CmnException 14 */
    void write(const unsigned char* data, size_t length);
    /** Closes the file, which then stays. @throws CmnException 14 */
    void finish();

private:
    [[noreturn]] void failExisting(int32_t code) const;
    [[noreturn]] void failWriting() const;

    const char* m_function;
    const std::string& m_path;
    OpenSslPtr<BIO> m_bio;
    std::FILE* m_file = nullptr; ///< while it is not finished; raw, as its closing may fail
};

} // namespace CmnCrypto

#endif

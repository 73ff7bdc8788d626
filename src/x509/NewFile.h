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
 * A certificate file that did not exist before, or no file at all: it is written under a hidden name beside its path,
 * so that nobody ever meets half of it and an interrupt leaves nothing in the way. finish() gives it its name, of which
 * two processes that race for it one does not get; without finish() it goes again.
 */
class NewFile {
public:
    /** In place of a code for existing files: this one takes the place of what is there. */
    static constexpr int32_t replaces = 0;

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
    /** Closes the file, still under its hidden name: nothing that could fill a disk is left to do. @throws CmnException
     *  14 */
    void complete();
    /** Gives the file, completed or not yet, its name: it stays. @throws CmnException 14, the constructor's
     *  existsCode, 12 when the name is not to be had */
    void finish();

private:
    [[noreturn]] void failExisting() const;
    [[noreturn]] void failOpening() const;
    [[noreturn]] void failWriting() const;

    const char* m_function;
    std::string m_path;
    std::string m_hidden; ///< where it is written; empty once it has its name
    int32_t m_existsCode;
    OpenSslPtr<BIO> m_bio;
    std::FILE* m_file = nullptr; ///< while it is not finished; raw, as its closing may fail
};

} // namespace CmnCrypto

#endif

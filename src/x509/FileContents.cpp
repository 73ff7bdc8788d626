#include "x509/FileContents.h"

#include <cstdio>

#include "frame/Failure.h"
#include "frame/FileSystem.h"

namespace CmnCrypto {

namespace {

constexpr size_t largest = size_t{64} * 1024 * 1024;

struct CloseFile {
    void operator()(std::FILE* file) const noexcept { std::fclose(file); } // NOLINT(cert-err33-c): it was only read
};

/** Appends a file to @p bytes. @return the status */
int append(std::FILE* file, BIO* bytes) {
    char piece[4096];
    size_t total = 0;
    int result = 0;
    size_t count = 0;
    while (result == 0 && (count = std::fread(piece, 1, sizeof piece, file)) > 0) {
        total += count;
        if (total > largest) {
            result = codeReadFailed;
        } else if (BIO_write(bytes, piece, static_cast<int>(count)) != static_cast<int>(count)) {
            result = codeNoMemory;
        }
    }
    OPENSSL_cleanse(piece, sizeof piece);
    return result == 0 && std::ferror(file) != 0 ? codeReadFailed : result;
}

} // namespace

int FileContents::read(const std::string& path) {
    m_bytes.reset(BIO_new(BIO_s_mem()));
    if (!m_bytes) {
        return codeNoMemory;
    }
    const std::unique_ptr<std::FILE, CloseFile> file(openFile(path, "rb"));
    if (!file) {
        return codeOpenFailed;
    }
    // The stream's own buffer would keep a private key after the file is closed.
    std::setvbuf(file.get(), nullptr, _IONBF, 0); // NOLINT(cert-err33-c): buffered it works as well
    return append(file.get(), m_bytes.get());
}

OpenSslPtr<BIO> FileContents::view() const {
    const char* data = nullptr;
    const long length = BIO_get_mem_data(m_bytes.get(), &data);
    return OpenSslPtr<BIO>(BIO_new_mem_buf(data == nullptr ? "" : data, static_cast<int>(length)));
}

} // namespace CmnCrypto

#include "x509/OwnerFile.h"

#include <cerrno>
#include <exception>
#include <fcntl.h>
#include <io.h>
#include <windows.h>

#include "frame/Wide.h"
#include "frame/windows/OwnerRights.h"

namespace CmnCrypto {

namespace {

std::FILE* opened(HANDLE handle, const wchar_t* name) noexcept {
    const int descriptor = ::_open_osfhandle(reinterpret_cast<intptr_t>(handle), _O_BINARY);
    std::FILE* const file = descriptor < 0 ? nullptr : ::_fdopen(descriptor, "wb");
    if (file == nullptr) {
        if (descriptor >= 0) {
            ::_close(descriptor);
        } else {
            ::CloseHandle(handle);
        }
        ::DeleteFileW(name);
    }
    return file;
}

} // namespace

std::FILE* createOwnerFile(const std::string& path) noexcept {
    try {
        const std::wstring name = wide(path);
        const SecurityDescriptorPtr descriptor = ownerRights();
        SECURITY_ATTRIBUTES attributes = {sizeof attributes, descriptor.get(), FALSE};
        const HANDLE handle = descriptor ? ::CreateFileW(name.c_str(), GENERIC_WRITE, 0, &attributes, CREATE_NEW,
                                                         FILE_ATTRIBUTE_NORMAL, nullptr)
                                         : INVALID_HANDLE_VALUE;
        if (handle == INVALID_HANDLE_VALUE) {
            errno = ::GetLastError() == ERROR_FILE_EXISTS ? EEXIST : EACCES;
            return nullptr;
        }
        return opened(handle, name.c_str());
    } catch (const std::exception&) {
        errno = ENOMEM;
        return nullptr;
    }
}

} // namespace CmnCrypto

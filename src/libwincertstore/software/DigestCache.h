#ifndef CMNCRYPTO_LIBWINCERTSTORE_SOFTWARE_DIGESTCACHE_H
#define CMNCRYPTO_LIBWINCERTSTORE_SOFTWARE_DIGESTCACHE_H

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>

namespace CmnCrypto::WinCertStore {

/** The SHA-1 digests of the certificates in files, so that many searches of one open store read each file once, unless
 *  it changes. */
class DigestCache {
public:
    /** To be asked before a file is read. @return whether it is as it was and holds another certificate
     *  @throws std::bad_alloc */
    bool excludes(const std::string& path, const std::string& sha1) {
        std::error_code error;
        const std::filesystem::path file = std::filesystem::u8path(path);
        const auto written = std::filesystem::last_write_time(file, error);
        const uintmax_t size = error ? 0 : std::filesystem::file_size(file, error);
        if (error) {
            return false;
        }
        Known& known = m_known[path];
        if (known.written != written || known.size != size) {
            known = {written, size, {}};
        }
        return !known.sha1.empty() && known.sha1 != sha1;
    }

    /** Takes the digest of a file that has been read after the question for it. */
    void learn(const std::string& path, const std::string& sha1) {
        if (const auto known = m_known.find(path); known != m_known.end()) {
            known->second.sha1 = sha1;
        }
    }

private:
    struct Known {
        std::filesystem::file_time_type written;
        uintmax_t size = 0;
        std::string sha1; ///< 20 bytes; empty as long as it is not known
    };
    std::map<std::string, Known> m_known;
};

} // namespace CmnCrypto::WinCertStore

#endif

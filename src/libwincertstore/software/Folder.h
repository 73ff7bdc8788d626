#ifndef CMNCRYPTO_LIBWINCERTSTORE_SOFTWARE_FOLDER_H
#define CMNCRYPTO_LIBWINCERTSTORE_SOFTWARE_FOLDER_H

#include <string>
#include <vector>

namespace CmnCrypto::WinCertStore {

/** What an entry of a folder is, links being followed. */
enum class EntryKind { file, folder, other };

/** @return what stands under a path; other also for nothing, and for what would keep a reader waiting: a pipe, a device
 */
EntryKind kindOfEntry(const std::string& path) noexcept;

/** @return the names of all entries of a folder, hidden ones aside, sorted; none when it cannot be read:
 *  errno, else 0, tells then why where the system does
 *  @throws std::bad_alloc */
std::vector<std::string> namesIn(const std::string& folder);

} // namespace CmnCrypto::WinCertStore

#endif

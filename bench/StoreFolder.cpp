#include "StoreFolder.h"

#include <filesystem>
#include <fstream>

#include "Material.h"
#include "Pairs.h"

std::string storeFolder(int count) {
    namespace fs = std::filesystem;
    const fs::path folder = CMNCRYPTO_BENCH_LISTS "/store-" + std::to_string(count);
    if (!fs::exists(folder)) {
        const fs::path begun = folder.string() + ".new"; // what an interrupted run leaves is not taken for a store
        fs::remove_all(begun);
        fs::create_directories(begun / "MY");
        const std::string certificates = certificatesPem(count);
        const std::string end = "-----END CERTIFICATE-----\n";
        size_t done = 0;
        for (int number = 0; number < count; ++number) {
            const size_t next = certificates.find(end, done) + end.size();
            std::ofstream file(begun / "MY" / (std::to_string(number) + ".pem"));
            file << certificates.substr(done, next - done) << keyMaterial().pkcs8;
            require(file.good(), "writing a store");
            done = next;
        }
        fs::rename(begun, folder);
    }
    return folder.string();
}

#ifndef CMNCRYPTO_TESTS_FIPS_WORLD_H
#define CMNCRYPTO_TESTS_FIPS_WORLD_H

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>

#include "testlib/Pki.h"
#include "testlib/Platform.h"
#include "testlib/Testlib.h"

namespace testlib {

/** The folder with the provider, which need not be there. */
inline std::string fipsProvider() {
    return std::getenv("CMNCRYPTO_FIPS_PROVIDER") != nullptr ? std::getenv("CMNCRYPTO_FIPS_PROVIDER")
                                                             : CMNCRYPTO_TEST_FIPS_PROVIDER;
}

inline std::string fipsModule() {
    return fipsProvider() + "/modules/fips" + moduleSuffix;
}

/** OpenSSL set up around a FIPS provider, sound or not, for processes in which it has not been used yet. */
class World {
public:
    /**
     * @param providers that the configuration names, activated where "!" stands behind; "only" at the end lets it ask
     *                  for FIPS algorithms from the start
     * @param damage "": none; to the module: "flipped" (a byte), "empty", "missing"; to its configuration: "checksum",
     *               "unnamed"
     */
    explicit World(const std::string& providers = "fips", const std::string& damage = "") {
        if (isInside()) {
            return;
        }
        std::string module = damage == "empty" ? "" : contentOf(fipsModule());
        std::string section = contentOf(fipsProvider() + "/fipsmodule.cnf"), list, only;
        const auto flip = [](std::string& content, const std::string& behind) {
            char& character = content.at(content.find(behind) + behind.size());
            character = character == '0' ? '1' : '0';
        };
        damage == "flipped" ? flip(module, "OpenSSL FIPS") : void();
        damage == "checksum" ? flip(section, "module-mac = ") : void();
        providers.find("fips!") == std::string::npos ? flip(section, "activat") : void(); // to a word without a meaning
        std::istringstream words(providers);
        for (std::string word; words >> word;) {
            const std::string name = word.substr(0, word.find('!'));
            only = name == "only" ? "alg_section = algorithms\n" : "";
            const std::string line = name + (name == "fips" ? "=fips_sect\n" : "=active\n");
            list += name == "only" || damage == "unnamed" ? "" : line;
        }
        m_folder = std::filesystem::temp_directory_path() / ("cmncrypto-" + std::to_string(std::random_device()()));
        EXPECT_TRUE(std::filesystem::create_directory(m_folder));
        static const std::string modules = // before there was a world
            std::getenv("OPENSSL_MODULES") != nullptr ? std::getenv("OPENSSL_MODULES")
                                                      : OPENSSL_info(OPENSSL_INFO_MODULES_DIR);
        const std::string legacy = std::string("legacy") + moduleSuffix;
        std::filesystem::copy_file(modules + "/" + legacy, m_folder / legacy);
        std::ofstream(m_folder / ((damage == "missing" ? "other" : "fips") + std::string(moduleSuffix)),
                      std::ios::binary)
            << module;
        std::ofstream(m_folder / "openssl.cnf")
            << "openssl_conf = init\n" + section + "\n[init]\nproviders = list\n" + only + "[algorithms]\n" +
                   "default_properties = fips=yes\n[active]\nactivate = 1\n[list]\n" + list;
    }
    ~World() {
        std::error_code ignored;
        std::filesystem::remove_all(m_folder, ignored);
    }
    /** Runs a body in a process of its own. */
    void run(const std::function<void()>& body) const {
        if (!isInside()) {
            setEnvironment("OPENSSL_CONF", (m_folder / "openssl.cnf").string());
            setEnvironment("OPENSSL_MODULES", m_folder.string());
            setEnvironment(inside, "1");
        }
        inOwnProcess([&] {
            captureLog();
            body();
        });
        if (!m_folder.empty()) {
            setEnvironment(inside, "");
        }
    }

private:
    static constexpr const char* inside = "CMNCRYPTO_WORLD";
    /** Where there is no fork(), a process of its own runs the whole test up to here, in the world of who began it. */
    static bool isInside() {
        const char* const value = std::getenv(inside);
        return value != nullptr && *value != '\0';
    }

    std::filesystem::path m_folder; // not a Folder, whose name OpenSSL makes
};

/** Skips where there is no provider. */
class Fips : public testing::Test {
protected:
    void SetUp() override {
        if (!std::filesystem::exists(fipsModule())) {
            GTEST_SKIP() << "no FIPS provider in " << fipsProvider() << "; scripts/build-openssl fips makes one";
        }
    }
};

} // namespace testlib

#endif

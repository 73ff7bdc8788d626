#ifndef CMNCRYPTO_TESTS_FIPS_WORLD_H
#define CMNCRYPTO_TESTS_FIPS_WORLD_H

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "testlib/Pki.h"
#include "testlib/Testlib.h"

namespace testlib {

/** The folder with the provider, which need not be there. */
inline std::string fipsProvider() {
    return std::getenv("CMNCRYPTO_FIPS_PROVIDER") != nullptr ? std::getenv("CMNCRYPTO_FIPS_PROVIDER")
                                                             : CMNCRYPTO_TEST_FIPS_PROVIDER;
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
        std::string module = damage == "empty" ? "" : contentOf(fipsProvider() + "/modules/fips.so");
        std::string section = contentOf(fipsProvider() + "/fipsmodule.cnf"), named, only;
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
            named += name == "only" || damage == "unnamed" ? "" : line;
        }
        m_folder = (std::filesystem::temp_directory_path() / "cmncrypto-XXXXXX").string();
        EXPECT_NE(mkdtemp(m_folder.data()), nullptr);
        std::filesystem::create_symlink(OPENSSL_info(OPENSSL_INFO_MODULES_DIR) + std::string("/legacy.so"),
                                        m_folder + "/legacy.so");
        std::ofstream(m_folder + (damage == "missing" ? "/other.so" : "/fips.so"), std::ios::binary) << module;
        std::ofstream(m_folder + "/openssl.cnf")
            << "openssl_conf = init\n" + section + "\n[init]\nproviders = list\n" + only + "[algorithms]\n" +
                   "default_properties = fips=yes\n[active]\nactivate = 1\n[list]\n" + named;
    }
    ~World() { std::filesystem::remove_all(m_folder); }
    /** Runs a body in a process of its own. */
    void run(const std::function<void()>& body) const {
        inOwnProcess([&] {
            setenv("OPENSSL_CONF", (m_folder + "/openssl.cnf").c_str(), 1);
            setenv("OPENSSL_MODULES", m_folder.c_str(), 1);
            captureLog();
            body();
        });
    }

private:
    std::string m_folder; // not a Folder, whose name OpenSSL makes
};

/** Skips where there is no provider. */
class Fips : public testing::Test {
protected:
    void SetUp() override {
        if (!std::filesystem::exists(fipsProvider() + "/modules/fips.so")) {
            GTEST_SKIP() << "no FIPS provider in " << fipsProvider() << "; scripts/build-openssl fips makes one";
        }
    }
};

} // namespace testlib

#endif

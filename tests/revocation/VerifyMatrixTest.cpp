#include <cstdio>
#include <map>
#include <set>
#include <sstream>

#include "revocation/Situations.h"
#include "testlib/FakeStore.h"
#include "testlib/Platform.h"
#include "testlib/Testlib.h"

namespace {

/** Every chain meets the first lists, and the first chains meet every list. */
constexpr size_t shared = 7;

class VerifyMatrix : public testing::Test {
protected:
    /** Asks X509Store and OpenSSL, and notes what to ask the command: with no level, once for all lists. */
    void verify(const std::string& trusted, const std::string& chain, const std::string& lists, int level) {
        const std::string situation = trusted + " " + chain + " " + lists + " " + std::to_string(level) + "\n";
        const Verdict verdict(trusted + "+" + lists, chain, level == 0 ? 0 : level == 1 ? 4 : 12);
        X509Store& store = m_stores[level][trusted.empty() ? 1 : 0];
        if (!trusted.empty()) {
            store.setTrustedCerts(pemFrom(trusted));
        }
        store.setCrl(pemFrom(lists));
        if (level > 0) {
            store.setCrlCheckLevel(crl_check_level(level));
        }
        EXPECT_EQ(store.verifyX509Cert(pemFrom(chain)), 0);
        const bool agrees = store.getStatus().message == verdict.message() && store.getStatus().code == verdict.error &&
                            store.getStatus().verified == (verdict.error == 0) &&
                            store.getVerifiedCertChain() == verdict.built;
        if (!agrees && !sortsStably && hasRivals(trusted + "+" + lists)) {
            return; // which of them OpenSSL tries first is chance
        }
        EXPECT_TRUE(agrees) << situation << store.getStatus().message << '\n' << verdict.message();
        m_questions.emplace(std::pair(commandFor(trusted, chain, level == 0 ? "" : lists, level), verdict.message()),
                            situation);
        m_errors.insert(verdict.error);
    }

    /** @return whether two certificates or two lists have one name */
    static bool hasRivals(const std::string& texts) {
        std::multiset<std::string> names;
        for (const std::string& text : pieces(texts, '+')) {
            const std::string name = text.substr(0, text.find_first_of("<|"));
            names.insert(text.find('<') == std::string::npos ? "list " + name : name);
        }
        return std::set<std::string>(names.begin(), names.end()).size() < names.size();
    }

    /** Runs the commands, two at a time, and compares what each complains about first. */
    void askCommand() {
        std::string halves[2];
        size_t number = 0;
        for (const auto& [question, situation] : m_questions) {
            halves[number % 2] += "echo '#" + std::to_string(number) + "'\n" + question.first + "\n";
            ++number;
        }
        const std::string other = m_folder.path("other");
        const std::string script = m_folder.write("script", "exec 2>&1\n(" + halves[0] + ") >" + other + " 2>&1 &\n" +
                                                                halves[1] + "wait\ncat " + other);
        std::vector<std::string> answers(number);
        const std::optional<std::string> output = outputOf(script);
        if (!output) {
            return; // the command is the same on every system
        }
        std::istringstream lines(*output);
        for (std::string line; std::getline(lines, line);) {
            Verdict verdict;
            if (std::sscanf(line.c_str(), "#%zu", &number) == 1 || !answers.at(number).empty()) {
                continue;
            }
            if (line.find(": OK") != std::string::npos ||
                std::sscanf(line.c_str(), "error %d at %d depth", &verdict.error, &verdict.depth) == 2) {
                answers[number] = verdict.message();
            }
        }
        number = 0;
        for (const auto& [question, situation] : m_questions) {
            EXPECT_EQ(answers[number++], question.second) << question.first << "\n" << situation;
        }
    }

    /** The command that asks the same: with -trusted it has trust from nowhere else, and no purpose. */
    std::string commandFor(const std::string& trusted, const std::string& chain, const std::string& lists, int level) {
        constexpr const char* flags[] = {" ", " -crl_check ", " -crl_check_all "};
        const std::string file = fileOf(chain);
        return "openssl verify -untrusted " + file +
               (trusted.empty() ? " -no-CAfile -no-CApath -no-CAstore" : " -trusted " + fileOf(trusted)) +
               (lists.empty() ? "" : " -CRLfile " + fileOf(lists)) + flags[level] + file;
    }
    std::string fileOf(const std::string& texts) {
        return m_folder.write(std::to_string(std::hash<std::string>()(texts)), pemFrom(texts));
    }

    const Folder m_folder;
    X509Store m_stores[3][2]; ///< by level and whether nothing is ever trusted; each is used all the time
    std::map<std::pair<std::string, std::string>, std::string> m_questions; ///< command and answer; whose they are
    std::set<int> m_errors;
};

TEST_F(VerifyMatrix, AgreesWithOpenSslAndItsCommand) {
    const auto chains = readRows("verify-chains.txt");
    const auto lists = readRows("verify-lists.txt");
    size_t situations = 0;
    for (size_t chain = 0; chain < chains.size(); ++chain) {
        const std::string issuer = chains[chain][1].substr(chains[chain][1].find('<') + 1);
        for (size_t list = 0; list < (chain < shared ? lists.size() : shared); ++list, ++situations) {
            std::string text = lists[list][0];
            for (size_t at = 0; (at = text.find('@')) != std::string::npos;) {
                text.replace(at, 1, issuer.substr(0, issuer.find_first_of("+|")));
            }
            for (int level = 0; level <= 2; ++level) {
                verify(chains[chain][0], chains[chain][1], text, level);
            }
        }
    }
    askCommand();
    EXPECT_TRUE(situations >= 500 && m_errors.size() >= 20) << situations << " of " << m_errors.size() << " kinds";
}

} // namespace

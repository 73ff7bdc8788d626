// Names, certificates, chains, keys and revocation lists when a call into OpenSSL or the C library, or an allocation
// fails.

#include <sstream>
#include <thread>

#include "faults/Faults.h"
#include "faults/Operations.h"
#include "testlib/Platform.h"

namespace {

struct Row {
    std::string operation, function, calls, outcome;
    std::vector<std::string> log; ///< patterns
};

std::vector<std::string> split(const std::string& line) {
    const std::string separator = " | ";
    std::vector<std::string> fields;
    for (size_t begin = 0, end = 0; end != std::string::npos; begin = end + separator.size()) {
        end = line.find(separator, begin);
        fields.push_back(line.substr(begin, end - begin));
    }
    return fields;
}

/** A line of the log with its level and function. */
std::string pattern(const std::string& operation, std::string text) {
    const std::string function = operation.substr(0, operation.find(' ', operation.find(')') + 1)); // "f(const string)"
    const bool isNamed = (text.find(": ") + 1 == text.find(' ') && text.rfind("Error:", 0) != 0) ||
                         text.find("): ") != std::string::npos;
    const size_t at = text.find('@');
    if (at != std::string::npos) {
        text.replace(at, 1, faults::queued);
    }
    return "16 - " + (isNamed ? "" : function + ": ") + text;
}

std::vector<Row> faultRows() {
    std::vector<Row> rows;
    std::istringstream file(
        contentOf(CMNCRYPTO_TEST_DATA "/x509-faults.txt") + contentOf(CMNCRYPTO_TEST_DATA "/revocation-faults.txt") +
        contentOf(CMNCRYPTO_TEST_DATA "/tls-faults.txt") + contentOf(CMNCRYPTO_TEST_DATA "/bridge-faults.txt"));
    std::string operation;
    for (std::string line; std::getline(file, line);) {
        if (line[0] == '[') {
            operation = line.substr(1, line.size() - 2);
        } else if (!line.empty() && line[0] != '#') {
            const std::vector<std::string> fields = split(line);
            const size_t blank = fields[0].find(' ');
            Row row = {operation, fields[0].substr(0, blank), fields[0].substr(blank + 1), fields[1], {}};
            for (size_t i = 2; i < fields.size() && fields[i] != "~"; ++i) {
                row.log.push_back(pattern(operation, fields[i]));
            }
            if (fields.size() == 2) {
                row.log.push_back(pattern(operation, row.outcome.substr(row.outcome.find(' ') + 1)));
            }
            rows.push_back(row);
        }
    }
    return rows;
}

std::string outcomeOf(const std::function<std::string()>& operation) {
    std::string result;
    try {
        const std::string exception = thrown([&] { result = operation(); });
        return !exception.empty() ? exception : result.empty() ? "=" : "= " + result;
    } catch (const CrlConversionException& exception) {
        return std::to_string(exception.getErrorCode()) + " " + exception.what();
    } catch (const std::bad_alloc&) {
        return "no memory";
    }
}

bool has(const std::string& text, std::initializer_list<const char*> parts) {
    return std::any_of(parts.begin(), parts.end(), [&](const char* part) { return text.find(part) + 1 > 0; });
}

/** Runs on a thread of its own, which keeps nothing from before, with an error that the host has left. */
void onNewThread(const std::string& name, const std::function<void()>& body) {
    std::thread([&] {
        SCOPED_TRACE(name);
        queueHostError();
        body();
        faults::clear();
        const std::string left = getAndClearSslErrStack();
        EXPECT_TRUE(left[0] == 'N' || left.find(hostErrorMark) != std::string::npos) << left;
    }).join();
}

TEST(X509Faults, EachRow) {
    const Folder folder;
    const faults::Operations operations = faults::x509Operations(folder);
    captureLog();
    for (const Row& row : faultRows()) {
        const std::string name = row.operation + " without " + row.function + " " + row.calls;
        SCOPED_TRACE(name);
        if (row.function == "new") {
            continue; // keeping the log allocates as well
        }
        takeLog();
        std::string outcome;
        onNewThread(name, [&] {
            faults::plan(row.function, row.calls);
            outcome = outcomeOf(operations.at(row.operation));
        });
        EXPECT_EQ(outcome, row.outcome);
        EXPECT_TRUE(failuresLogged(row.log));
    }
}

/** Whichever call fails: what comes of it is in one of the rows, or as if nothing had failed; and nothing leaks. */
TEST(X509Faults, EachCall) {
    set_log_callback([](int, const char*, const char*) { return 0; },
                     [](int, int, const char*, const char*) { return 0; });
    const Folder folder;
    const std::vector<Row> rows = faultRows();
    size_t struck = 0;
    for (const auto& entry : faults::x509Operations(folder)) {
        const auto& operation = entry.second;
        const bool isSilent = has(entry.first, {"CrlUtil::", "CrlConverter::", "Crl::set", "Crl::is"});
        std::map<std::string, size_t> calls;
        std::string whole;
        onNewThread(entry.first, [&] { calls = faults::calls([&] { whole = outcomeOf(operation); }); });
        for (const auto& [function, count] : calls) {
            const bool isMemory = has(function, {"new", "alloc", "dup", "_Zn"});
            // What only hands out a part of an object fails in rows alone: elsewhere nobody looks at the answer.
            // Nor does a push fail where room was reserved.
            const bool fails = !has(function, {"clea", "_is_fips", "get0_", "get_issuer", "get_data", "sk_value"}) &&
                               function != "time" &&
                               (function != "OPENSSL_sk_push" || calls.count("OPENSSL_sk_new_reserve") == 0);
            for (size_t call = 0; fails && call < count; ++call, ++struck) {
                const std::string name = entry.first + " without " + function + " " + std::to_string(call);
                SCOPED_TRACE(name);
                std::string outcome;
                std::string afterwards;
                onNewThread(name, [&, f = function] {
                    faults::plan(f, std::string(call, '.') + "x");
                    outcome = outcomeOf(operation);
                    faults::clear();
                    afterwards = outcomeOf(operation);
                });
                const bool isListed = std::any_of(rows.begin(), rows.end(), [&](const Row& row) {
                    return row.operation == entry.first && row.outcome == outcome;
                });
                // Where the system takes names of files in another form, memory for that can be short.
                const bool isName = !posixNames && function == "new" && outcome == "12 Failed to open cert file";
                EXPECT_TRUE(outcome == whole || isListed || isName || (isMemory && !isSilent && outcome == "no memory"))
                    << outcome;
                EXPECT_EQ(afterwards, whole);
            }
        }
    }
    EXPECT_GT(struck, 300U);
}

} // namespace

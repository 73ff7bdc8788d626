#ifndef CMNCRYPTO_REVOCATION_LISTLOG_H
#define CMNCRYPTO_REVOCATION_LISTLOG_H

#include "testlib/Testlib.h"

namespace testlib {

/** Takes the record and compares it with the lines of a case in list-log.txt. */
inline testing::AssertionResult loggedAs(const std::string& name) {
    std::vector<std::string> patterns;
    for (const auto& row : readRows("list-log.txt")) {
        if (row[0] == name) {
            patterns.push_back(row[1]);
            for (size_t at = 2; at < row.size(); ++at) {
                patterns.back() += " " + (row[at].empty() ? "-" : row[at]);
            }
        }
    }
    return logged("* - Crl", patterns) << " " << name;
}

} // namespace testlib

#endif

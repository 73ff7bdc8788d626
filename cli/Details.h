/** @file
 * Results of several lines: aligned for people, one JSON document for scripts.
 */
#ifndef CMNCRYPTO_CLI_DETAILS_H
#define CMNCRYPTO_CLI_DETAILS_H

#include <string>
#include <vector>

#include "Printable.h"
#include "Report.h"

namespace CmnCrypto::Cli {

/** Collects lines and members in order; what is wrong comes last. */
class Details {
public:
    /**
     * @param label of the line; empty: in the document only
     * @param member of the document; empty: in the text only
     * @param value a list takes one line per element, null none
     */
    void add(const std::string& label, const std::string& member, const Json& value,
             Backslash backslash = Backslash::escape);
    /** Adds the lines of a part and, as one member unless that is empty, its members; its problems stay out. */
    void addPart(const std::string& member, const Details& part);
    /** Adds a sentence about something that is wrong. */
    void problem(const std::string& text);
    bool hasProblems() const noexcept { return !m_problems.empty(); }

    /** @return the members alone */
    const Json& members() const noexcept { return m_members; }
    /** @return the members, with the problems as a list */
    Json document() const;
    /** Prints all of it. @throws Failure (output cannot be written) */
    void print(bool json) const;
    /** @return the lines, the problems last: a reader such as head takes what is written at once as a whole */
    std::string text() const;
    /** Prints the document, or, where the output tells enough by itself, the problems as warnings. */
    void printOrWarn(bool json, bool quiet) const;

private:
    struct Line {
        std::string label;
        std::string text;
    };

    Json m_members = Json::object();
    std::vector<Line> m_lines;
    std::vector<std::string> m_problems;
};

} // namespace CmnCrypto::Cli

#endif

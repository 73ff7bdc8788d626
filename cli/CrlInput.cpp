#include "CrlInput.h"

#include <new>
#include <utility>

#include "PemInput.h"

namespace CmnCrypto::Cli {

namespace {

constexpr int noMemory = 36; ///< the library's code

} // namespace

CrlInput::CrlInput(std::string name, Extent extent) : m_name(std::move(name)) {
    EncodedLists encoded = encodedLists(m_name);
    m_pem = encoded.pem;
    m_count = encoded.der.size();
    for (BinaryData& der : encoded.der) {
        Crl list;
        const int code = list.setDerCrl(der);
        if (code == noMemory) {
            throw std::bad_alloc();
        }
        if (code != 0) {
            throw Failure(ExitCode::inputUnreadable,
                          inputLabel(m_name) + ": revocation list " + std::to_string(m_lists.size() + 1) +
                              " cannot be decoded; give a list in PEM or DER, or fetch it again",
                          code);
        }
        der = {}; // the list has a copy
        m_lists.push_back(std::move(list));
        if (extent == Extent::first) {
            return;
        }
    }
}

void CrlInput::addTo(Details& details, const std::string& label) const {
    details.add(label, "input", m_name);
    details.add("Format", "format", isPem() ? "PEM" : "DER");
    details.add("", "listsInInput", m_count);
}

void CrlInput::addFurtherLists(Details& details) const {
    if (m_count > m_lists.size()) {
        details.problem("further lists: " + inputLabel(m_name) + " holds " + std::to_string(m_count) +
                        ", only the first was looked at");
    }
}

} // namespace CmnCrypto::Cli

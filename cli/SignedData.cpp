#include "SignedData.h"

#include "InputFile.h"

namespace CmnCrypto::Cli {

std::string readSignedData(const std::string& name) {
    InputFile input(name);
    std::string data;
    data.reserve(static_cast<size_t>(input.size().value_or(0)) + InputFile::pieceSize);
    size_t count = InputFile::pieceSize;
    while (count == InputFile::pieceSize) {
        const size_t filled = data.size();
        data.resize(filled + InputFile::pieceSize);
        count = input.read(reinterpret_cast<unsigned char*>(data.data()) + filled, InputFile::pieceSize);
        data.resize(filled + count);
    }
    return data;
}

} // namespace CmnCrypto::Cli

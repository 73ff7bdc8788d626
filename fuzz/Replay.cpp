// Feeds the files of a folder to a harness, where there is no libFuzzer.

#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

int main(int, char** arguments) {
    size_t replayed = 0;
    for (const auto& entry : std::filesystem::directory_iterator(arguments[1])) {
        std::ifstream file(entry.path(), std::ios::binary);
        const std::string input{std::istreambuf_iterator<char>(file), {}};
        std::cout << entry.path() << std::endl; // first, as an input that fails ends the process
        LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(input.data()), input.size());
        ++replayed;
    }
    return replayed > 0 ? 0 : 1;
}

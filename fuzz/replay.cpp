// Runs a target over the saved inputs of a folder, where no fuzzer drives it.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "target.h"

int main(int argc, char** argv) {
    int inputs = 0;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(argc == 2 ? argv[1] : "", error)) {
        std::ifstream file(entry.path(), std::ios::binary);
        const std::string content{std::istreambuf_iterator<char>(file), {}};
        printf("%s\n", entry.path().c_str());
        fflush(stdout);
        require(file.good() || file.eof());
        const std::vector<uint8_t> input(content.begin(), content.end());
        LLVMFuzzerTestOneInput(input.data(), input.size());
        ++inputs;
    }
    printf("%d inputs\n", inputs);
    return inputs == 0 || error ? 1 : 0;
}

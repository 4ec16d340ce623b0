// Runs a fuzz target's inputs once each, as libFuzzer does when given files, for builds without
// libFuzzer: every file of the folders (or the files) named on the command line goes through it.
// An input that once crashed a target stays a test this way.

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerInitialize(int*, char***);
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

int main(int argc, char** argv) {
    namespace fs = std::filesystem;
    LLVMFuzzerInitialize(&argc, &argv);
    std::vector<fs::path> inputs;
    for (int i = 1; i < argc; ++i) {
        const fs::path given = fs::absolute(argv[i]);  // the target may change the current folder
        if (fs::is_directory(given)) {
            for (const auto& entry : fs::directory_iterator(given))
                if (entry.is_regular_file() && entry.path().filename() != "README") inputs.push_back(entry.path());
        } else if (fs::exists(given)) {
            inputs.push_back(given);
        }
    }
    for (const auto& input : inputs) {
        std::ifstream in(input, std::ios::binary);
        const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        std::printf("%s\n", input.c_str());
        std::fflush(stdout);
        LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
    }
    std::printf("%zu inputs replayed\n", inputs.size());
    return 0;
}

#include "support/TempHome.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>

namespace vesk::test {
namespace {

std::filesystem::path makeHome() {
    std::string pattern = (std::filesystem::temp_directory_path() / "vesk-test-home-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
    ::setenv("HOME", pattern.c_str(), 1);
    return pattern;
}

// Removes the temporary HOME after the last test of the process.
class TempHomeEnvironment : public ::testing::Environment {
public:
    void TearDown() override {
        std::error_code ec;
        std::filesystem::remove_all(tempHome(), ec);
    }
};

// Set up at static initialisation, before any test code can read HOME.
const bool kRegistered = (tempHome(), ::testing::AddGlobalTestEnvironment(new TempHomeEnvironment), true);

}  // namespace

const std::filesystem::path& tempHome() {
    static const std::filesystem::path home = makeHome();
    return home;
}

std::filesystem::path makeTempDir(const std::string& prefix) {
    std::string pattern = (tempHome() / (prefix + "-XXXXXX")).string();
    if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
    return pattern;
}

std::string readFile(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream content;
    content << in.rdbuf();
    return content.str();
}

}  // namespace vesk::test

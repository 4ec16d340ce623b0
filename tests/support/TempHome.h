#pragma once
// A fresh HOME folder for one test process, removed when the process ends.

#include <filesystem>
#include <string>

namespace vesk::test {

// The temporary HOME set up before any test of this process runs.
const std::filesystem::path& tempHome();

// A new empty folder inside the temporary HOME.
std::filesystem::path makeTempDir(const std::string& prefix = "dir");

// The whole content of a file; empty when it cannot be read.
std::string readFile(const std::filesystem::path& path);

}  // namespace vesk::test

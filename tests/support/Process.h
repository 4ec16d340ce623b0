#pragma once
// Runs a shell command for the tests and captures what it prints.

#include <filesystem>
#include <string>

namespace vesk::test {

struct CommandResult {
    int exitCode = -1;
    std::string output;  // standard output only
};

CommandResult runCommand(const std::string& command);

// Quotes a text for the shell.
std::string shellQuote(const std::string& text);
// A path quoted for the shell.
inline std::string q(const std::filesystem::path& path) { return shellQuote(path.string()); }

}  // namespace vesk::test

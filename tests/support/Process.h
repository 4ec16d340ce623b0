#pragma once
// Runs a shell command for the tests and captures what it prints.

#include <string>

namespace vesk::test {

struct CommandResult {
    int exitCode = -1;
    std::string output;  // standard output only
};

CommandResult runCommand(const std::string& command);

// Quotes a text for the shell.
std::string shellQuote(const std::string& text);

}  // namespace vesk::test

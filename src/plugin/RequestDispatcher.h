#pragma once
// The single door of the module: one JSON request text in, one JSON answer text out.

#include <string>

namespace Vesk::Crypto {

// Always leaves a non-empty answer in result and returns true; failures travel in "error".
bool executeJsonRequest(const std::string& request, std::string& result);

// Runs a file of requests, one per line ("//" comments and empty lines skipped), and returns
// the answers, each followed by an empty line.
std::string executeCommandsFromFile(const std::string& path);

}  // namespace Vesk::Crypto

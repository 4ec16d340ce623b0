#pragma once
// The one rule of command files, read by the module's command-file runner and the command-line
// host's batch mode alike: one request per line; empty lines, a lone CR and lines starting with
// "//" hold none.

#include <string>

namespace Vesk::Crypto {

inline bool isCommandFileComment(const std::string& line) {
    return line.empty() || line == "\r" || line.compare(0, 2, "//") == 0;
}

}  // namespace Vesk::Crypto

#pragma once
// Finds an installed CryptoPro tool set and remembers its path in the settings.

#include <filesystem>
#include <string>
#include <vector>

namespace Vesk::Crypto::fstools {

bool cryptoproIsInstalled();
// The same, searching the given roots instead of the system's.
bool cryptoproIsInstalledUnder(const std::vector<std::filesystem::path>& roots);

// The search itself, over the given roots: the first entry named like one of the names.
// An error while walking ends the whole search.
bool findCryptoProTool(const std::vector<std::filesystem::path>& roots, const std::vector<std::string>& names);

}  // namespace Vesk::Crypto::fstools

#pragma once
// The file services of the request protocol: read a file as base64, write one from base64.

#include <filesystem>
#include <string>
#include <string_view>

namespace Vesk::Crypto {

std::string getFileAsBase64(const std::filesystem::path& path);
// The text may be a span of the request itself, so a large document is not copied first.
std::string saveFileFromBase64String(const std::filesystem::path& path, std::string_view b64);

}  // namespace Vesk::Crypto

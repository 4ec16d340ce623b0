#pragma once
// The file services of the request protocol: read a file as base64, write one from base64.

#include <filesystem>
#include <string>

namespace Vesk::Crypto {

std::string getFileAsBase64(const std::filesystem::path& path);
std::string saveFileFromBase64String(const std::filesystem::path& path, const std::string& b64);

}  // namespace Vesk::Crypto

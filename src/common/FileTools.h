#pragma once
// Whole-file reading and writing. Nothing here throws for a missing or unreadable file:
// each function answers false after one log line.

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace Vesk::Crypto::fstools {

template <typename Byte>
bool readFileToVector(const std::filesystem::path& path, std::vector<Byte>& out);

template <typename Byte>
bool saveVectorToFile(const std::filesystem::path& path, const std::vector<Byte>& data);

// Writes bytes to a temporary file beside the target, then renames it into place, so the
// target is either left as it was or replaced whole.
bool writeFileAtomically(const std::filesystem::path& path, const void* data, size_t size);

bool saveStringToFile(const std::filesystem::path& path, std::string& text);

bool readFileAsBase64(const std::filesystem::path& path, std::string& out);
// The text may be a span of a larger request: it is decoded straight from there.
bool saveFileFromBase64(const std::filesystem::path& path, std::string_view b64);

bool pathExists(const std::filesystem::path& path);

}  // namespace Vesk::Crypto::fstools

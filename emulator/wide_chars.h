#pragma once

#include <string>

namespace cades_emulator {

// UTF-32 wchar_t text to UTF-8; invalid code points become U+FFFD.
std::string wideToUtf8(const std::wstring& wide);
// UTF-8 to UTF-32; invalid sequences become U+FFFD, or make `valid` false.
std::wstring utf8ToWide(const std::string& utf8, bool* valid = nullptr);

}  // namespace cades_emulator

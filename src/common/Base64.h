#pragma once
// Base64 with the standard alphabet, "=" padding and no line breaks.

#include <cstddef>
#include <filesystem>
#include <string>

namespace Vesk::Crypto {
namespace base64 {

std::string encode(const std::string& in);
std::string encode(const void* data, size_t size);
// Never fails: text that is not base64 yields the bytes decoded before the first bad character.
std::string decode(const std::string& in);
// The same decoding over text that is not held in a string (a span of a larger request).
std::string decode(const char* text, size_t size);

// Encodes a stream of bytes piece by piece into one growing text.
class StreamEncoder {
public:
    explicit StreamEncoder(std::string& out) : out_(out) {}
    void update(const void* data, size_t size);
    void finish();

private:
    std::string& out_;
    unsigned char pending_[3] = {};
    size_t pendingSize_ = 0;
};

}  // namespace base64

// A path argument of a request: base64 of its UTF-8 bytes.
std::filesystem::path getPathFromBase64(const std::string& text);

}  // namespace Vesk::Crypto

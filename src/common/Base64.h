#pragma once
// Base64 with the standard alphabet, "=" padding and no line breaks.

#include "common/ByteSink.h"

#include <cstddef>
#include <filesystem>
#include <string>

namespace Vesk::Crypto {
namespace base64 {

std::string encode(const std::string& in);
std::string encode(const void* data, size_t size);
// Never fails. Decoding takes the longest run of alphabet characters at the start and stops at
// the first other one (a line break or "=" too: padding ends the input), keeping what came
// before; a last group of two or three characters gives one or two bytes, unpadded or not.
std::string decode(const std::string& in);
// The same decoding over text that is not held in a string (a span of a larger request).
std::string decode(const char* text, size_t size);
// The same decoding, handed to `sink` in blocks of at most 48 KiB, so that a large text need not
// be held decoded as a whole. Stops, answering false, as soon as the sink answers false.
bool decode(const char* text, size_t size, const ByteSink& sink);
// The number of bytes decoding the text gives.
size_t decodedSize(const char* text, size_t size);

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

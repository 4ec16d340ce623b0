#include "common/Base64.h"

#include "common/Logging.h"

#include <openssl/evp.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>
#include <vector>

namespace Vesk::Crypto {
namespace base64 {
namespace {

constexpr size_t kBlockInput = size_t{3} * 16 * 1024;  // whole groups of three, so blocks join without padding
constexpr size_t kBlockText = size_t{4} * 16 * 1024;   // whole groups of four

size_t encodedSize(size_t size) { return (size + 2) / 3 * 4; }

// Appends the base64 text of data; only the very last call may see a size that is not a multiple of 3.
void appendEncoded(std::string& out, const unsigned char* data, size_t size) {
    while (size > 0) {
        const size_t chunk = std::min(size, kBlockInput);
        const size_t start = out.size();
        out.resize(start + encodedSize(chunk) + 1);
        const int written =
            EVP_EncodeBlock(reinterpret_cast<unsigned char*>(&out[start]), data, static_cast<int>(chunk));
        out.resize(start + static_cast<size_t>(written));
        data += chunk;
        size -= chunk;
    }
}

const std::array<bool, 256>& alphabet() {
    static const auto table = [] {
        std::array<bool, 256> characters{};
        for (const char c : std::string_view("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/"))
            characters[static_cast<unsigned char>(c)] = true;
        return characters;
    }();
    return table;
}

bool inAlphabet(unsigned char c) { return alphabet()[c]; }

size_t decodablePrefixLength(const unsigned char* text, size_t size) {
    size_t length = 0;
    while (length < size && inAlphabet(text[length])) ++length;
    return length;
}

// Decodes `length` alphabet characters that end the text: whole groups, then a short last group
// of two or three characters (one or two bytes), which OpenSSL takes once padded.
bool decodeLast(const unsigned char* source, size_t length, unsigned char* block, const ByteSink& sink) {
    const size_t whole = length / 4 * 4;
    EVP_DecodeBlock(block, source, static_cast<int>(whole));
    size_t bytes = whole / 4 * 3;
    if (length - whole > 1) {
        unsigned char group[4] = {'=', '=', '=', '='};
        std::copy(source + whole, source + length, group);
        unsigned char tail[3];
        EVP_DecodeBlock(tail, group, 4);
        std::copy(tail, tail + (length - whole - 1), block + bytes);
        bytes += length - whole - 1;
    }
    return bytes == 0 || sink(reinterpret_cast<const char*>(block), bytes);
}

}  // namespace

std::string encode(const void* data, size_t size) {
    std::string out;
    out.reserve(encodedSize(size));
    appendEncoded(out, static_cast<const unsigned char*>(data), size);
    return out;
}

std::string encode(const std::string& in) {
    VLOG_VERBOSE << "[F] encode";
    return encode(in.data(), in.size());
}

bool decode(const char* text, size_t size, const ByteSink& sink) {
    // OpenSSL decodes whole groups of four and refuses a block holding any character outside the
    // alphabet but "=" (and trims white space at its ends, which the edge checks rule out). So a
    // block that passes is decoded in one pass; only the block where the text ends is scanned.
    std::vector<unsigned char> block(kBlockText / 4 * 3 + 2);  // and a short last group
    const auto* source = reinterpret_cast<const unsigned char*>(text);
    for (size_t done = 0;;) {
        const size_t chunk = std::min(size - done, kBlockText) / 4 * 4;
        const unsigned char* at = source + done;
        if (chunk > 0 && inAlphabet(at[0]) && inAlphabet(at[chunk - 1]) && std::memchr(at, '=', chunk) == nullptr &&
            EVP_DecodeBlock(block.data(), at, static_cast<int>(chunk)) == static_cast<int>(chunk / 4 * 3)) {
            if (!sink(reinterpret_cast<const char*>(block.data()), chunk / 4 * 3)) return false;
            done += chunk;
            continue;
        }
        // The text ends in this block (or in the last characters, fewer than a group).
        return decodeLast(at, decodablePrefixLength(at, std::min(size - done, kBlockText)), block.data(), sink);
    }
}

size_t decodedSize(const char* text, size_t size) {
    const size_t length = decodablePrefixLength(reinterpret_cast<const unsigned char*>(text), size);
    const size_t tail = length % 4;
    return length / 4 * 3 + (tail > 1 ? tail - 1 : 0);
}

std::string decode(const std::string& in) {
    VLOG_VERBOSE << "[F] decode";
    return decode(in.data(), in.size());
}

std::string decode(const char* text, size_t size) {
    std::string out;
    out.reserve(size / 4 * 3 + 2);
    decode(text, size, [&out](const char* bytes, size_t count) {
        out.append(bytes, count);
        return true;
    });
    return out;
}

void StreamEncoder::update(const void* data, size_t size) {
    const auto* bytes = static_cast<const unsigned char*>(data);
    while (pendingSize_ > 0 && pendingSize_ < 3 && size > 0) {
        pending_[pendingSize_++] = *bytes++;
        --size;
    }
    if (pendingSize_ == 3) {
        appendEncoded(out_, pending_, 3);
        pendingSize_ = 0;
    }
    const size_t whole = size / 3 * 3;
    appendEncoded(out_, bytes, whole);
    for (size_t i = whole; i < size; ++i) pending_[pendingSize_++] = bytes[i];
}

void StreamEncoder::finish() {
    appendEncoded(out_, pending_, pendingSize_);
    pendingSize_ = 0;
}

}  // namespace base64

std::filesystem::path getPathFromBase64(const std::string& text) {
    return std::filesystem::u8path(base64::decode(text));
}

}  // namespace Vesk::Crypto

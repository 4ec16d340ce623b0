#include "common/Base64.h"

#include "common/Logging.h"

#include <openssl/evp.h>

#include <algorithm>
#include <array>
#include <string_view>

namespace Vesk::Crypto {
namespace base64 {
namespace {

constexpr size_t kBlockInput = 3 * 16 * 1024;  // whole groups of three, so blocks join without padding
constexpr size_t kBlockText = 4 * 16 * 1024;   // whole groups of four

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

size_t decodablePrefixLength(const char* text, size_t size) {
    static const auto alphabet = [] {
        std::array<bool, 256> table{};
        for (const char c : std::string_view("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/"))
            table[static_cast<unsigned char>(c)] = true;
        return table;
    }();
    size_t length = 0;
    while (length < size && alphabet[static_cast<unsigned char>(text[length])]) ++length;
    return length;
}

size_t decodedSize(size_t alphabetCharacters) {
    const size_t tail = alphabetCharacters % 4;
    return alphabetCharacters / 4 * 3 + (tail > 1 ? tail - 1 : 0);
}

std::string decode(const std::string& in) {
    VLOG_VERBOSE << "[F] decode";
    return decode(in.data(), in.size());
}

std::string decode(const char* text, size_t size) {
    // OpenSSL decodes whole groups of four; the framing around it (where the text ends, the short
    // last group) is ours.
    const size_t length = decodablePrefixLength(text, size);
    const size_t whole = length / 4 * 4;
    std::string out(decodedSize(length), '\0');
    auto* dest = reinterpret_cast<unsigned char*>(out.data());
    const auto* source = reinterpret_cast<const unsigned char*>(text);
    for (size_t done = 0; done < whole;) {
        const size_t chunk = std::min(whole - done, kBlockText);
        EVP_DecodeBlock(dest, source + done, static_cast<int>(chunk));
        dest += chunk / 4 * 3;
        done += chunk;
    }
    if (length - whole > 1) {
        // Two or three characters stand for one or two bytes; padded, OpenSSL takes them too.
        unsigned char group[4] = {'=', '=', '=', '='};
        std::copy(source + whole, source + length, group);
        unsigned char bytes[3];
        EVP_DecodeBlock(bytes, group, 4);
        std::copy(bytes, bytes + (length - whole - 1), dest);
    }
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

#include "common/CanonicalBase64.h"

#include <openssl/evp.h>

#include <array>
#include <cstdint>

namespace Vesk::Crypto::base64 {
namespace {

constexpr std::string_view kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr size_t kBlockText = 4 * 16 * 1024;  // decoded block by block, while the text is in cache

// The six-bit value of each alphabet character; 0xff for every other byte.
constexpr std::array<std::uint8_t, 256> makeValues() {
    std::array<std::uint8_t, 256> values{};
    for (auto& value : values) value = 0xff;
    for (size_t i = 0; i < kAlphabet.size(); ++i) values[static_cast<unsigned char>(kAlphabet[i])] = static_cast<std::uint8_t>(i);
    return values;
}
constexpr std::array<std::uint8_t, 256> kValues = makeValues();

bool allInAlphabet(const char* text, size_t size) {
    std::uint8_t any = 0;
    for (size_t i = 0; i < size; ++i) any |= kValues[static_cast<unsigned char>(text[i])];
    return (any & 0x80) == 0;
}

}  // namespace

std::optional<std::string> decodeCanonical(std::string_view text) {
    if (text.size() % 4 != 0) return std::nullopt;
    std::string out;
    if (text.empty()) return out;

    // The last group is checked apart: its padding, and zero bits under it.
    const std::string_view last = text.substr(text.size() - 4);
    const size_t padding = last[3] != '=' ? 0 : last[2] != '=' ? 1 : 2;
    if (!allInAlphabet(last.data(), 4 - padding)) return std::nullopt;
    if (padding == 1 && (kValues[static_cast<unsigned char>(last[2])] & 0x03) != 0) return std::nullopt;
    if (padding == 2 && (kValues[static_cast<unsigned char>(last[1])] & 0x0f) != 0) return std::nullopt;

    out.resize(text.size() / 4 * 3);
    auto* dest = reinterpret_cast<unsigned char*>(out.data());
    const auto* source = reinterpret_cast<const unsigned char*>(text.data());
    const size_t body = text.size() - 4;
    for (size_t at = 0; at < body; at += kBlockText) {
        const size_t chunk = std::min(kBlockText, body - at);
        if (!allInAlphabet(text.data() + at, chunk)) return std::nullopt;
        EVP_DecodeBlock(dest + at / 4 * 3, source + at, static_cast<int>(chunk));
    }
    // The padding signs decode as zero bits here; the bytes they stand for are dropped.
    unsigned char group[4];
    for (size_t i = 0; i < 4; ++i) group[i] = i < 4 - padding ? source[body + i] : 'A';
    EVP_DecodeBlock(dest + body / 4 * 3, group, 4);
    out.resize(out.size() - padding);
    return out;
}

}  // namespace Vesk::Crypto::base64

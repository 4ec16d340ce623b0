#include "common/Base64.h"

#include <gtest/gtest.h>

#include <random>

using namespace Vesk::Crypto;

namespace {

std::string randomBytes(size_t size, unsigned seed) {
    std::mt19937 generator(seed);
    std::string bytes(size, '\0');
    for (auto& byte : bytes) byte = static_cast<char>(generator());
    return bytes;
}

// Bit by bit, the plainest reading of the rule: alphabet characters up to the first other one.
std::string referenceDecode(const std::string& text) {
    static const std::string alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string out;
    unsigned bits = 0;
    int count = 0;
    for (const char c : text) {
        const size_t value = c == '\0' ? std::string::npos : alphabet.find(c);
        if (value == std::string::npos) break;
        bits = (bits << 6) | static_cast<unsigned>(value);
        if ((count += 6) >= 8) out += static_cast<char>((bits >> (count -= 8)) & 0xFF);
    }
    return out;
}

}  // namespace

TEST(Base64, KnownTextsAndLenientDecoding) {
    using Pairs = std::vector<std::pair<std::string, std::string>>;
    for (const auto& [bytes, text] : Pairs{{"", ""}, {"a", "YQ=="}, {"ab", "YWI="}, {"abc", "YWJj"}})
        EXPECT_EQ(base64::encode(bytes), text);
    // Text outside the alphabet is no error; it just yields what came before it.
    const Pairs decoded = {{"YWI=", "ab"},           {"", ""},      {"@@@not base64!!", ""},
                           {{"YWJj\0I=", 7}, "abc"}, {"YWI", "ab"}, {"YWJj*", "abc"}};
    for (const auto& [text, bytes] : decoded) EXPECT_EQ(base64::decode(text), bytes) << text;
    EXPECT_EQ(getPathFromBase64(base64::encode("/tmp/Отчёт за май.pdf")).string(), "/tmp/Отчёт за май.pdf");
}

TEST(Base64, RoundTripAcrossBlockBoundariesAndStreamingMatchesOneShot) {
    for (const size_t size : std::vector<size_t>{1, 2, 3, 49151, 49152, 49153, 200001}) {
        const auto bytes = randomBytes(size, static_cast<unsigned>(size));
        const auto text = base64::encode(bytes);
        ASSERT_EQ(text.size(), (size + 2) / 3 * 4) << size;
        ASSERT_EQ(text.find_first_of("\r\n"), std::string::npos) << size;
        ASSERT_EQ(base64::decode(text), bytes) << size;

        std::string streamed;
        base64::StreamEncoder encoder(streamed);
        for (size_t offset = 0, step = 1; offset < size; offset += step, step = step % 7 + 1)
            encoder.update(bytes.data() + offset, std::min(step, size - offset));
        encoder.finish();
        ASSERT_EQ(streamed, text) << size;
    }
}

// The decoder takes whole blocks at once: a text that ends anywhere around their edges, by any
// byte outside the alphabet, must still give exactly the bytes before it, streamed or whole.
TEST(Base64, TextEndingAnywhereAroundBlockEdgesDecodesUpToItsEnd) {
    const std::string text = base64::encode(randomBytes(3 * 49152 + 30, 7));
    std::mt19937 generator(11);
    for (const size_t edge : {size_t{0}, size_t{65536}, size_t{131072}})
        for (size_t at = edge > 6 ? edge - 6 : 0; at < edge + 6; ++at)
            for (const char stop : {'=', '\n', ' ', '*', '-', '\0', '\xC3', static_cast<char>(generator() | 0x80)}) {
                std::string cut = text;
                cut[at] = stop;
                SCOPED_TRACE("byte " + std::to_string(static_cast<unsigned char>(stop)) + " at " + std::to_string(at));
                const std::string expected = referenceDecode(cut);
                ASSERT_EQ(base64::decode(cut), expected);
                ASSERT_EQ(base64::decodedSize(cut.data(), cut.size()), expected.size());
                std::string streamed;
                ASSERT_TRUE(base64::decode(cut.data(), cut.size(), [&streamed](const char* bytes, size_t size) {
                    return streamed.append(bytes, size), size <= 49152;
                }));
                ASSERT_EQ(streamed, expected);
            }
    EXPECT_EQ(base64::decode(text.substr(0, 65537)), referenceDecode(text.substr(0, 65537)));
    EXPECT_FALSE(base64::decode(text.data(), text.size(), [](const char*, size_t) { return false; }));
}

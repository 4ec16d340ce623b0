// The fast decoding of plain base64 must give exactly what base64::decode gives, and must step
// aside for every text that is not plain base64.

#include "common/Base64.h"
#include "common/CanonicalBase64.h"

#include <gtest/gtest.h>

#include <random>

using namespace Vesk::Crypto;

TEST(CanonicalBase64, DecodesPlainTextAsTheCodecAndStepsAsideOtherwise) {
    std::mt19937 generator(11);
    const std::string noise = "=@ \n\r\t-_.\\\"\x80\xff";
    for (size_t size = 0; size < 300; ++size) {
        std::string bytes(size, '\0');
        for (auto& byte : bytes) byte = static_cast<char>(generator() & 0xff);
        const std::string text = base64::encode(bytes);
        const auto decoded = base64::decodeCanonical(text);
        ASSERT_TRUE(decoded.has_value()) << text;
        EXPECT_EQ(*decoded, bytes);
        if (text.empty()) continue;

        // One damaged character anywhere: either not plain (left to the codec) or the codec's bytes.
        for (int round = 0; round < 8; ++round) {
            std::string damaged = text;
            damaged[generator() % damaged.size()] = noise[generator() % noise.size()];
            if (const auto fast = base64::decodeCanonical(damaged)) {
                EXPECT_EQ(*fast, base64::decode(damaged)) << damaged;
            }
        }
        EXPECT_FALSE(base64::decodeCanonical(text.substr(0, text.size() - 1)).has_value());
        if (size % 3 != 0) {
            EXPECT_FALSE(base64::decodeCanonical(text + "QQ==").has_value());
        }
    }
    for (const char* text : {"YWI=", "YWJj", "YQ==", "YWJjZA=="}) {
        EXPECT_EQ(base64::decodeCanonical(text).value(), base64::decode(text)) << text;
    }
    // Padding inside, bits under the padding, padding alone, characters outside the alphabet.
    for (const char* text : {"YQ==YWJj", "YR==", "YWJ=", "====", "Y===", "YW I", "YWJj\n", "YW-j", "YW_j"}) {
        EXPECT_FALSE(base64::decodeCanonical(text).has_value()) << text;
    }
}

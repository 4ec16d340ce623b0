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

}  // namespace

TEST(Base64, KnownTextsAndLenientDecoding) {
    EXPECT_EQ(base64::encode(std::string()), "");
    EXPECT_EQ(base64::encode(std::string("a")), "YQ==");
    EXPECT_EQ(base64::encode(std::string("ab")), "YWI=");
    EXPECT_EQ(base64::encode(std::string("abc")), "YWJj");
    EXPECT_EQ(base64::decode("YWI="), "ab");
    EXPECT_EQ(base64::decode(""), "");
    // Text outside the alphabet is no error; it just yields what could be decoded.
    EXPECT_NO_THROW(base64::decode("@@@not base64!!"));
    EXPECT_NO_THROW(base64::decode(std::string("YW\0I=", 5)));
    EXPECT_EQ(getPathFromBase64(base64::encode("/tmp/Отчёт за май.pdf")).string(), "/tmp/Отчёт за май.pdf");
}

TEST(Base64, RoundTripAcrossBlockBoundariesAndStreamingMatchesOneShot) {
    for (size_t size : {size_t{1}, size_t{2}, size_t{3}, size_t{49151}, size_t{49152}, size_t{49153}, size_t{200001}}) {
        const auto bytes = randomBytes(size, static_cast<unsigned>(size));
        const auto text = base64::encode(bytes);
        ASSERT_EQ(text.size(), (size + 2) / 3 * 4) << size;
        ASSERT_EQ(text.find_first_of("\r\n"), std::string::npos) << size;
        ASSERT_EQ(base64::decode(text), bytes) << size;

        std::string streamed;
        base64::StreamEncoder encoder(streamed);
        for (size_t offset = 0, step = 1; offset < size; offset += step, step = step % 7 + 1) {
            encoder.update(bytes.data() + offset, std::min(step, size - offset));
        }
        encoder.finish();
        ASSERT_EQ(streamed, text) << size;
    }
}

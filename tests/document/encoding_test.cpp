// The Windows-1251 encoding against glibc's own code page table.
#include "document/Win1251Encoding.h"

#include <gtest/gtest.h>
#include <iconv.h>

#include <string>

using Vesk::Crypto::Win1251Encoding;

namespace {

// The code point glibc gives for one CP1251 byte; 0 when the byte has no character.
unsigned codePoint(unsigned char byte) {
    iconv_t converter = iconv_open("UTF-32BE", "CP1251");
    char in[1] = {static_cast<char>(byte)};
    unsigned char out[4] = {};
    char* inPtr = in;
    char* outPtr = reinterpret_cast<char*>(out);
    size_t inLeft = 1, outLeft = 4;
    const bool converted = iconv(converter, &inPtr, &inLeft, &outPtr, &outLeft) != static_cast<size_t>(-1);
    iconv_close(converter);
    return converted ? (unsigned(out[0]) << 24 | unsigned(out[1]) << 16 | unsigned(out[2]) << 8 | out[3]) : 0;
}

}  // namespace

TEST(Win1251Encoding, MatchesTheCodePageAndEncodesCyrillic) {
    const Win1251Encoding* encoding = Win1251Encoding::instance();
    for (int byte = 0; byte < 256; ++byte) {
        const PoDoFo::pdf_utf16be be = encoding->GetCharCode(byte);  // big-endian, as PoDoFo hands it out
        const unsigned unicode = static_cast<unsigned>((be & 0xff) << 8 | (be >> 8));
        EXPECT_EQ(codePoint(static_cast<unsigned char>(byte)), unicode) << "byte 0x" << std::hex << byte;
    }

    const PoDoFo::PdfString text(reinterpret_cast<const PoDoFo::pdf_utf8*>("Ёж №5 Привет"));
    const PoDoFo::PdfRefCountedBuffer encoded = encoding->ConvertToEncoding(text, nullptr);
    EXPECT_EQ(std::string("\xA8\xE6 \xB9"
                          "5 \xCF\xF0\xE8\xE2\xE5\xF2"),
              std::string(encoded.GetBuffer(), encoded.GetSize()));
    EXPECT_EQ(
        "Ёж №5 Привет",
        encoding->ConvertToUnicode(PoDoFo::PdfString(encoded.GetBuffer(), encoded.GetSize()), nullptr).GetStringUtf8());
}

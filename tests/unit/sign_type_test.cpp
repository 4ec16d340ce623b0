// Naming rules between originals and signature files, and the PDF tail test.

#include "crypto/SignTypeDeterminator.h"
#include "support/TempHome.h"

#include <gtest/gtest.h>
#include <boost/optional/optional_io.hpp>

#include <fstream>

using Vesk::Crypto::SignTypeDeterminator;
namespace fs = std::filesystem;

namespace {

fs::path touch(const fs::path& path, const std::string& text = "x") {
    std::ofstream(path) << text;
    return path;
}

}  // namespace

// Signature extensions are known in any case, a .sig is taken before a .dat, and attached with
// detached signatures make a mix.
TEST(SignType, ExtensionsInAnyCaseAndMixedSignatures) {
    const fs::path dir = vesk::test::makeTempDir("names");
    EXPECT_EQ(SignTypeDeterminator::isSignExtension("a.PDF.SIG"), std::make_pair(true, std::string(".sig")));
    EXPECT_EQ(SignTypeDeterminator::isSignExtension("a.Txt"), std::make_pair(false, std::string(".Txt")));
    const fs::path original = touch(dir / "a.PDF");
    EXPECT_EQ(SignTypeDeterminator::getOriginalOf(dir / "a.PDF.SIG"), boost::make_optional(original));
    touch(dir / "a.PDF.dat");
    touch(dir / "a.PDF.sig");
    EXPECT_EQ(SignTypeDeterminator::getSignFor(original), boost::make_optional(dir / "a.PDF.sig"));
    EXPECT_TRUE(SignTypeDeterminator::isDetached(original) && SignTypeDeterminator::isDetached(dir / "a.PDF.sig"));
    EXPECT_FALSE(SignTypeDeterminator::isDetached(touch(dir / "alone.txt")));

    using Info = SignTypeDeterminator::SignFormatInfo;
    EXPECT_TRUE(SignTypeDeterminator::isMixedSign({Info{4, "", ""}, Info{2, "", ""}}));
    EXPECT_FALSE(SignTypeDeterminator::isMixedSign({Info{3, "", ""}, Info{2, "", ""}, Info{5, "", ""}}));
    EXPECT_FALSE(SignTypeDeterminator::isMixedSign({}));
}

TEST(SignType, PdfTailTestLooksAtExactlyFiveBytes) {
    const fs::path dir = vesk::test::makeTempDir("tail");
    EXPECT_FALSE(SignTypeDeterminator::isCpPdfSignFormat(touch(dir / "lf.pdf", "%PDF-1.4\n%%EOF\n")));
    EXPECT_FALSE(SignTypeDeterminator::isCpPdfSignFormat(touch(dir / "cr.PDF", "%PDF-1.4\n%%EOF\r")));
    EXPECT_TRUE(SignTypeDeterminator::isCpPdfSignFormat(touch(dir / "crlf.pdf", "%PDF-1.4\n%%EOF\r\n")));
    EXPECT_TRUE(SignTypeDeterminator::isCpPdfSignFormat(touch(dir / "bare.pdf", "%PDF-1.4\n%%EOF")));
    EXPECT_TRUE(SignTypeDeterminator::isCpPdfSignFormat(touch(dir / "short.pdf", "%%EOF")));
    EXPECT_FALSE(SignTypeDeterminator::isCpPdfSignFormat(touch(dir / "text.txt", "0\x82")));
    EXPECT_FALSE(SignTypeDeterminator::isCpPdfSignFormat(dir / "missing.pdf"));
    EXPECT_FALSE(SignTypeDeterminator::isPAdESSignFormat(dir / "crlf.pdf"));

    // A missing PDF has no signature inside and none beside it.
    const auto formats = SignTypeDeterminator::getSignFormats(dir / "missing.pdf");
    ASSERT_EQ(formats.size(), 1u);
    EXPECT_EQ(formats.front().format, SignTypeDeterminator::UnsignedPdf);
}

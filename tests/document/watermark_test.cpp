// The visible stamp: placement on the chosen pages, readable Cyrillic, line splitting, the frame
// as rendered by poppler, the font fallback and stamping without signing.
#include "pdf_support.h"

#include "crypto/CryptoProviderFactory.h"
#include "document/PAdESTypeSigner.h"

#include <gtest/gtest.h>
#include <podofo/podofo.h>

#include <sstream>

using namespace Vesk::Crypto;
using namespace pdftest;

namespace {

const std::string kOwner = "Владелец: Иванов Иван Иванович";
const std::string kLong = "Сертификат 0123456789ABCDEF01 действителен с 01.01.2024 по 01.01.2044 включительно";

// Box from 10 % to 70 % of the page width, its top 80 % down the page.
SignOptions stampOptions(const fs::path& in, const fs::path& out, int page, std::vector<std::string> lines) {
    SignOptions options = padesOptions(in, out);
    options.watermark.page = page;
    options.watermark.x = 10;
    options.watermark.y = 80;
    options.watermark.x2 = 70;
    for (auto& text : lines) {
        WatermarkOptions::WatermarkStrings line;
        line.text = std::move(text);
        options.watermark.strings.push_back(line);
    }
    return options;
}

RequestApiResultPtr signPdf(const SignOptions& options) {
    InternalSignOptions internal;
    return PAdESTypeSigner(CryptoProviderFactory::getSigner(CryptoProvider::CryptoPro),
                           CryptoProviderFactory::getVerifycator(CryptoProvider::CryptoPro))
        .sign(options, internal);
}

bool has(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

// True when one line of the text holds both parts.
bool hasLine(const std::string& text, const std::string& first, const std::string& second) {
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        if (has(line, first) && has(line, second)) return true;
    }
    return false;
}

// Number of pixels darker than the white page inside a rectangle given in PDF points, on the page
// rendered at 72 dpi (one pixel per point).
int inkIn(const fs::path& pdf, int page, double left, double bottom, double right, double top) {
    const fs::path prefix = pdf.parent_path() / ("page" + std::to_string(page));
    const std::string n = std::to_string(page);
    run("pdftoppm -r 72 -gray -singlefile -f " + n + " -l " + n + " " + quote(pdf) + " " + quote(prefix));
    const Bytes pgm = cptest::readFile(prefix.string() + ".pgm");
    int width = 0, height = 0, depth = 0, offset = 0;
    if (std::sscanf(reinterpret_cast<const char*>(pgm.data()), "P5 %d %d %d%n", &width, &height, &depth, &offset) != 3)
        throw std::runtime_error("not a PGM");
    const unsigned char* pixels = pgm.data() + offset + 1;
    int ink = 0;
    for (int y = std::max(0, int(height - top)); y < std::min(height, int(height - bottom)); ++y)
        for (int x = std::max(0, int(left)); x < std::min(width, int(right)); ++x) ink += pixels[y * width + x] < 250;
    return ink;
}

// The widget rectangle of the signature field, read back with PoDoFo.
PoDoFo::PdfRect fieldRect(const fs::path& pdf) {
    PoDoFo::PdfMemDocument document(pdf.c_str());
    for (PoDoFo::PdfObject* object : document.GetObjects()) {
        if (!object->IsDictionary()) continue;
        const PoDoFo::PdfObject* type = object->GetDictionary().GetKey("FT");
        if (type != nullptr && type->IsName() && type->GetName() == PoDoFo::PdfName("Sig"))
            return PoDoFo::PdfRect(object->GetDictionary().GetKey("Rect")->GetArray());
    }
    throw std::runtime_error("no signature field");
}

}  // namespace

TEST(Watermark, StampsTheChosenPagesWithOneSignature) {
    const fs::path pdf = makePdf("three.pdf");
    const std::pair<int, std::vector<int>> cases[] = {{-1, {3}}, {1, {2}}, {-2, {1, 2, 3}}};
    for (const auto& [selector, stamped] : cases) {
        SCOPED_TRACE("page " + std::to_string(selector));
        const fs::path out = pdf.parent_path() / ("stamp" + std::to_string(selector) + ".pdf");
        const auto result = signPdf(stampOptions(
            pdf, out, selector, {"Документ подписан электронной подписью", kOwner, "Serial 0x0123456789ABCDEF01"}));
        ASSERT_TRUE(result->success) << (result->errors.empty() ? "" : result->errors.front());
        for (int page = 1; page <= 3; ++page) {
            const bool expected = std::find(stamped.begin(), stamped.end(), page) != stamped.end();
            const std::string text = pageText(out, page);
            EXPECT_EQ(expected, has(text, kOwner)) << "page " << page;
            EXPECT_EQ(expected, has(text, "Serial 0x0123456789ABCDEF01")) << "page " << page;
        }
        const auto signatures = embeddedSignatures(out);
        ASSERT_EQ(1u, signatures.size());
        EXPECT_TRUE(cptest::opensslVerifies(signatures[0].signature, &signatures[0].signedData));
        int code = -1;
        run("qpdf --check " + quote(out), &code);
        EXPECT_EQ(0, code);
    }
    // A page the document does not have.
    const auto result = signPdf(stampOptions(pdf, pdf.parent_path() / "none.pdf", 7, {kOwner}));
    EXPECT_FALSE(result->success);
    EXPECT_EQ(0u, result->errors.at(0).rfind("tr{Error on create watermark:} ", 0));
}

TEST(Watermark, DrawsAFramedStampAndSplitsLongLines) {
    const fs::path pdf = makePdf("frame.pdf");
    SignOptions options = stampOptions(pdf, pdf.parent_path() / "split.pdf", -1, {kOwner, kLong});
    options.watermark.clickable = true;
    ASSERT_TRUE(signPdf(options)->success);

    // Text and frame lie in the box's upper left, which the unstamped first page leaves white.
    const double left = 0.1 * 595, top = 0.2 * 842;
    EXPECT_GT(inkIn(options.output_file, 3, left - 10, top - 40, left + 200, top + 10), 300);
    EXPECT_EQ(0, inkIn(options.output_file, 1, left - 10, top - 40, left + 200, top + 10));
    EXPECT_EQ(0, inkIn(options.output_file, 3, 0.75 * 595, 100, 595, 400)) << "nothing right of the box";

    std::string text = pageText(options.output_file, 3);
    EXPECT_TRUE(has(text, "Сертификат 0123456789ABCDEF01")) << text;
    EXPECT_FALSE(has(text, kLong)) << "the long line is split";
    EXPECT_TRUE(has(text, "включительно"));
    const PoDoFo::PdfRect clickable = fieldRect(options.output_file);
    EXPECT_GT(clickable.GetWidth(), 200);
    EXPECT_NEAR(left - 7, clickable.GetLeft(), 0.5);

    options.watermark.split_long_strings = false;
    options.watermark.clickable = false;
    options.output_file = pdf.parent_path() / "whole.pdf";
    ASSERT_TRUE(signPdf(options)->success);
    text = pageText(options.output_file, 3);
    EXPECT_TRUE(has(text, kLong)) << text;
    const PoDoFo::PdfRect hidden = fieldRect(options.output_file);
    EXPECT_EQ(0, hidden.GetWidth());
    EXPECT_EQ(0, hidden.GetHeight());
}

TEST(Watermark, UnknownFontFallsBackToCourierNewAndKeepsCyrillic) {
    const fs::path pdf = makePdf("font.pdf", {1, "", 0});
    SignOptions options = stampOptions(pdf, pdf.parent_path() / "fallback.pdf", -1, {kOwner, "Latin only"});
    for (auto& line : options.watermark.strings) line.font = "No Such Font Family";
    // No corners given: the default box, 5 % from the left and 85 % down the page.
    options.watermark.x = options.watermark.y = options.watermark.x2 = options.watermark.y2 = -1;
    ASSERT_TRUE(signPdf(options)->success);
    EXPECT_GT(inkIn(options.output_file, 1, 0.05 * 595 - 10, 0.15 * 842 - 40, 0.05 * 595 + 150, 0.15 * 842 + 10), 200);
    const std::string fonts = run("pdffonts " + quote(options.output_file));
    // Latin text keeps WinAnsi; the Cyrillic line takes the Windows-1251 differences ("Custom").
    EXPECT_TRUE(hasLine(fonts, "LiberationMono", "WinAnsi")) << fonts;
    EXPECT_TRUE(hasLine(fonts, "LiberationMono", "Custom")) << fonts;
    const std::string text = pageText(options.output_file, 1);
    EXPECT_TRUE(has(text, kOwner)) << text;
    EXPECT_TRUE(has(text, "Latin only"));
}

TEST(Watermark, StampsACopyWithoutSigning) {
    const fs::path pdf = makePdf("plain.pdf");
    const Bytes original = cptest::readFile(pdf);
    PAdESTypeSigner signer(nullptr);
    InternalSignOptions internal;
    // The box's top lies just above the page's bottom: the text is moved up to stay on the page.
    SignOptions options = stampOptions(pdf, pdf.parent_path() / "stamped.pdf", -2, {kOwner, "Второй ряд"});
    options.watermark.y = 99;
    auto result = signer.addWatermarkToPdf(options, internal);
    ASSERT_TRUE(result->success) << (result->errors.empty() ? "" : result->errors.front());
    EXPECT_EQ(original, cptest::readFile(pdf));
    for (int page = 1; page <= 3; ++page) {
        const std::string text = pageText(options.output_file, page);
        EXPECT_TRUE(has(text, kOwner) && has(text, "Второй ряд")) << text;
    }
    int code = -1;
    run("qpdf --check " + quote(options.output_file), &code);
    EXPECT_EQ(0, code);
    EXPECT_TRUE(embeddedSignatures(options.output_file).empty());

    // Without lines the copy is the input as it is.
    options.watermark.strings.clear();
    options.output_file = pdf.parent_path() / "copy.pdf";
    ASSERT_TRUE(signer.addWatermarkToPdf(options, internal)->success);
    EXPECT_EQ(original, cptest::readFile(options.output_file));
}

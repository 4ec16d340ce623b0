// The PDF signer's own rules through the module: the signature dictionary and its reserve, field
// names, co-signing over invalid signatures, save_with_errors, stamps on chosen pages, split
// lines, the clickable field and the font fallback. Judged by openssl, qpdf, pdfsig, pdftotext
// and pdffonts.

#include "ModuleClient.h"
#include "SignedInputs.h"

#include "crypto/CryptoProviderFactory.h"
#include "document/PAdESTypeSigner.h"
#include "document/PdfSignVerifycator.h"
#include "support/Process.h"
#include "support/TempHome.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace vesk::test;
using nlohmann::json;
namespace fs = std::filesystem;

namespace {

bool has(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }
std::string pageText(const fs::path& pdf, int n) {
    return runCommand("pdftotext -f " + std::to_string(n) + " -l " + std::to_string(n) + " " + q(pdf) + " -").output;
}
const std::string kOwner = "Владелец: Иванов Иван Иванович";

class PdfSigningRules : public ::testing::Test {
protected:
    void SetUp() override {
        useCadesLibrary(cadesLibraryUnderTest());
        dir = makeTempDir("rules");
    }
    json sign(const fs::path& file, const fs::path& output, const json& extra = json::object(),
              const std::string& serial = kIvanov) {
        return client.requestJson(signRequest(file.string(), output.string(), "PAdES", serial, extra));
    }
    // A signing that must succeed and pass the judge of written PDFs and qpdf --check (the stamp
    // `seen` where given, else as requested): openssl's verdict on the signature of each ByteRange
    // (trusting the test PKI). Every hole holds the CAdES-BES reserve of 16344 bytes, and the last
    // ByteRange reaches the end of the file.
    std::vector<bool> signedHoles(const fs::path& file, const fs::path& pdf, const json& extra = json::object(),
                                  const std::string& serial = kIvanov, std::optional<StampSeen> seen = {}) {
        EXPECT_EQ(sign(file, pdf, extra, serial), answerWith(pdf));
        if (!seen && extra.contains("watermark")) seen = stampOf(extra["watermark"]);
        judgeWrittenPdf(file, pdf, seen);
        expectQpdfClean(pdf);
        const std::string bytes = readFile(pdf);
        const auto signatures = pdfSignatures(bytes);
        std::vector<bool> found;
        for (const PdfSignature& s : signatures) {
            EXPECT_TRUE(s.wellFormed);
            EXPECT_EQ(s.c - s.b, 2u * 16344 + 2);
            writeBytes(dir / "hole.der", s.der);
            writeBytes(dir / "ranges.bin", s.covered);
            found.push_back(openssl("cms -verify -binary -inform DER -in " + q(dir / "hole.der") + " -content " +
                                    q(dir / "ranges.bin") + " -CAfile " + q(pki("pem/trusted.pem")) +
                                    " -out /dev/null") == 0);
        }
        EXPECT_EQ(signatures.empty() ? 0 : signatures.back().c + signatures.back().d, bytes.size());
        return found;
    }
    // A stamp of `lines` in the box from 10 % to 70 % of the width, its top 80 % down the page. A
    // box at the foot is moved up, and an unsplit line runs on to the page's edge.
    std::vector<bool> stamped(const fs::path& out, int page, const std::vector<std::string>& lines,
                              json more = json::object()) {
        more.update({{"page", page}, {"x", 10}, {"y", more.value("y", 80)}, {"x2", 70}, {"strings", json::array()}});
        for (const auto& line : lines) more["strings"].push_back({{"text", line}});
        StampSeen seen = stampOf(more);
        seen.y = std::min(seen.y, 90.0);
        if (!more.value("split_long_strings", true)) seen.x2 = 100;
        return signedHoles(dir / "doc.pdf", out, {{"watermark", more}}, kIvanov, seen);
    }

    ModuleClient client;
    fs::path dir;
};

}  // namespace

// CAdES-BES reserves 16344 bytes; the dictionary names CryptoPro's filter and the form's SigFlags
// is 2; co-signatures take the next free name, each a revision that keeps the one before and that
// its ByteRange covers to its end. Co-signing needs every earlier signature valid unless forced. A
// file over 16 MiB signs alike.
TEST_F(PdfSigningRules, SignatureDictionaryNamesAndCosigning) {
    makePdf(dir / "doc.pdf", 3);
    EXPECT_EQ(sign(dir / "doc.pdf", dir / "out.pdf", {{"cosign", true}}),
              json::parse(R"({"data":null,"error":"tr{Документ не имеет подписи.}"})"));
    const std::string signers[] = {kIvanov, kIvanov, kIvanov, kPetrova};
    std::string before = readFile(dir / "doc.pdf");
    for (int i = 0; i < 4; ++i) {
        const fs::path out = dir / ("s" + std::to_string(i) + ".pdf");
        EXPECT_EQ(signedHoles(i > 0 ? dir / ("s" + std::to_string(i - 1) + ".pdf") : dir / "doc.pdf", out,
                              {{"cosign", i > 0}}, signers[i]),
                  std::vector<bool>(i + 1, true));
        const std::string now = readFile(out);
        EXPECT_EQ(now.compare(0, before.size(), before), 0) << "the revision before " << i << " changed";
        before = now;
    }
    const std::string listing = judgeSignedPdf(dir / "s2.pdf", dir / "s3.pdf", 4);
    for (const std::string& name : {signers[0] + "\n", signers[0] + "_1\n", signers[0] + "_2\n", signers[3] + "\n"})
        EXPECT_TRUE(has(listing, "Signature Field Name: Sign_" + name)) << listing;
    const json verified = client.requestJson(verifyRequest(dir / "s3.pdf"));
    ASSERT_EQ(verified["data"].size(), 4u) << verified.dump();
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(verified["data"][i]["SerialNumber"], signers[i]) << i;
        EXPECT_EQ(verified["data"][i]["Verifyed"], true) << i;
    }
    std::string bytes = readFile(dir / "s0.pdf");
    EXPECT_TRUE(has(bytes, "/Filter/CryptoPro#20PDF") && has(bytes, "/SigFlags 2"));

    bytes[11] ^= 0x01;  // inside the binary comment after the header, which the signature covers
    writeBytes(dir / "tampered.pdf", bytes);
    const json refused = sign(dir / "tampered.pdf", dir / "out.pdf", {{"cosign", true}});
    EXPECT_EQ(refused["error"].back(), "tr{PAdESTypeSigner::sign CpSigner::addCoSign Signature is not valid}");
    EXPECT_FALSE(fs::exists(dir / "out.pdf"));
    EXPECT_EQ(signedHoles(dir / "tampered.pdf", dir / "out.pdf", {{"cosign", true}, {"cosign_force", true}}),
              (std::vector<bool>{false, true}));

    ASSERT_EQ(runCommand(VESK_SAMPLE_PDF_PATH " " + q(dir / "large.pdf") + " --pages 2 --size-mb 17").exitCode, 0);
    EXPECT_GT(fs::file_size(dir / "large.pdf"), 16u << 20);
    EXPECT_EQ(signedHoles(dir / "large.pdf", dir / "large-signed.pdf"), std::vector<bool>{true});
}

TEST_F(PdfSigningRules, NoPagesSaveWithErrorsAndNoSignatures) {
    ASSERT_EQ(runCommand("qpdf --empty " + q(dir / "empty.pdf")).exitCode, 0);
    const std::string empty = readFile(dir / "empty.pdf");
    EXPECT_EQ(sign(dir / "empty.pdf", dir / "out.pdf"),
              refusal("tr{File} " + (dir / "empty.pdf").string() + " tr{not contains pages}"));
    EXPECT_EQ(readFile(dir / "empty.pdf"), empty);

    // Kept as hosts know it: without save_with_errors nothing is written, yet success is answered.
    makePdf(dir / "doc.pdf");
    EXPECT_EQ(sign(dir / "doc.pdf", dir / "out.pdf", {{"save_with_errors", false}}), answerWith(dir / "out.pdf"));
    EXPECT_FALSE(fs::exists(dir / "out.pdf"));

    // "Файл не содержит подписей" goes to the user untranslated. The module hands the PDF verifier
    // only PDFs that carry a ByteRange, so the verifier is asked directly.
    using namespace Vesk::Crypto;
    const auto verified =
        PdfSignVerifycator(CryptoProviderFactory::getVerifycator(CryptoProvider::CryptoPro)).verify(dir / "doc.pdf");
    ASSERT_TRUE(verified && verified->signers && verified->signers->empty());
    EXPECT_EQ(verified->errors, std::vector<std::string>{"Файл не содержит подписей"});

    // Stamping without signing, which no request does: a stamped copy, or without lines the same bytes.
    SignOptions options;
    options.file = dir / "doc.pdf";
    for (const bool lines : {false, true}) {
        options.output_file = dir / (lines ? "stamped.pdf" : "copy.pdf");
        if (lines) options.watermark.strings.resize(1);
        if (lines) options.watermark.strings[0].text = kOwner;
        InternalSignOptions internal;
        EXPECT_TRUE(PAdESTypeSigner(nullptr).addWatermarkToPdf(options, internal)->success);
    }
    judgeWrittenPdf(dir / "doc.pdf", dir / "stamped.pdf", stampOf({{"strings", {{{"text", kOwner}}}}}));
    EXPECT_TRUE(has(pageText(dir / "stamped.pdf", 2), kOwner));
    EXPECT_EQ(readFile(dir / "copy.pdf"), readFile(dir / "doc.pdf"));
}

// Stamps on the chosen pages only, with one signature; a long line is split unless told not to; a
// clickable stamp's field covers it, otherwise the field is empty; a box at the page's foot is
// moved up so that the text stays on the page.
TEST_F(PdfSigningRules, StampPagesLinesAndField) {
    makePdf(dir / "doc.pdf", 3);
    for (const auto& [page, marks] : std::vector<std::pair<int, std::string>>{{-1, "001"}, {1, "010"}, {-2, "111"}}) {
        const fs::path out = dir / ("stamp" + std::to_string(page) + ".pdf");
        EXPECT_EQ(stamped(out, page, {kOwner, "Serial 0x0123"}).size(), 1u);
        for (int n = 1; n <= 3; ++n) EXPECT_EQ(has(pageText(out, n), kOwner), marks[n - 1] == '1') << page << n;
    }
    const json refused =
        sign(dir / "doc.pdf", dir / "none.pdf", {{"watermark", {{"page", 7}, {"strings", {{{"text", "x"}}}}}}});
    EXPECT_EQ(refused["error"].dump().rfind("[\"tr{Error on create watermark:} ", 0), 0u);
    EXPECT_FALSE(fs::exists(dir / "none.pdf"));

    const std::string line = "Сертификат 0123456789ABCDEF01 действителен с 01.01.2024 по 01.01.2044 включительно";
    const auto rect = [](const fs::path& pdf) {  // the signature field's /Rect, read by qpdf
        const json objects = json::parse(runCommand("qpdf --json=2 --json-key=qpdf " + q(pdf)).output)["qpdf"][1];
        for (const auto& [name, object] : objects.items())
            if (const json value = object.value("value", json()); value.is_object() && value.value("/FT", "") == "/Sig")
                return value["/Rect"];
        return json();
    };
    stamped(dir / "split.pdf", -1, {kOwner, line}, {{"clickable", true}});
    const std::string text = pageText(dir / "split.pdf", 3);
    EXPECT_TRUE(has(text, "Сертификат 0123456789ABCDEF01") && has(text, "включительно") && !has(text, line)) << text;
    const json clickable = rect(dir / "split.pdf");
    EXPECT_NEAR(clickable.at(0).get<double>(), 0.1 * 595 - 7, 0.5);
    EXPECT_GT(clickable.at(2).get<double>() - clickable.at(0).get<double>(), 200);
    stamped(dir / "whole.pdf", -1, {kOwner, line}, {{"split_long_strings", false}});
    EXPECT_TRUE(has(pageText(dir / "whole.pdf", 3), line));
    EXPECT_EQ(rect(dir / "whole.pdf"), json::array({0, 0, 0, 0}));
    stamped(dir / "foot.pdf", -2, {kOwner, "Второй ряд"}, {{"y", 99}});
    for (int n = 1; n <= 3; ++n) EXPECT_TRUE(has(pageText(dir / "foot.pdf", n), "Второй ряд")) << n;
}

// A font the machine lacks falls back to Courier New (Liberation Mono) in the default box, 5 % from
// the left and 85 % down; Latin keeps WinAnsi, and every character of code page 1251 as python
// reads it comes back from pdftotext.
TEST_F(PdfSigningRules, UnknownFontFallsBackAndKeepsCodePage1251) {
    const json strings = json::parse(
        runCommand("python3 -c \"import json; s=bytes(range(128,256)).decode('cp1251','ignore').replace('\\xa0','')"
                   ".replace('\\xad',''); print(json.dumps([{'text': t, 'font': 'No Such Font'} for t in "
                   "['Latin only'] + [s[i:i+32] for i in range(0,len(s),32)]]))\"")
            .output);
    ASSERT_EQ(strings.size(), 5u);
    makePdf(dir / "doc.pdf", 1);
    EXPECT_EQ(signedHoles(dir / "doc.pdf", dir / "out.pdf", {{"watermark", {{"strings", strings}}}}).size(), 1u);

    const std::string fonts = runCommand("pdffonts " + q(dir / "out.pdf")).output;
    EXPECT_TRUE(has(fonts, "LiberationMono") && has(fonts, "WinAnsi") && has(fonts, "Custom")) << fonts;
    const std::string text = pageText(dir / "out.pdf", 1);
    for (const auto& line : strings) EXPECT_TRUE(has(text, line["text"])) << line["text"] << "\n" << text;
    const std::string box = runCommand("pdftotext -bbox " + q(dir / "out.pdf") + " -").output;
    const size_t word = box.rfind("<word", box.find(">Latin<"));  // the default box's first word
    EXPECT_NEAR(std::stod(box.substr(box.find("xMin=\"", word) + 6)), 0.05 * 595, 3) << box;
    EXPECT_NEAR(std::stod(box.substr(box.find("yMin=\"", word) + 6)), 0.85 * 842, 10);
}

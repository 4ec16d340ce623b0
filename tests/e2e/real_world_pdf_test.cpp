// PDFs from independent producers signed through the module, with a visible stamp, and judged by
// qpdf, pdfsig, openssl, pdftotext and pdftoppm: the stamp lies in its box on the page as shown,
// reads upright and is visible; co-signing works on PDFs signed by poppler; the update of a file
// without a final end-of-line starts on a line of its own; signature field names stay distinct.

#include "ModuleClient.h"
#include "RealWorldCorpus.h"
#include "SignedInputs.h"

#include "support/Process.h"
#include "support/TempHome.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <sstream>

using namespace vesk::test;
using nlohmann::json;
namespace fs = std::filesystem;

namespace {

std::string q(const fs::path& path) { return shellQuote(path.string()); }
bool has(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

// The stamp: two lines whose top lies 10 % down the shown page, 10 % in from its left edge.
const std::string kFirstLine = "VESKSTAMP signed by Ivanov";
const std::string kSecondLine = "Second stamp line";
const json kStamp = {{"watermark",
                      {{"strings", {{{"text", kFirstLine}}, {{"text", kSecondLine}}}},
                       {"page", -2},
                       {"x", 10},
                       {"y", 10},
                       {"x2", 80},
                       {"y2", 30},
                       {"clickable", true}}}};

// A gray render of one page as a viewer shows it (crop box, /Rotate), one pixel per point.
struct Render {
    int width = 0, height = 0;
    std::string pixels;
    int at(int x, int y) const { return static_cast<unsigned char>(pixels[static_cast<size_t>(y) * width + x]); }
};

Render render(const fs::path& pdf, int page, const std::string& tag) {
    const fs::path prefix = pdf.parent_path() / (pdf.stem().string() + "-" + tag + std::to_string(page));
    const std::string n = std::to_string(page);
    runCommand("pdftoppm -cropbox -r 72 -gray -singlefile -f " + n + " -l " + n + " " + q(pdf) + " " + q(prefix));
    const std::string pgm = readFile(prefix.string() + ".pgm");
    Render r;
    int depth = 0, offset = 0;
    if (std::sscanf(pgm.c_str(), "P5 %d %d %d%n", &r.width, &r.height, &depth, &offset) != 3) return r;
    r.pixels = pgm.substr(static_cast<size_t>(offset) + 1);
    if (r.pixels.size() < static_cast<size_t>(r.width) * r.height) r.width = r.height = 0;
    return r;
}

struct Bounds {
    int left = 1 << 30, top = 1 << 30, right = -1, bottom = -1;
    bool empty() const { return right < 0; }
};

// Where the stamp's ink is: the pixels that differ from the unsigned page's render.
Bounds stampInk(const Render& before, const Render& after, int* interiorInk) {
    Bounds ink;
    auto differs = [&](int x, int y) { return std::abs(after.at(x, y) - before.at(x, y)) > 60; };
    for (int y = 0; y < after.height; ++y)
        for (int x = 0; x < after.width; ++x)
            if (differs(x, y)) {
                ink.left = std::min(ink.left, x);
                ink.right = std::max(ink.right, x);
                ink.top = std::min(ink.top, y);
                ink.bottom = std::max(ink.bottom, y);
            }
    // Ink inside the frame is the text: a stamp whose text is invisible has none.
    *interiorInk = 0;
    for (int y = ink.top + 4; y < ink.bottom - 4; ++y)
        for (int x = ink.left + 4; x < ink.right - 4; ++x) *interiorInk += differs(x, y);
    return ink;
}

struct Word {
    double xMin = 0, yMin = 0, xMax = 0, yMax = 0;
};

// pdftotext's word boxes of one page, in the shown page's coordinates, by word.
std::map<std::string, Word> wordBoxes(const fs::path& pdf, int page) {
    const std::string n = std::to_string(page);
    const std::string html =
        runCommand("pdftotext -cropbox -bbox -f " + n + " -l " + n + " " + q(pdf) + " - 2>/dev/null").output;
    std::map<std::string, Word> words;
    std::istringstream lines(html);
    for (std::string line; std::getline(lines, line);) {
        Word w;
        char text[256] = {};
        if (std::sscanf(line.c_str(), " <word xMin=\"%lf\" yMin=\"%lf\" xMax=\"%lf\" yMax=\"%lf\">%255[^<]", &w.xMin,
                        &w.yMin, &w.xMax, &w.yMax, text) == 5)
            words.emplace(text, w);
    }
    return words;
}

int pageCount(const fs::path& pdf) {
    const std::string info = runCommand("pdfinfo " + q(pdf) + " 2>/dev/null").output;
    const auto at = info.find("Pages:");
    return at == std::string::npos ? 0 : std::atoi(info.c_str() + at + 6);
}

class RealWorldPdf : public ::testing::Test {
protected:
    void SetUp() override {
        useCadesLibrary(CADES_EMULATOR_PATH);
        dir = makeTempDir("real");
    }

    json sign(const fs::path& file, const fs::path& output, const std::string& serial,
              const json& extra = json::object()) {
        return client.requestJson(signRequest(file.string(), output.string(), "PAdES", serial, extra));
    }

    // qpdf --check passes, and every ByteRange holds a signature that openssl verifies over the
    // ranges, trusting the test PKI. The number of signatures.
    int checkSignatures(const fs::path& pdf) {
        EXPECT_EQ(runCommand("qpdf --check " + q(pdf) + " >/dev/null 2>&1").exitCode, 0) << pdf;
        const std::string bytes = readFile(pdf);
        int count = 0;
        for (size_t at = bytes.find("/ByteRange"); at != std::string::npos; at = bytes.find("/ByteRange", at + 1)) {
            size_t a = 0, b = 0, c = 0, d = 0;
            if (std::sscanf(bytes.c_str() + at, "/ByteRange [ %zu %zu %zu %zu ]", &a, &b, &c, &d) != 4) continue;
            ++count;
            if (!(b < c && c + d <= bytes.size() && bytes[b] == '<' && bytes[c - 1] == '>')) {
                ADD_FAILURE() << "bad ByteRange in " << pdf;
                continue;
            }
            const fs::path ranges = dir / "ranges.bin", der = dir / "hole.der";
            writeBytes(ranges, bytes.substr(a, b) + bytes.substr(c, d));
            std::string signature;
            const std::string hex = bytes.substr(b + 1, c - b - 2);
            for (size_t i = 0; i + 1 < hex.size(); i += 2)
                signature += static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16));
            writeBytes(der, signature);
            std::string output;
            EXPECT_EQ(openssl("cms -verify -binary -inform DER -in " + q(der) + " -content " + q(ranges) + " -CAfile " +
                                  q(pki("pem/trusted.pem")) + " -out /dev/null",
                              &output),
                      0)
                << pdf << " signature " << count << "\n"
                << output;
        }
        return count;
    }

    // pdfsig's listing of the signature fields; the last signature covers the whole file.
    std::string checkPdfsig(const fs::path& pdf) {
        const std::string listing = runCommand("pdfsig " + q(pdf) + " 2>&1").output;
        const auto last = listing.rfind("Signature #");
        EXPECT_NE(last, std::string::npos) << listing;
        if (last != std::string::npos) {
            EXPECT_TRUE(has(listing.substr(last), "Total document signed")) << listing;
        }
        return listing;
    }

    // The stamp on every page of `stamped`: its ink lies at its box's top left corner on the page
    // as shown, inside the box's width; its text is visible, legible and upright.
    void checkStampedPages(const fs::path& original, const fs::path& stamped, bool wholeLines = true) {
        const int pages = pageCount(original);
        ASSERT_GT(pages, 0);
        ASSERT_EQ(pages, pageCount(stamped));
        for (int page = 1; page <= pages; ++page) {
            SCOPED_TRACE("page " + std::to_string(page));
            const Render before = render(original, page, "before");
            const Render after = render(stamped, page, "after");
            ASSERT_GT(after.width, 0);
            ASSERT_EQ(before.width, after.width);
            ASSERT_EQ(before.height, after.height);

            // The frame runs 7 points (padding 5, stroke 2) outside the box's top left corner.
            int interior = 0;
            const Bounds ink = stampInk(before, after, &interior);
            ASSERT_FALSE(ink.empty()) << "no stamp on the page";
            const double left = 0.1 * after.width, top = 0.1 * after.height;
            EXPECT_NEAR(ink.left, left - 7, 3) << "ink " << ink.left << "," << ink.top << " - " << ink.right << ","
                                               << ink.bottom << " on " << after.width << "x" << after.height;
            EXPECT_NEAR(ink.top, top - 7, 3);
            EXPECT_LE(ink.right, 0.8 * after.width + 10) << "the stamp runs past its box";
            EXPECT_LT(ink.bottom, top + 60) << "the stamp is taller than two lines";
            EXPECT_GT(ink.right - ink.left, 2 * (ink.bottom - ink.top)) << "a stamp on its side";
            EXPECT_GT(interior, 100) << "the stamp's text is not visible";

            // Legible: pdftotext finds every word (whole lines where the page leaves the box
            // free); upright: the words run left to right and the first line stands above the second.
            auto words = wordBoxes(stamped, page);
            std::istringstream stampWords(kFirstLine + " " + kSecondLine);
            for (std::string word; stampWords >> word;) EXPECT_TRUE(words.count(word)) << word;
            ASSERT_TRUE(words.count("VESKSTAMP") && words.count("Ivanov") && words.count("Second"));
            if (wholeLines) {
                const std::string n = std::to_string(page);
                const std::string text =
                    runCommand("pdftotext -cropbox -f " + n + " -l " + n + " " + q(stamped) + " -").output;
                EXPECT_TRUE(has(text, kFirstLine) && has(text, kSecondLine)) << text;
            }
            const Word& first = words["VESKSTAMP"];
            EXPECT_GT(first.xMax - first.xMin, first.yMax - first.yMin);
            EXPECT_LT(first.xMax, words["Ivanov"].xMin);
            EXPECT_LT(first.yMax, words["Second"].yMax);
            EXPECT_NEAR(first.xMin, left, 3);
        }
    }

    ModuleClient client;
    fs::path dir;
};

TEST_F(RealWorldPdf, StampLandsInItsBoxUprightAndVisibleOnEveryPageKind) {
    const auto corpus = makeCorpus(dir);
    ASSERT_FALSE(HasFatalFailure());
    for (const auto& pdf : corpus) {
        SCOPED_TRACE(pdf.name);
        const fs::path out = dir / ("signed-" + pdf.file.filename().string());
        const json answer = sign(pdf.file, out, kIvanov, kStamp);
        ASSERT_TRUE(answer["error"].is_null()) << answer.dump();
        const std::string original = readFile(pdf.file);
        EXPECT_EQ(readFile(out).compare(0, original.size(), original), 0) << "the producer's bytes changed";
        EXPECT_EQ(checkSignatures(out), 1);
        EXPECT_TRUE(has(checkPdfsig(out), std::string("Signature Field Name: Sign_") + kIvanov));
        checkStampedPages(pdf.file, out);
    }
}

TEST_F(RealWorldPdf, PdfTexManualGetsItsStamp) {
    const fs::path manual = pdfTexManual(dir);
    if (manual.empty()) GTEST_SKIP() << "no pdfTeX-made PDF under /usr/share/doc on this machine";
    const json answer = sign(manual, dir / "signed-manual.pdf", kIvanov, kStamp);
    ASSERT_TRUE(answer["error"].is_null()) << answer.dump();
    EXPECT_EQ(checkSignatures(dir / "signed-manual.pdf"), 1);
    checkPdfsig(dir / "signed-manual.pdf");
    checkStampedPages(manual, dir / "signed-manual.pdf", false);
}

// poppler writes "%%EOF" with CR LF, which the five-byte tail test takes for a wrapped signature
// message; the PDF loads with signature dictionaries, so it is PAdES for sign, co-sign and verify.
TEST_F(RealWorldPdf, PdfsigSignedPdfIsCosignedAsPades) {
    const fs::path plain = ghostscriptPdf(dir, "plain.pdf");
    ASSERT_FALSE(HasFatalFailure());
    pdfsigSign(plain, dir / "poppler.pdf", "Poppler");
    const std::string poppler = readFile(dir / "poppler.pdf");
    ASSERT_EQ(poppler.substr(poppler.size() - 7), "%%EOF\r\n") << "the case under test";

    const json answer = sign(dir / "poppler.pdf", dir / "cosigned.pdf", kIvanov, {{"cosign", true}});
    ASSERT_TRUE(answer["error"].is_null()) << answer.dump();
    const std::string cosigned = readFile(dir / "cosigned.pdf");
    EXPECT_EQ(cosigned.compare(0, poppler.size(), poppler), 0) << "poppler's revision changed";
    EXPECT_EQ(checkSignatures(dir / "cosigned.pdf"), 2);
    const std::string listing = checkPdfsig(dir / "cosigned.pdf");
    EXPECT_TRUE(has(listing, "Signature Field Name: Poppler")) << listing;
    EXPECT_TRUE(has(listing, std::string("Signature Field Name: Sign_") + kIvanov)) << listing;

    // A new signature (not a co-signing) with a stamp goes the same way.
    const json stamped = sign(dir / "poppler.pdf", dir / "stamped.pdf", kPetrova, kStamp);
    ASSERT_TRUE(stamped["error"].is_null()) << stamped.dump();
    EXPECT_EQ(checkSignatures(dir / "stamped.pdf"), 2);
    checkStampedPages(dir / "poppler.pdf", dir / "stamped.pdf");

    const json verified =
        client.requestJson({{"method", "verify"}, {"args", {{"file", b64((dir / "cosigned.pdf").string())}}}});
    ASSERT_EQ(verified["data"].size(), 2u) << verified.dump();
    EXPECT_EQ(verified["data"][1]["SerialNumber"], kIvanov);
    EXPECT_EQ(verified["data"][1]["Verifyed"], true);
}

// A PDF whose last byte ends "%%EOF" with no end-of-line: the update begins on a new line that
// belongs to the appended bytes; the file is signed, co-signed (it loads as a PDF, so the tail
// test does not take it for a signature message) and both revisions stay intact.
TEST_F(RealWorldPdf, UpdateOfAFileWithoutFinalEndOfLineStartsOnANewLine) {
    const fs::path produced = ghostscriptPdf(dir, "gs.pdf");
    ASSERT_FALSE(HasFatalFailure());
    std::string bare = readFile(produced);
    while (!bare.empty() && (bare.back() == '\n' || bare.back() == '\r')) bare.pop_back();
    ASSERT_EQ(bare.substr(bare.size() - 5), "%%EOF");
    writeBytes(dir / "bare.pdf", bare);

    ASSERT_TRUE(sign(dir / "bare.pdf", dir / "signed.pdf", kIvanov)["error"].is_null());
    const std::string signedPdf = readFile(dir / "signed.pdf");
    ASSERT_GT(signedPdf.size(), bare.size());
    EXPECT_EQ(signedPdf.compare(0, bare.size(), bare), 0);
    EXPECT_TRUE(signedPdf[bare.size()] == '\n' || signedPdf[bare.size()] == '\r') << signedPdf.substr(bare.size(), 20);
    EXPECT_EQ(checkSignatures(dir / "signed.pdf"), 1);

    const json cosign = sign(dir / "signed.pdf", dir / "cosigned.pdf", kPetrova, {{"cosign", true}});
    ASSERT_TRUE(cosign["error"].is_null()) << cosign.dump();
    EXPECT_EQ(readFile(dir / "cosigned.pdf").compare(0, signedPdf.size(), signedPdf), 0);
    EXPECT_EQ(checkSignatures(dir / "cosigned.pdf"), 2);
    checkPdfsig(dir / "cosigned.pdf");

    // Unsigned, it is a PDF without a signature, not a signature message.
    EXPECT_EQ(client.requestJson({{"method", "verify"}, {"args", {{"file", b64((dir / "bare.pdf").string())}}}}),
              json::parse(R"({"data":null,"error":["tr{This PDF file does not contain a signature.}"]})"));
}

// A text field named like the signature field does not take the name, but the search for a free
// name goes on past it: a signature field further on does take it.
TEST_F(RealWorldPdf, TextFieldNamedLikeTheSignatureKeepsSignatureNamesDistinct) {
    const fs::path plain = ghostscriptPdf(dir, "form.pdf");
    ASSERT_FALSE(HasFatalFailure());
    const std::string field = std::string("Sign_") + kIvanov;
    writeBytes(dir / "field.js",
               "var doc = new PDFDocument(scriptArgs[0]);\n"
               "var page = doc.findPage(0);\n"
               "var field = doc.addObject({Type: 'Annot', Subtype: 'Widget', FT: doc.newName('Tx'),\n"
               "    T: doc.newString('" +
                   field +
                   "'), Rect: [72, 600, 272, 620], F: 4, P: page});\n"
                   "page.put('Annots', [field]);\n"
                   "doc.getTrailer().Root.put('AcroForm', doc.addObject({Fields: [field]}));\n"
                   "doc.save(scriptArgs[1]);\n");
    produce("mutool run " + q(dir / "field.js") + " " + q(plain) + " " + q(dir / "with-field.pdf"));
    ASSERT_FALSE(HasFatalFailure());
    const auto form = runCommand("qpdf --qdf " + q(dir / "with-field.pdf") + " - 2>/dev/null").output;
    ASSERT_TRUE(has(form, "/T (" + field + ")") && has(form, "/FT /Tx")) << "a text field named like the signature";

    ASSERT_TRUE(sign(dir / "with-field.pdf", dir / "signed.pdf", kIvanov)["error"].is_null());
    ASSERT_TRUE(sign(dir / "signed.pdf", dir / "cosigned.pdf", kIvanov, {{"cosign", true}})["error"].is_null());
    EXPECT_EQ(checkSignatures(dir / "cosigned.pdf"), 2);
    const std::string listing = checkPdfsig(dir / "cosigned.pdf");
    std::vector<std::string> names;
    std::istringstream lines(listing);
    for (std::string line; std::getline(lines, line);) {
        const auto at = line.find("Signature Field Name: ");
        if (at != std::string::npos) names.push_back(line.substr(at + 22));
    }
    EXPECT_EQ(names, (std::vector<std::string>{field, field + "_1"})) << listing;
}

// A file damaged beyond PoDoFo's reading (objects shifted against the xref) is refused with the
// load error, and nothing is written.
TEST_F(RealWorldPdf, DamagedPdfIsRefusedWithTheLoadError) {
    const fs::path produced = ghostscriptPdf(dir, "gs.pdf");
    ASSERT_FALSE(HasFatalFailure());
    std::string bytes = readFile(produced);
    bytes.insert(20, "% forty bytes that shift every object\n");
    writeBytes(dir / "damaged.pdf", bytes);
    const json answer = sign(dir / "damaged.pdf", dir / "out.pdf", kIvanov, kStamp);
    ASSERT_TRUE(answer["error"].is_array()) << answer.dump();
    EXPECT_EQ(answer["error"][0].get<std::string>().rfind("tr{Error on load file:}", 0), 0u) << answer.dump();
    EXPECT_FALSE(fs::exists(dir / "out.pdf"));
}

}  // namespace

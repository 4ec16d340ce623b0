// PDFs from independent producers signed through the module, with a visible stamp, and judged by
// the readers users have (poppler, mupdf, ghostscript, pdf.js), qpdf, pdfsig and openssl: forms
// show their values as before; the stamp lies in its box on the page as shown,
// reads upright and is visible; co-signing works on PDFs signed by poppler; the update of a file
// without a final end-of-line starts on a line of its own; signature field names stay distinct.

#include "RealWorldCorpus.h"

#include <gtest/gtest-spi.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <sstream>

using namespace vesk::test;
using nlohmann::json;
namespace fs = std::filesystem;

namespace {

// The stamp: two lines whose top lies 10 % down the shown page, 10 % in from its left edge.
const json kStamp = json::parse(R"({"watermark": {"page": -2, "x": 10, "y": 10, "x2": 80, "y2": 30, "clickable": true,
    "strings": [{"text": "VESKSTAMP signed by Ivanov"}, {"text": "Second stamp line"}]}})");
const std::string kFirstLine = kStamp["watermark"]["strings"][0]["text"];
const std::string kSecondLine = kStamp["watermark"]["strings"][1]["text"];

// A gray render of one page as a viewer shows it (crop box, /Rotate), one pixel per point.
struct Render {
    int width = 0, height = 0;
    std::string pixels;
    int at(int x, int y) const { return static_cast<unsigned char>(pixels[static_cast<size_t>(y) * width + x]); }
};

// By poppler, or by mupdf when `mupdf` is set.
Render render(const fs::path& pdf, int page, bool mupdf = false) {
    const std::string n = std::to_string(page);
    const std::string prefix = (pdf.parent_path() / (pdf.stem().string() + "-" + n + (mupdf ? "-mu" : ""))).string();
    if (mupdf)
        runCommand("mutool draw -r 72 -c gray -o " + q(prefix + ".pgm") + " " + q(pdf) + " " + n + " 2>/dev/null");
    else
        runCommand("pdftoppm -cropbox -r 72 -gray -singlefile -f " + n + " -l " + n + " " + q(pdf) + " " + q(prefix));
    const std::string pgm = readFile(prefix + ".pgm");
    Render r;
    int depth = 0, offset = 0;
    if (std::sscanf(pgm.c_str(), "P5 %d %d %d%n", &r.width, &r.height, &depth, &offset) != 3) return r;
    r.pixels = pgm.substr(static_cast<size_t>(offset) + 1);
    if (r.pixels.size() < static_cast<size_t>(r.width) * r.height) r.width = r.height = 0;
    return r;
}

int pageCount(const fs::path& pdf) {
    return std::atoi(runCommand("pdfinfo " + q(pdf) + " 2>/dev/null | sed -n 's/^Pages: *//p'").output.c_str());
}

class RealWorldPdf : public ::testing::Test {
protected:
    void SetUp() override {
        useCadesLibrary(CADES_EMULATOR_PATH);
        dir = makeTempDir("real");
    }

    // Signs `file` as PAdES into `output`; false, with the answer reported, on an error.
    bool signs(const fs::path& file, const fs::path& output, const std::string& serial,
               const json& extra = json::object()) {
        const json answer = client.requestJson(signRequest(file.string(), output.string(), "PAdES", serial, extra));
        EXPECT_TRUE(answer["error"].is_null()) << answer.dump();
        return answer["error"].is_null();
    }

    // Signs `pdf` with the stamp as a new signature, the `signatures`th; the earlier bytes stay,
    // the signatures are judged, and the stamp is checked on every page.
    void stampAndJudge(const fs::path& pdf, int signatures = 1, const std::string& serial = kIvanov,
                       bool wholeLines = true) {
        const fs::path out = dir / ("signed-" + pdf.filename().string());
        ASSERT_TRUE(signs(pdf, out, serial, kStamp));
        const std::string listing = judgeSignedPdf(pdf, out, signatures, stampOf(kStamp["watermark"]));
        EXPECT_TRUE(has(listing, "Signature Field Name: Sign_" + serial)) << listing;
        checkStampedPages(pdf, out, wholeLines);
    }

    // The stamp on every page of `stamped`: its ink lies at its box's top left corner on the page
    // as shown, inside the box's width; its text is visible, legible and upright.
    void checkStampedPages(const fs::path& original, const fs::path& stamped, bool wholeLines) {
        const int pages = pageCount(original);
        ASSERT_GT(pages, 0);
        ASSERT_EQ(pages, pageCount(stamped));
        for (int page = 1; page <= pages; ++page) {
            SCOPED_TRACE("page " + std::to_string(page));
            const Render before = render(original, page), after = render(stamped, page);
            ASSERT_GT(after.width, 0);
            ASSERT_EQ(before.width, after.width);
            ASSERT_EQ(before.height, after.height);

            // The stamp's ink: the pixels that differ from the unsigned page's render. Ink inside
            // the frame is the text: a stamp whose text is invisible has none.
            int left = 1 << 30, top = 1 << 30, right = -1, bottom = -1, interior = 0;
            const auto differs = [&](int x, int y) { return std::abs(after.at(x, y) - before.at(x, y)) > 60; };
            for (int y = 0; y < after.height; ++y)
                for (int x = 0; x < after.width; ++x)
                    if (differs(x, y)) {
                        left = std::min(left, x), right = std::max(right, x);
                        top = std::min(top, y), bottom = std::max(bottom, y);
                    }
            for (int y = top + 4; y < bottom - 4; ++y)
                for (int x = left + 4; x < right - 4; ++x) interior += differs(x, y);
            ASSERT_GE(right, 0) << "no stamp on the page";

            // The frame runs 7 points (padding 5, stroke 2) outside the box's top left corner.
            const double boxLeft = 0.1 * after.width, boxTop = 0.1 * after.height;
            EXPECT_NEAR(left, boxLeft - 7, 3) << "ink " << left << "," << top << " - " << right << "," << bottom
                                              << " on " << after.width << "x" << after.height;
            EXPECT_NEAR(top, boxTop - 7, 3);
            EXPECT_LE(right, 0.8 * after.width + 10) << "the stamp runs past its box";
            EXPECT_LT(bottom, boxTop + 60) << "the stamp is taller than two lines";
            EXPECT_GT(right - left, 2 * (bottom - top)) << "a stamp on its side";
            EXPECT_GT(interior, 100) << "the stamp's text is not visible";

            // Legible: pdftotext finds every word (whole lines where the page leaves the box
            // free); upright: the words run left to right and the first line stands above the second.
            const std::string n = std::to_string(page);
            struct Word {
                double xMin = 0, yMin = 0, xMax = 0, yMax = 0;
            };
            std::map<std::string, Word> words;
            std::istringstream html(
                runCommand("pdftotext -cropbox -bbox -f " + n + " -l " + n + " " + q(stamped) + " - 2>/dev/null")
                    .output);
            for (std::string line; std::getline(html, line);) {
                Word w;
                char text[256] = {};
                if (std::sscanf(line.c_str(), " <word xMin=\"%lf\" yMin=\"%lf\" xMax=\"%lf\" yMax=\"%lf\">%255[^<]",
                                &w.xMin, &w.yMin, &w.xMax, &w.yMax, text) == 5)
                    words.emplace(text, w);
            }
            std::istringstream stampWords(kFirstLine + " " + kSecondLine);
            for (std::string word; stampWords >> word;) ASSERT_TRUE(words.count(word)) << word;
            if (wholeLines) {
                const std::string text =
                    runCommand("pdftotext -cropbox -f " + n + " -l " + n + " " + q(stamped) + " -").output;
                EXPECT_TRUE(has(text, kFirstLine) && has(text, kSecondLine)) << text;
            }
            const Word& first = words["VESKSTAMP"];
            EXPECT_GT(first.xMax - first.xMin, first.yMax - first.yMin);
            EXPECT_LT(first.xMax, words["Ivanov"].xMin);
            EXPECT_LT(first.yMax, words["Second"].yMax);
            EXPECT_NEAR(first.xMin, boxLeft, 3);
        }
    }

    json verify(const fs::path& file) { return client.requestJson(verifyRequest(file)); }

    ModuleClient client;
    fs::path dir;
};

TEST_F(RealWorldPdf, StampLandsInItsBoxUprightAndVisibleOnEveryPageKind) {
    const auto corpus = makeCorpus(dir);
    ASSERT_FALSE(HasFatalFailure());
    for (const auto& [name, file] : corpus) {
        SCOPED_TRACE(name);
        stampAndJudge(file);
    }
}

TEST_F(RealWorldPdf, PdfTexManualGetsItsStamp) {
    const fs::path manual = pdfTexManual(dir);
    if (manual.empty()) GTEST_SKIP() << "no pdfTeX-made PDF under /usr/share/doc on this machine";
    stampAndJudge(manual, 1, kIvanov, false);
}

// Forms show their values after signing, as before it: reportlab's fields with their appearances,
// and widgets with none under /NeedAppearances true (viewers draw them from /V, /DA and the form's
// /DR: Helvetica, ZapfDingbats), LibreOffice's filled-in form under the same flag, signed with a
// stamp below the fields and co-signed without one.
TEST_F(RealWorldPdf, FormsShowTheirValuesAfterSigning) {
    makeCorpus(dir, false);
    ASSERT_FALSE(HasFatalFailure());
    produce("/usr/bin/python3 " + q(VESK_E2E_DIR "/libreoffice-form-pdf.py") + " " + q(dir / "libreoffice-form.pdf"));
    const json stamp = {{"watermark", {{"strings", {{{"text", "VESKSTAMP form signed"}}}}}}};
    for (const char* form : {"reportlab-form.pdf", "need-appearances.pdf", "libreoffice-form.pdf"}) {
        SCOPED_TRACE(form);
        ASSERT_TRUE(signs(dir / form, dir / "signed.pdf", kIvanov, stamp));
        judgeSignedPdf(dir / form, dir / "signed.pdf", 1, stampOf(stamp["watermark"]));
        if (std::string(form) == "libreoffice-form.pdf") {
            const std::string shown = runCommand("pdftotext " + q(dir / "signed.pdf") + " - 2>/dev/null").output;
            EXPECT_TRUE(has(shown, "Ivanov Ivan") && has(shown, "Kazan")) << shown;
        }
        ASSERT_TRUE(signs(dir / "signed.pdf", dir / "cosigned.pdf", kPetrova, {{"cosign", true}}));
        judgeSignedPdf(dir / "signed.pdf", dir / "cosigned.pdf", 2);
    }
}

// The judge fails what viewers would show wrong, in updates mutool appends: a page whose contents
// point at an object that is not there, and ink outside the stamp's box with none in it.
TEST_F(RealWorldPdf, JudgeFailsWhatViewersShowWrong) {
    const fs::path input = ghostscriptPdf(dir, "gs.pdf");
    writeBytes(dir / "edit.js", R"JS(var doc = new PDFDocument(scriptArgs[0]), page = doc.findPage(0);
if (scriptArgs[2] == 'dangling') page.put('Contents', doc.newIndirect(9999, 0));
else {
  var contents = doc.newArray();
  contents.push(page.get('Contents'));
  contents.push(doc.addStream('0 0 1 rg 60 60 100 100 re f'));
  page.put('Contents', contents);
}
doc.save(scriptArgs[1], 'incremental');)JS");
    const StampSeen stamp = stampOf(kStamp["watermark"]);
    for (const auto& [edit, failures] : std::vector<std::pair<std::string, std::vector<std::string>>>{
             {"dangling", {"poppler complains", "mupdf complains", "pdf.js does not read the stamp"}},
             {"ink", {"pixels changed outside the stamp's box", "no stamp in its box"}}}) {
        SCOPED_TRACE(edit);
        produce("mutool run " + q(dir / "edit.js") + " " + q(input) + " " + q(dir / (edit + ".pdf")) + " " + edit);
        ::testing::TestPartResultArray results;
        {
            const ::testing::ScopedFakeTestPartResultReporter reporter(
                ::testing::ScopedFakeTestPartResultReporter::INTERCEPT_ONLY_CURRENT_THREAD, &results);
            judgeWrittenPdf(input, dir / (edit + ".pdf"), stamp);
        }
        std::string reported;
        for (int i = 0; i < results.size(); ++i) reported += results.GetTestPartResult(i).message() + std::string("\n");
        for (const std::string& failure : failures) EXPECT_TRUE(has(reported, failure)) << failure << "\n" << reported;
    }
}

// poppler writes "%%EOF" with CR LF, which the five-byte tail test takes for a wrapped signature
// message; the PDF loads with signature dictionaries, so it is PAdES for sign, co-sign and verify.
TEST_F(RealWorldPdf, PdfsigSignedPdfIsCosignedAsPades) {
    pdfsigSign(ghostscriptPdf(dir, "plain.pdf"), dir / "poppler.pdf", "Poppler");
    ASSERT_FALSE(HasFatalFailure());
    const std::string poppler = readFile(dir / "poppler.pdf");
    ASSERT_EQ(poppler.substr(poppler.size() - 7), "%%EOF\r\n") << "the case under test";

    ASSERT_TRUE(signs(dir / "poppler.pdf", dir / "cosigned.pdf", kIvanov, {{"cosign", true}}));
    const std::string listing = judgeSignedPdf(dir / "poppler.pdf", dir / "cosigned.pdf", 2);
    EXPECT_TRUE(has(listing, "Signature Field Name: Poppler")) << listing;
    EXPECT_TRUE(has(listing, std::string("Signature Field Name: Sign_") + kIvanov)) << listing;
    const json verified = verify(dir / "cosigned.pdf");
    ASSERT_EQ(verified["data"].size(), 2u) << verified.dump();
    EXPECT_EQ(verified["data"][1]["SerialNumber"], kIvanov);
    EXPECT_EQ(verified["data"][1]["Verifyed"], true);

    // A new signature (not a co-signing) with a stamp goes the same way.
    stampAndJudge(dir / "poppler.pdf", 2, kPetrova);
}

// A PDF whose last byte ends "%%EOF" with no end-of-line: the update begins on a new line that
// belongs to the appended bytes; the file is signed, co-signed (it loads as a PDF, so the tail
// test does not take it for a signature message) and both revisions stay intact.
TEST_F(RealWorldPdf, UpdateOfAFileWithoutFinalEndOfLineStartsOnANewLine) {
    std::string bare = readFile(ghostscriptPdf(dir, "gs.pdf"));
    ASSERT_FALSE(HasFatalFailure());
    while (!bare.empty() && (bare.back() == '\n' || bare.back() == '\r')) bare.pop_back();
    ASSERT_EQ(bare.substr(bare.size() - 5), "%%EOF");
    writeBytes(dir / "bare.pdf", bare);

    ASSERT_TRUE(signs(dir / "bare.pdf", dir / "signed.pdf", kIvanov));
    const std::string signedPdf = readFile(dir / "signed.pdf");
    ASSERT_GT(signedPdf.size(), bare.size());
    EXPECT_TRUE(extends(signedPdf, bare));
    EXPECT_TRUE(signedPdf[bare.size()] == '\n' || signedPdf[bare.size()] == '\r') << signedPdf.substr(bare.size(), 20);
    judgeSignedPdf(dir / "bare.pdf", dir / "signed.pdf", 1);

    ASSERT_TRUE(signs(dir / "signed.pdf", dir / "cosigned.pdf", kPetrova, {{"cosign", true}}));
    judgeSignedPdf(dir / "signed.pdf", dir / "cosigned.pdf", 2);

    // Unsigned, it is a PDF without a signature, not a signature message.
    EXPECT_EQ(verify(dir / "bare.pdf"),
              json::parse(R"({"data":null,"error":["tr{This PDF file does not contain a signature.}"]})"));
}

// A text field named like the signature field does not take the name, but the search for a free
// name goes on past it: a signature field further on does take it.
TEST_F(RealWorldPdf, TextFieldNamedLikeTheSignatureKeepsSignatureNamesDistinct) {
    const std::string field = std::string("Sign_") + kIvanov;
    writeBytes(dir / "field.js", R"JS(var doc = new PDFDocument(scriptArgs[0]), page = doc.findPage(0);
var field = doc.addObject({Type: 'Annot', Subtype: 'Widget', FT: doc.newName('Tx'), T: doc.newString(scriptArgs[2]),
    Rect: [72, 600, 272, 620], F: 4, P: page});
page.put('Annots', [field]);
doc.getTrailer().Root.put('AcroForm', doc.addObject({Fields: [field]}));
doc.save(scriptArgs[1]);)JS");
    produce("mutool run " + q(dir / "field.js") + " " + q(ghostscriptPdf(dir, "form.pdf")) + " " +
            q(dir / "with-field.pdf") + " " + field);
    ASSERT_FALSE(HasFatalFailure());
    const auto form = runCommand("qpdf --qdf " + q(dir / "with-field.pdf") + " - 2>/dev/null").output;
    ASSERT_TRUE(has(form, "/T (" + field + ")") && has(form, "/FT /Tx")) << "a text field named like the signature";

    ASSERT_TRUE(signs(dir / "with-field.pdf", dir / "signed.pdf", kIvanov));
    ASSERT_TRUE(signs(dir / "signed.pdf", dir / "cosigned.pdf", kIvanov, {{"cosign", true}}));
    judgeSignedPdf(dir / "with-field.pdf", dir / "signed.pdf", 1);
    std::istringstream listing(judgeSignedPdf(dir / "signed.pdf", dir / "cosigned.pdf", 2));
    std::vector<std::string> names;
    for (std::string line; std::getline(listing, line);) {
        const auto at = line.find("Signature Field Name: ");
        if (at != std::string::npos) names.push_back(line.substr(at + 22));
    }
    EXPECT_EQ(names, (std::vector<std::string>{field, field + "_1"})) << listing.str();
}

// Forms filled by a script keep /NeedAppearances true with stale appearances, or none, and each
// viewer draws such fields its own way. Signing clears the flag (a viewer that redraws a signed
// field changes what was signed), so the update draws every field from its value: the values read
// in poppler and mupdf, a check box or radio button that is on looks on beside its twin that is
// off, and nothing outside the fields and the stamp changes. A form without a default appearance
// gets one, its font added to resources the form holds in an object of their own; an encrypted
// form is drawn from its values decrypted.
TEST_F(RealWorldPdf, FilledFormShowsItsValuesOnceSigned) {
    const json stamp = {
        {"watermark",
         {{"page", -1}, {"x", 5}, {"y", 90}, {"x2", 60}, {"y2", 98}, {"strings", {{{"text", "Signed by Ivanov"}}}}}}};
    // The rectangles (in the script's order) of buttons that must show on, each beside one off.
    const std::map<std::string, std::vector<std::pair<size_t, size_t>>> buttons = {{"reportlab", {{4, 5}, {7, 6}}},
                                                                                   {"reportlab-aes", {{4, 5}, {7, 6}}},
                                                                                   {"hand", {{10, 9}, {7, 9}}},
                                                                                   {"hand-bare", {{10, 9}, {7, 9}}}};
    for (const auto& [kind, pairs] : buttons) {
        SCOPED_TRACE(kind);
        const fs::path form = dir / (kind + ".pdf"), out = dir / (kind + "-signed.pdf");
        std::istringstream printed(
            runCommand("/usr/bin/python3 " + q(VESK_E2E_DIR "/filled-form-pdf.py") + " " + kind + " " + q(form))
                .output);
        std::vector<std::string> values;
        std::vector<std::array<double, 4>> rects;
        for (std::string line; std::getline(printed, line);) {
            std::array<double, 4> r{};
            if (std::sscanf(line.c_str(), "rect %lf %lf %lf %lf", &r[0], &r[1], &r[2], &r[3]) == 4)
                rects.push_back(r);
            else
                values.push_back(line);
        }
        ASSERT_FALSE(values.empty() || rects.empty());
        ASSERT_TRUE(signs(form, out, kIvanov, stamp));
        judgeSignedPdf(form, out, 1, stampOf(stamp["watermark"]));
        const std::string popplerText = runCommand("pdftotext " + q(out) + " - 2>/dev/null").output;
        const std::string mupdfText = runCommand("mutool draw -F txt " + q(out) + " 1 2>/dev/null").output;
        // The values as they are: PoDoFo leaves the padding on the strings it decrypts.
        EXPECT_FALSE(has(mupdfText, "\xEF\xBF\xBD")) << mupdfText;
        for (const std::string& value : values) {
            EXPECT_TRUE(has(popplerText, value)) << value << " not in poppler's text: " << popplerText;
            EXPECT_TRUE(has(mupdfText, value)) << value << " not in mupdf's text: " << mupdfText;
        }

        for (const bool mupdf : {false, true}) {
            SCOPED_TRACE(mupdf ? "mupdf" : "poppler");
            const Render before = render(form, 1, mupdf), after = render(out, 1, mupdf);
            ASSERT_TRUE(after.width == before.width && after.height == before.height && after.width > 0);
            const auto inside = [&](const std::array<double, 4>& r, int x, int y, int margin) {
                const double top = after.height - std::max(r[1], r[3]), bottom = after.height - std::min(r[1], r[3]);
                return x >= std::min(r[0], r[2]) - margin && x <= std::max(r[0], r[2]) + margin && y >= top - margin &&
                       y <= bottom + margin;
            };
            const auto ink = [&](const std::array<double, 4>& r) {
                int dark = 0;
                for (int y = 0; y < after.height; ++y)
                    for (int x = 0; x < after.width; ++x) dark += inside(r, x, y, 0) && after.at(x, y) < 128;
                return dark;
            };
            for (const auto& [on, off] : pairs) EXPECT_GT(ink(rects[on]), ink(rects[off]) + 20) << on << " vs " << off;
            int changed = 0;
            for (int y = 0; y < after.height * 85 / 100; ++y)
                for (int x = 0; x < after.width; ++x) {
                    const bool inField =
                        std::any_of(rects.begin(), rects.end(), [&](const auto& r) { return inside(r, x, y, 2); });
                    changed += !inField && before.at(x, y) != after.at(x, y);
                }
            EXPECT_EQ(changed, 0) << "pixels changed outside the fields and the stamp";
        }
    }
}

// A file damaged beyond PoDoFo's reading (objects shifted against the xref) is refused with the
// load error, and nothing is written.
TEST_F(RealWorldPdf, DamagedPdfIsRefusedWithTheLoadError) {
    std::string bytes = readFile(ghostscriptPdf(dir, "gs.pdf"));
    ASSERT_FALSE(HasFatalFailure());
    writeBytes(dir / "damaged.pdf", bytes.insert(20, "% forty bytes that shift every object\n"));
    const json answer = client.requestJson(
        signRequest((dir / "damaged.pdf").string(), (dir / "out.pdf").string(), "PAdES", kIvanov, kStamp));
    ASSERT_TRUE(answer["error"].is_array()) << answer.dump();
    EXPECT_EQ(answer["error"][0].get<std::string>().rfind("tr{Error on load file:}", 0), 0u) << answer.dump();
    EXPECT_FALSE(fs::exists(dir / "out.pdf"));
}

}  // namespace

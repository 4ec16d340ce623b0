// The judge of a PDF the module wrote: the signature checks (qpdf, pdfsig, openssl over each
// ByteRange, the module's verify) and the readers users have (support/read-pdf.sh: poppler, mupdf,
// ghostscript, pdf.js), each compared with what it makes of the unsigned input.

#include "ModuleClient.h"
#include "SignedInputs.h"

#include "support/Process.h"
#include "support/TempHome.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <set>
#include <sstream>

namespace fs = std::filesystem;

namespace vesk::test {
namespace {

// A gray render of one page as shown, at 36 dpi: half a pixel per point.
struct Render {
    int width = 0, height = 0;
    std::string pixels;
    int at(int x, int y) const { return static_cast<unsigned char>(pixels[static_cast<size_t>(y) * width + x]); }
};

Render loadRender(const fs::path& pgm) {
    const std::string bytes = readFile(pgm);
    Render r;
    int depth = 0, offset = 0;
    if (std::sscanf(bytes.c_str(), "P5 %d %d %d%n", &r.width, &r.height, &depth, &offset) != 3) return {};
    r.pixels = bytes.substr(static_cast<size_t>(offset) + 1);
    if (r.pixels.size() != static_cast<size_t>(r.width) * r.height) return {};
    return r;
}

// What one reader printed and complained of, by reader name: NAME.out and the lines of NAME.err.
// Ghostscript's closing note names the file's producer, which an update may set: not a complaint.
// Poppler gives some complaints a file offset, others not: a complaint of the input's page content
// gets one once the update makes the contents an array, so offsets are left out.
struct Reading {
    fs::path folder;
    std::string out(const std::string& reader) const { return readFile(folder / (reader + ".out")); }
    std::set<std::string> complaints(const std::string& reader) const {
        std::set<std::string> lines;
        std::istringstream err(readFile(folder / (reader + ".err")));
        for (std::string line; std::getline(err, line);)
            if (line.find("   **** >>>>") != 0 && line.find("   **** The file was produced by") != 0)
                lines.insert(line.rfind("Syntax ", 0) == 0 && line.find("): ") != std::string::npos
                                 ? line.substr(0, line.find(" (")) + line.substr(line.find("): ") + 1)
                                 : line);
        return lines;
    }
};

// pdf.js's text of page `n` (from 1), blanks left out.
std::string pdfjsPage(const Reading& reading, int n) {
    const std::string out = reading.out("pdfjs"), mark = "page " + std::to_string(n) + ": ";
    const size_t at = out.find(mark);
    if (at == std::string::npos) return {};
    std::string text = out.substr(at + mark.size(), out.find('\n', at) - at - mark.size());
    text.erase(std::remove(text.begin(), text.end(), ' '), text.end());
    return text;
}

// A form field's widget as pdf.js sees it on page `n`: its box in pixels, its type and its value.
struct Widget {
    int box[4] = {};
    std::string type, value;
    bool holds(int x, int y, int margin = 0) const {
        return x >= box[0] - margin && x <= box[2] + margin && y >= box[1] - margin && y <= box[3] + margin;
    }
};
std::vector<Widget> widgets(const Reading& reading, int n) {
    std::vector<Widget> found;
    std::istringstream out(reading.out("pdfjs"));
    const std::string mark = "widget " + std::to_string(n) + ": ";
    for (std::string line; std::getline(out, line);) {
        Widget w;
        char type[8] = {};
        int end = 0;
        if (line.rfind(mark, 0) == 0 && std::sscanf(line.c_str() + mark.size(), "%d %d %d %d %7s %n", &w.box[0],
                                                    &w.box[1], &w.box[2], &w.box[3], type, &end) == 5) {
            w.type = type;
            w.value = line.substr(mark.size() + static_cast<size_t>(end));
            found.push_back(w);
        }
    }
    return found;
}

// The pixels of `after` that differ from `before` lie inside `box` (left, top, right, bottom in
// pixels) or in the widgets `drawn` by the signer, and there are at least `ink` pixels darker
// than before inside the box. A drawn text or choice field that has a value shows ink.
void expectSameBut(const Render& before, const Render& after, const int box[4], int ink,
                   const std::vector<Widget>& drawn) {
    ASSERT_GT(before.width, 0) << "the input's page did not render";
    ASSERT_EQ(after.width, before.width) << "the page renders at another size";
    ASSERT_EQ(after.height, before.height) << "the page renders at another size";
    int outside = 0, darker = 0, firstX = -1, firstY = -1;
    for (int y = 0; y < after.height; ++y)
        for (int x = 0; x < after.width; ++x) {
            const int was = before.at(x, y), now = after.at(x, y);
            const bool in = x >= box[0] && x <= box[2] && y >= box[1] && y <= box[3];
            const bool field =
                std::any_of(drawn.begin(), drawn.end(), [&](const Widget& w) { return w.holds(x, y, 2); });
            if (!in && !field && was != now && outside++ == 0) firstX = x, firstY = y;
            darker += in && now < was - 60;
        }
    EXPECT_EQ(outside, 0) << "pixels changed outside the stamp's box, the first at " << firstX << "," << firstY
                          << " of " << after.width << "x" << after.height;
    EXPECT_GE(darker, ink) << "no stamp in its box " << box[0] << "," << box[1] << " - " << box[2] << "," << box[3];
    for (const Widget& w : drawn) {
        if ((w.type != "Tx" && w.type != "Ch") || w.value == "\"\"" || w.value == "[]") continue;
        int shown = 0;
        for (int y = std::max(w.box[1] + 2, 0); y < std::min(w.box[3] - 1, after.height); ++y)
            for (int x = std::max(w.box[0] + 2, 0); x < std::min(w.box[2] - 1, after.width); ++x)
                shown += after.at(x, y) < 192;
        EXPECT_GE(shown, 3) << "the field's value " << w.value << " does not show";
    }
}

bool has(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

int pageCount(const fs::path& pdf) {
    return std::atoi(runCommand("pdfinfo " + q(pdf) + " 2>/dev/null | sed -n 's/^Pages: *//p'").output.c_str());
}

// Whether page `n` has a MediaBox reaching below 0 in x or y. pdf.js 2.14 leaves out of its text
// content text that lies in the page on such pages, whoever wrote it.
bool boxBelowZero(const fs::path& pdf, int n) {
    const std::string page = std::to_string(n);
    const std::string box = runCommand("pdfinfo -box -f " + page + " -l " + page + " " + q(pdf) +
                                       " 2>/dev/null | sed -n 's/^Page *" + page + " MediaBox: *//p'")
                                .output;
    double x = 0, y = 0;
    return std::sscanf(box.c_str(), "%lf %lf", &x, &y) == 2 && (x < 0 || y < 0);
}

}  // namespace

StampSeen stampOf(const nlohmann::json& watermark, std::string text) {
    StampSeen stamp;
    stamp.x = watermark.value("x", stamp.x);
    stamp.y = watermark.value("y", stamp.y);
    stamp.x2 = watermark.value("x2", std::min(100.0, stamp.x + 45));
    stamp.y2 = watermark.value("y2", std::min(100.0, stamp.y + 10));
    stamp.page = watermark.value("page", -1);
    stamp.text = text.empty() ? watermark.at("strings").at(0).at("text").get<std::string>() : text;
    return stamp;
}

void judgeWrittenPdf(const fs::path& input, const fs::path& pdf, const std::optional<StampSeen>& stamp) {
    SCOPED_TRACE("judging " + pdf.string());
    const std::string original = readFile(input);
    ASSERT_FALSE(original.empty()) << input;
    EXPECT_EQ(readFile(pdf).compare(0, original.size(), original), 0) << "the input's bytes are not its prefix";

    // A form that asks viewers to draw its fields from their values (/NeedAppearances true) has
    // them drawn by the signer instead: there they may look otherwise, but show their values.
    const bool fieldsToDraw = has(runCommand("qpdf --json --json-key=acroform " + q(input) + " 2>/dev/null").output,
                                  "\"needappearances\": true");
    const int pages = pageCount(input);
    ASSERT_GT(pages, 0) << input;
    std::string rendered;
    for (int page = 1; page <= pages; page = page < 3 ? page + 1 : std::max(page + 1, pages))
        rendered += " " + std::to_string(page);
    // Both files read side by side, each into a folder of its own; a file read before in this
    // process (a co-signing's input is the signing's output) is not read again.
    const auto key = [](const fs::path& file) {
        return fs::absolute(file).string() + " " + std::to_string(fs::file_size(file)) + " " +
               std::to_string(fs::last_write_time(file).time_since_epoch().count());
    };
    static std::map<std::string, fs::path> readings;
    const auto known = readings.find(key(input));
    const Reading before{known != readings.end() ? known->second : makeTempDir("read")}, after{makeTempDir("read")};
    const std::string reader = q(VESK_TEST_SUPPORT_DIR "/read-pdf.sh") + " ";
    runCommand((known != readings.end() ? "" : reader + q(input) + " " + q(before.folder) + rendered + " & ") + reader +
               q(pdf) + " " + q(after.folder) + rendered + "; wait");
    readings[key(input)] = before.folder;
    readings[key(pdf)] = after.folder;

    for (const char* name : {"poppler", "render", "mupdf", "ghostscript", "pdfjs"}) {
        const auto was = before.complaints(name), now = after.complaints(name);
        std::string added;
        for (const std::string& line : now) added += was.count(line) ? "" : line + "\n";
        EXPECT_EQ(added, "") << name << " complains of the written file, not of the input";
    }
    const std::string text = after.out("poppler");
    EXPECT_EQ(std::count(text.begin(), text.end(), '\f'), pages) << "poppler's pages";
    EXPECT_EQ(after.out("pdfjs").rfind("pages " + std::to_string(pages) + "\n", 0), 0u) << "pdf.js's pages";

    std::istringstream list(rendered);
    for (int page = 0; list >> page;) {
        SCOPED_TRACE("page " + std::to_string(page));
        const Render was = loadRender(before.folder / ("page-" + std::to_string(page) + ".pgm")),
                     now = loadRender(after.folder / ("page-" + std::to_string(page) + ".pgm"));
        const bool stamped = stamp && (stamp->page == -2 || page - 1 == (stamp->page == -1 ? pages - 1 : stamp->page));
        int box[4] = {0, 0, -1, -1};
        if (stamped) {
            // Six pixels (12 points) of margin around the box hold the frame's padding and stroke.
            box[0] = static_cast<int>(stamp->x / 100 * was.width) - 6;
            box[1] = static_cast<int>(stamp->y / 100 * was.height) - 6;
            box[2] = static_cast<int>(stamp->x2 / 100 * was.width) + 6;
            box[3] = static_cast<int>(stamp->y2 / 100 * was.height) + 6;
            std::string expected = stamp->text;
            expected.erase(std::remove(expected.begin(), expected.end(), ' '), expected.end());
            EXPECT_TRUE(pdfjsPage(after, page).find(expected) != std::string::npos || boxBelowZero(input, page))
                << "pdf.js does not read the stamp \"" << stamp->text << "\": " << pdfjsPage(after, page);
        }
        expectSameBut(was, now, box, stamped ? 10 : 0, fieldsToDraw ? widgets(before, page) : std::vector<Widget>{});
    }
}

std::vector<PdfSignature> pdfSignatures(const std::string& pdf) {
    std::vector<PdfSignature> signatures;
    for (size_t at = pdf.find("/ByteRange"); at != std::string::npos; at = pdf.find("/ByteRange", at + 1)) {
        PdfSignature s;
        s.wellFormed = std::sscanf(pdf.c_str() + at, "/ByteRange [ %zu %zu %zu %zu", &s.a, &s.b, &s.c, &s.d) == 4 &&
                       s.a == 0 && s.b < s.c && s.c <= pdf.size() && s.d <= pdf.size() - s.c && pdf[s.b] == '<' &&
                       pdf[s.c - 1] == '>';
        if (s.wellFormed) {
            for (size_t i = s.b + 1; i + 2 < s.c; i += 2)
                s.der += static_cast<char>(std::stoi(pdf.substr(i, 2), nullptr, 16));
            s.covered = pdf.substr(s.a, s.b) + pdf.substr(s.c, s.d);
        }
        signatures.push_back(std::move(s));
    }
    return signatures;
}

int opensslVerifiedPdfSignatures(const fs::path& pdf, const fs::path& work) {
    int verified = 0;
    for (const PdfSignature& signature : pdfSignatures(readFile(pdf))) {
        EXPECT_TRUE(signature.wellFormed) << pdf << ": ByteRange " << signature.b << " " << signature.c;
        writeBytes(work / "hole.der", signature.der);
        writeBytes(work / "covered.bin", signature.covered);
        verified += signature.wellFormed && opensslVerifies(work / "hole.der", work / "covered.bin");
    }
    return verified;
}

void expectQpdfClean(const fs::path& pdf) {
    const auto checked = runCommand("qpdf --check " + q(pdf) + " 2>&1");
    EXPECT_EQ(checked.exitCode, 0) << pdf << "\n" << checked.output;
    EXPECT_NE(checked.output.find("No syntax or stream encoding errors"), std::string::npos) << pdf << "\n"
                                                                                             << checked.output;
}

std::string judgeSignedPdf(const fs::path& input, const fs::path& pdf, int count,
                           const std::optional<StampSeen>& stamp) {
    judgeWrittenPdf(input, pdf, stamp);
    // qpdf --check is clean, or, for an input it is not clean of, warns of nothing new.
    const auto qpdfWarnings = [](const fs::path& file) {
        std::set<std::string> warnings;
        std::istringstream out(runCommand("qpdf --check " + q(file) + " 2>&1").output);
        for (std::string line; std::getline(out, line);)
            if (line.rfind("WARNING: " + file.string(), 0) == 0) warnings.insert(line.substr(9 + file.string().size()));
        return warnings;
    };
    const auto before = qpdfWarnings(input);
    if (before.empty()) expectQpdfClean(pdf);
    for (const std::string& warning : qpdfWarnings(pdf))
        EXPECT_TRUE(before.count(warning)) << "qpdf warns of the written file, not of the input: " << warning;
    const std::string listing = runCommand("pdfsig " + q(pdf) + " 2>&1").output;
    const auto last = listing.rfind("Signature #");
    EXPECT_TRUE(last != std::string::npos && listing.find("Total document signed", last) != std::string::npos)
        << listing;
    EXPECT_EQ(pdfSignatures(readFile(pdf)).size(), static_cast<size_t>(count)) << pdf;
    EXPECT_EQ(opensslVerifiedPdfSignatures(pdf, pdf.parent_path()), count) << pdf;
    static ModuleClient module;
    const nlohmann::json verified = module.requestJson(verifyRequest(pdf));
    EXPECT_TRUE(verified["data"].is_array() && verified["data"].size() == static_cast<size_t>(count) &&
                verified["data"].back().value("Verifyed", false))
        << "the module's verify: " << verified.dump();
    return listing;
}

}  // namespace vesk::test

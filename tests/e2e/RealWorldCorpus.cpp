#include "RealWorldCorpus.h"

#include "SignedInputs.h"

#include "support/Process.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

namespace fs = std::filesystem;

namespace vesk::test {
namespace {

std::string q(const fs::path& path) { return shellQuote(path.string()); }

fs::path write(const fs::path& file, const std::string& text) {
    writeBytes(file, text);
    return file;
}

// PostScript pages of the given sizes, each with a line of text near its top.
std::string postscript(const std::vector<std::pair<int, int>>& sizes) {
    std::ostringstream ps;
    ps << "%!PS\n";
    int n = 1;
    for (const auto& [w, h] : sizes) {
        ps << "<< /PageSize [" << w << " " << h << "] >> setpagedevice\n"
           << "/Helvetica findfont 18 scalefont setfont\n"
           << "40 " << h - 60 << " moveto (Ghostscript page " << n++ << ") show\n"
           << "showpage\n";
    }
    return ps.str();
}

// mutool create page files: content of our own choosing, boxes and rotation as directives.
const char* kUnbalancedCm =
    "%%MediaBox 0 0 595 842\n%%Font F1 Helvetica\n"
    "BT /F1 18 Tf 40 780 Td (Page that ends inside a cm) Tj ET\n"
    "0.5 0 0 0.5 300 -200 cm\n";
const char* kInvisibleText =
    "%%MediaBox 0 0 595 842\n%%Font F1 Helvetica\n"
    "BT /F1 18 Tf 40 780 Td (OCR-like page: render mode 3 left on) Tj ET\n"
    "3 Tr\nBT /F1 12 Tf 40 400 Td (invisible text layer) Tj ET\n";
const char* kOffsetBox =
    "%%MediaBox 100 200 712 992\n%%Font F1 Helvetica\n"
    "BT /F1 18 Tf 150 930 Td (MediaBox from 100,200) Tj ET\n";
const char* kOffsetTurned =
    "%%MediaBox -300 -400 295 442\n%%Rotate 180\n%%Font F1 Helvetica\n"
    "BT /F1 18 Tf -250 -350 Td (Offset box, turned 180) Tj ET\n";
const char* kTurned270 =
    "%%MediaBox 0 0 420 595\n%%Rotate 270\n%%Font F1 Helvetica\n"
    "BT /F1 18 Tf 40 540 Td (Turned 270) Tj ET\n";
const char* kNoResources = "%%MediaBox 0 0 400 300\n%%Rotate 90\n0 0 1 rg 20 20 60 100 re f\n";

// mutool scripts: one sets a CropBox on page 1, the other drops the resources of page 1.
const char* kCropScript =
    "var doc = new PDFDocument(scriptArgs[0]);\n"
    "doc.findPage(0).put('CropBox', [150, 250, 662, 942]);\n"
    "doc.save(scriptArgs[1], 'compress');\n";
const char* kBareScript =
    "var doc = new PDFDocument(scriptArgs[0]);\n"
    "doc.findPage(0).delete('Resources');\n"
    "doc.save(scriptArgs[1], 'compress');\n";

}  // namespace

void produce(const std::string& command) {
    const auto result = runCommand(command + " 2>&1");
    ASSERT_EQ(result.exitCode, 0) << command << "\n" << result.output;
}

fs::path ghostscriptPdf(const fs::path& dir, const std::string& name) {
    const fs::path ps = write(dir / (name + ".ps"), postscript({{595, 842}, {612, 792}, {595, 420}}));
    produce("ps2pdf -dAutoRotatePages=/None " + q(ps) + " " + q(dir / name));
    return dir / name;
}

std::vector<CorpusPdf> makeCorpus(const fs::path& dir) {
    std::vector<CorpusPdf> corpus;
    const fs::path sizes = ghostscriptPdf(dir, "gs-sizes.pdf");
    corpus.push_back({"ghostscript: A4, Letter, A5 landscape", sizes});

    // Text running up the page: ghostscript turns the page with /Rotate 90.
    const fs::path upright = write(dir / "gs-rotated.ps",
                                   "%!PS\n<< /PageSize [595 842] >> setpagedevice\n/Helvetica findfont 18 scalefont "
                                   "setfont\n560 60 moveto 90 rotate (Landscape text on a portrait sheet, "
                                   "auto-rotated) show\nshowpage\n");
    produce("ps2pdf -dAutoRotatePages=/PageByPage " + q(upright) + " " + q(dir / "gs-rotated.pdf"));
    corpus.push_back({"ghostscript: /Rotate 90 from auto-rotation", dir / "gs-rotated.pdf"});

    produce("qpdf --object-streams=generate " + q(sizes) + " " + q(dir / "qpdf-objstm.pdf"));
    corpus.push_back({"qpdf --object-streams=generate", dir / "qpdf-objstm.pdf"});
    produce("qpdf --linearize " + q(sizes) + " " + q(dir / "qpdf-linear.pdf"));
    corpus.push_back({"qpdf --linearize", dir / "qpdf-linear.pdf"});
    produce("qpdf --rotate=+90:1 --rotate=180:2 --rotate=270:3 " + q(sizes) + " " + q(dir / "qpdf-rotate.pdf"));
    corpus.push_back({"qpdf --rotate: 90, 180, 270", dir / "qpdf-rotate.pdf"});

    const fs::path cm = write(dir / "cm.txt", kUnbalancedCm);
    const fs::path tr = write(dir / "tr.txt", kInvisibleText);
    produce("mutool create -o " + q(dir / "mutool-state.pdf") + " " + q(cm) + " " + q(tr));
    corpus.push_back({"mutool create: unbalanced cm, text render mode 3", dir / "mutool-state.pdf"});
    produce("mutool clean -gggg -z " + q(dir / "mutool-state.pdf") + " " + q(dir / "mutool-clean.pdf"));
    corpus.push_back({"mutool clean of the above", dir / "mutool-clean.pdf"});

    const fs::path offset = write(dir / "offset.txt", kOffsetBox);
    const fs::path bare = write(dir / "bare.txt", kNoResources);
    const fs::path turned = write(dir / "turned.txt", kOffsetTurned);
    const fs::path turned270 = write(dir / "turned270.txt", kTurned270);
    produce("mutool create -o " + q(dir / "mutool-boxes.pdf") + " " + q(offset) + " " + q(turned) + " " + q(turned270));
    const fs::path crop = write(dir / "crop.js", kCropScript);
    produce("mutool run " + q(crop) + " " + q(dir / "mutool-boxes.pdf") + " " + q(dir / "mutool-cropped.pdf"));
    corpus.push_back({"mutool: MediaBox at 100,200 with a CropBox; box at -300,-400, /Rotate 180; /Rotate 270",
                      dir / "mutool-cropped.pdf"});

    produce("mutool create -o " + q(dir / "mutool-page.pdf") + " " + q(bare));
    const fs::path strip = write(dir / "strip.js", kBareScript);
    produce("mutool run " + q(strip) + " " + q(dir / "mutool-page.pdf") + " " + q(dir / "mutool-bare.pdf"));
    corpus.push_back({"mutool: a page without /Resources, /Rotate 90", dir / "mutool-bare.pdf"});
    return corpus;
}

fs::path pdfTexManual(const fs::path& dir) {
    const auto found =
        runCommand("find /usr/share/doc -name '*.pdf' -o -name '*.pdf.gz' 2>/dev/null | sort | head -200");
    std::istringstream lines(found.output);
    fs::path best;
    uintmax_t bestSize = 0;
    const fs::path copy = dir / "pdftex.pdf";
    for (std::string line; std::getline(lines, line);) {
        const bool gz = line.size() > 3 && line.compare(line.size() - 3, 3, ".gz") == 0;
        const fs::path probe = dir / "probe.pdf";
        runCommand((gz ? "zcat " : "cat ") + q(line) + " > " + q(probe) + " 2>/dev/null");
        const auto info = runCommand("pdfinfo " + q(probe) + " 2>/dev/null");
        if (info.output.find("pdfTeX") == std::string::npos) continue;
        std::error_code error;
        const uintmax_t size = fs::file_size(probe, error);
        if (error || size > 2u * 1024 * 1024 || (!best.empty() && size >= bestSize)) continue;
        best = line;
        bestSize = size;
        fs::copy_file(probe, copy, fs::copy_options::overwrite_existing);
    }
    return best.empty() ? fs::path() : copy;
}

}  // namespace vesk::test

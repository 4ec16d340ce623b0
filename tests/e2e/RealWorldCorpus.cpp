#include "RealWorldCorpus.h"

#include <cstdio>

namespace fs = std::filesystem;

namespace vesk::test {

void produce(const std::string& command) {
    const auto result = runCommand(command + " 2>&1");
    ASSERT_EQ(result.exitCode, 0) << command << "\n" << result.output;
}

fs::path ghostscriptPdf(const fs::path& dir, const std::string& name) {
    // Each page with a line of text near its top.
    std::string ps = "%!PS\n";
    int n = 0;
    for (const auto& [w, h] : {std::pair(595, 842), std::pair(612, 792), std::pair(595, 420)})
        ps += "<< /PageSize [" + std::to_string(w) + " " + std::to_string(h) +
              "] >> setpagedevice\n/Helvetica findfont 18 scalefont setfont\n40 " + std::to_string(h - 60) +
              " moveto (Ghostscript page " + std::to_string(++n) + ") show\nshowpage\n";
    writeBytes(dir / (name + ".ps"), ps);
    produce("ps2pdf -dAutoRotatePages=/None " + q(dir / (name + ".ps")) + " " + q(dir / name));
    return dir / name;
}

std::vector<CorpusPdf> makeCorpus(const fs::path& dir) {
    ghostscriptPdf(dir, "gs-sizes.pdf");
    // Page files for mutool create hold content of our own choosing; the mutool scripts change page 1.
    writeBytes(dir / "corpus.sh", R"SH(set -ex
line() { printf '%s\n' "$@"; }
page1() { line 'var doc = new PDFDocument(scriptArgs[0]);' "doc.findPage(0).$1;" \
  "doc.save(scriptArgs[1], 'compress');"; }
# Text running up the page: ghostscript turns the page with /Rotate 90.
line '%!PS' '<< /PageSize [595 842] >> setpagedevice' '/Helvetica findfont 18 scalefont setfont' \
  '560 60 moveto 90 rotate (Landscape text on a portrait sheet, auto-rotated) show' showpage > gs-rotated.ps
ps2pdf -dAutoRotatePages=/PageByPage gs-rotated.ps gs-rotated.pdf
qpdf --object-streams=generate gs-sizes.pdf qpdf-objstm.pdf
qpdf --linearize gs-sizes.pdf qpdf-linear.pdf
qpdf --rotate=+90:1 --rotate=180:2 --rotate=270:3 gs-sizes.pdf qpdf-rotate.pdf
line '%%MediaBox 0 0 595 842' '%%Font F1 Helvetica' 'BT /F1 18 Tf 40 780 Td (Page that ends inside a cm) Tj ET' \
  '0.5 0 0 0.5 300 -200 cm' > cm.txt
line '%%MediaBox 0 0 595 842' '%%Font F1 Helvetica' \
  'BT /F1 18 Tf 40 780 Td (OCR-like page: render mode 3 left on) Tj ET' '3 Tr' \
  'BT /F1 12 Tf 40 400 Td (invisible text layer) Tj ET' > tr.txt
mutool create -o mutool-state.pdf cm.txt tr.txt
mutool clean -gggg -z mutool-state.pdf mutool-clean.pdf
line '%%MediaBox 100 200 712 992' '%%Font F1 Helvetica' 'BT /F1 18 Tf 150 930 Td (MediaBox from 100,200) Tj ET' \
  > offset.txt
line '%%MediaBox -300 -400 295 442' '%%Rotate 180' '%%Font F1 Helvetica' \
  'BT /F1 18 Tf -250 -350 Td (Offset box, turned 180) Tj ET' > turned.txt
line '%%MediaBox 0 0 420 595' '%%Rotate 270' '%%Font F1 Helvetica' 'BT /F1 18 Tf 40 540 Td (Turned 270) Tj ET' \
  > turned270.txt
mutool create -o mutool-boxes.pdf offset.txt turned.txt turned270.txt
page1 "put('CropBox', [150, 250, 662, 942])" > crop.js
mutool run crop.js mutool-boxes.pdf mutool-cropped.pdf
line '%%MediaBox 0 0 400 300' '%%Rotate 90' '0 0 1 rg 20 20 60 100 re f' > bare.txt
mutool create -o mutool-page.pdf bare.txt
page1 "delete('Resources')" > strip.js
mutool run strip.js mutool-page.pdf mutool-bare.pdf
)SH");
    produce("cd " + q(dir) + " && bash corpus.sh");
    return {{"ghostscript: A4, Letter, A5 landscape", dir / "gs-sizes.pdf"},
            {"ghostscript: /Rotate 90 from auto-rotation", dir / "gs-rotated.pdf"},
            {"qpdf --object-streams=generate", dir / "qpdf-objstm.pdf"},
            {"qpdf --linearize", dir / "qpdf-linear.pdf"},
            {"qpdf --rotate: 90, 180, 270", dir / "qpdf-rotate.pdf"},
            {"mutool create: unbalanced cm, text render mode 3", dir / "mutool-state.pdf"},
            {"mutool clean of the above", dir / "mutool-clean.pdf"},
            {"mutool: MediaBox at 100,200 with a CropBox; box at -300,-400, /Rotate 180; /Rotate 270",
             dir / "mutool-cropped.pdf"},
            {"mutool: a page without /Resources, /Rotate 90", dir / "mutool-bare.pdf"}};
}

fs::path pdfTexManual(const fs::path& dir) {
    // Sizes and names of the pdfTeX PDFs, smallest first: the first of at most 2 MiB is taken.
    const std::string found =
        runCommand("cd " + q(dir) + R"SH( && find /usr/share/doc -name '*.pdf' -o -name '*.pdf.gz' |
    sort | head -200 | while read -r f; do zcat -f "$f" > probe.pdf; pdfinfo probe.pdf | grep -q pdfTeX &&
    echo "$(stat -c %s probe.pdf) $f"; done 2>/dev/null | sort -n |
    awk '$1 <= 2097152 { print substr($0, length($1) + 2); exit }')SH")
            .output;
    if (found.empty()) return {};
    produce("zcat -f " + shellQuote(found.substr(0, found.size() - 1)) + " > " + q(dir / "pdftex.pdf"));
    return dir / "pdftex.pdf";
}

}  // namespace vesk::test

#include "RealWorldCorpus.h"

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

std::vector<CorpusPdf> makeCorpus(const fs::path& dir, bool libreOffice) {
    produce("bash " + q(VESK_E2E_DIR "/make-pdf-corpus.sh") + " " + q(dir) + (libreOffice ? "" : " no-libreoffice"));
    std::vector<CorpusPdf> corpus = {
        {"ghostscript: A4, Letter, A5 landscape", dir / "gs-sizes.pdf"},
        {"ghostscript: /Rotate 90 from auto-rotation", dir / "gs-rotated.pdf"},
        {"qpdf --object-streams=generate", dir / "qpdf-objstm.pdf"},
        {"qpdf --linearize", dir / "qpdf-linear.pdf"},
        {"qpdf --rotate: 90, 180, 270", dir / "qpdf-rotate.pdf"},
        {"mutool create: unbalanced cm, text render mode 3", dir / "mutool-state.pdf"},
        {"mutool clean of the above", dir / "mutool-clean.pdf"},
        {"mutool: MediaBox at 100,200 with a CropBox; box at -300,-400, /Rotate 180; /Rotate 270",
         dir / "mutool-cropped.pdf"},
        {"mutool: a page without /Resources, /Rotate 90", dir / "mutool-bare.pdf"},
        {"reportlab", dir / "reportlab.pdf"},
        {"cairo", dir / "cairo.pdf"},
        {"img2pdf: a photo", dir / "img2pdf.pdf"},
        {"mutool: a page tree two levels deep, /Rotate 90 inherited", dir / "mutool-nested.pdf"},
        {"groff -Tpdf", dir / "groff.pdf"}};
    if (libreOffice) corpus.push_back({"LibreOffice: tagged PDF/A-2b", dir / "libreoffice-pdfa.pdf"});
    return corpus;
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

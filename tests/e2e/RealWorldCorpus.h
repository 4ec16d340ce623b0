#pragma once
// What the PDF suites share: PDFs of independent producers, made at test time, and the independent
// judges of a signed PDF.
// The corpus (make-pdf-corpus.sh): ghostscript (ps2pdf), mupdf-tools (mutool create, run, clean),
// qpdf transforms, reportlab, cairo, img2pdf, groff, LibreOffice (tagged PDF/A), and a pdfTeX manual
// when the machine has one. Each page kind that trips a stamp or a signer is there: several sizes,
// landscape, /Rotate 90/180/270, boxes not at 0,0 and a CropBox, content that leaves a cm or text
// render mode 3 behind, a page without /Resources, object streams, linearization. Its forms
// (reportlab's fields; widgets without appearances under /NeedAppearances true) stay in `dir` for
// the form tests.

#include "ModuleClient.h"
#include "SignedInputs.h"

#include "support/Process.h"
#include "support/TempHome.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

namespace vesk::test {

// Producer and page kinds, for test traces, and the file.
using CorpusPdf = std::pair<std::string, std::filesystem::path>;

// The corpus, written into `dir`, LibreOffice's file only when asked. Fails the calling test when a
// producer fails.
std::vector<CorpusPdf> makeCorpus(const std::filesystem::path& dir, bool libreOffice = true);

// A three-page ghostscript PDF: A4, Letter, A5 landscape.
std::filesystem::path ghostscriptPdf(const std::filesystem::path& dir, const std::string& name);

// A copy of the smallest pdfTeX-made PDF found under /usr/share/doc (plain or gzipped), or an
// empty path when there is none.
std::filesystem::path pdfTexManual(const std::filesystem::path& dir);

// "tool ARGS"; fails the calling test on a non-zero exit.
void produce(const std::string& command);

inline bool has(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }
// True when `later` begins with every byte of `earlier`, as an incremental update does.
inline bool extends(const std::string& later, const std::string& earlier) {
    return later.compare(0, earlier.size(), earlier) == 0;
}

}  // namespace vesk::test

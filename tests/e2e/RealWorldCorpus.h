#pragma once
// PDFs of independent producers, made at test time: ghostscript (ps2pdf), mupdf-tools (mutool
// create, run, clean), qpdf transforms, and a pdfTeX manual when the machine has one. Each page
// kind that trips a stamp or a signer is there: several sizes, landscape, /Rotate 90/180/270,
// boxes not at 0,0 and a CropBox, content that leaves a cm or text render mode 3 behind, a page
// without /Resources, object streams, linearization.

#include <filesystem>
#include <string>
#include <vector>

namespace vesk::test {

struct CorpusPdf {
    std::string name;  // producer and page kinds, for test traces
    std::filesystem::path file;
};

// The corpus, written into `dir`. Fails the calling test when a producer fails.
std::vector<CorpusPdf> makeCorpus(const std::filesystem::path& dir);

// A three-page ghostscript PDF: A4, Letter, A5 landscape.
std::filesystem::path ghostscriptPdf(const std::filesystem::path& dir, const std::string& name);

// A copy of the smallest pdfTeX-made PDF found under /usr/share/doc (plain or gzipped), or an
// empty path when there is none.
std::filesystem::path pdfTexManual(const std::filesystem::path& dir);

// "tool ARGS"; fails the calling test on a non-zero exit.
void produce(const std::string& command);

}  // namespace vesk::test

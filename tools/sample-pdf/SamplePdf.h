#pragma once
// Writes sample PDF documents with Russian text, for tests, the demo and the benchmarks.

#include <cstdint>
#include <filesystem>

struct SamplePdfOptions {
    int pages = 2;
    // When non-zero, random image data is added until the file holds at least this many bytes.
    std::uint64_t minimumBytes = 0;
};

// Writes the document to a temporary file beside `path`, then renames it into place.
// Throws PoDoFo::PdfError or std::exception on failure.
void writeSamplePdf(const std::filesystem::path& path, const SamplePdfOptions& options);

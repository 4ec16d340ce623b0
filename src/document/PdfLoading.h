#pragma once
// Loading PDFs from memory and finding their signatures, shared by the PDF verifier, the format
// checks and the PDF signer.

#include <podofo/podofo.h>

#include <string>
#include <vector>

namespace Vesk::Crypto {

// Sets PoDoFo up once per process, before its first use: its console messages are switched off
// (the module must not write into the host's stderr), and the tables it otherwise builds lazily
// on first use, unsynchronised, are built here, so that plugin objects on several threads can
// work on PDFs at once.
void preparePdfLibrary();

// Where the "%PDF-" header starts: readers take it anywhere in the first 1024 bytes and count the
// file's offsets from there. 0 when it is not found, and for a signature message that carries a
// PDF as its content.
size_t pdfHeaderOffset(const std::vector<char>& bytes);

// Loads the bytes, from their header on, into the document; PdfError on a broken PDF, and on one
// nested too deeply to be parsed safely (see PdfNesting.h), before PoDoFo reads any of it. The
// document reads the bytes where they are, so they must outlive it.
void loadPdfFromBuffer(PoDoFo::PdfMemDocument& document, const std::vector<char>& bytes, bool forUpdate);

// The ByteRange values of every dictionary that has one, in storage order.
std::vector<const PoDoFo::PdfObject*> findByteRanges(const PoDoFo::PdfMemDocument& document);

}  // namespace Vesk::Crypto

#pragma once
// Loading PDFs from memory and finding their signatures, shared by the PDF verifier, the format
// checks and the PDF signer.

#include <podofo/podofo.h>

#include <string>
#include <vector>

namespace Vesk::Crypto {

// Loads the bytes into the document; PdfError on a broken PDF. PoDoFo's own console messages are
// switched off first: the module must not write into the host's stderr.
void loadPdfFromBuffer(PoDoFo::PdfMemDocument& document, const std::vector<char>& bytes, bool forUpdate);

// The ByteRange values of every dictionary that has one, in storage order.
std::vector<const PoDoFo::PdfObject*> findByteRanges(const PoDoFo::PdfMemDocument& document);

}  // namespace Vesk::Crypto

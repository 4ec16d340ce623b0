#pragma once
// What a file holds when read as a PDF: the content test behind format detection.

#include <string>
#include <vector>

namespace Vesk::Crypto {

enum class PdfContentKind {
    NotPdf,    // PoDoFo cannot load it (e.g. a PDF wrapped in a signature message)
    Unsigned,  // loads, with no signature dictionary
    Signed,    // loads, and some dictionary holds a ByteRange
};

// Never throws; for NotPdf the loader's message goes to `loadError`.
PdfContentKind pdfContentKind(const std::vector<char>& bytes, std::string& loadError);

}  // namespace Vesk::Crypto

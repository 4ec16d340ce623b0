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

// A DER SEQUENCE that spans the whole buffer (or a BER one of indefinite length): the shape of a
// signature message, which may carry a whole PDF, header and all, as its content.
bool isSignatureMessage(const std::vector<char>& bytes);

}  // namespace Vesk::Crypto

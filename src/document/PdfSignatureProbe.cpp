#include "document/PdfSignatureProbe.h"

#include "document/PdfLoading.h"

#include <exception>

namespace Vesk::Crypto {

PdfContentKind pdfContentKind(const std::vector<char>& bytes, std::string& loadError) {
    try {
        PoDoFo::PdfMemDocument document;
        loadPdfFromBuffer(document, bytes, false);
        return findByteRanges(document).empty() ? PdfContentKind::Unsigned : PdfContentKind::Signed;
    } catch (const PoDoFo::PdfError& error) {
        loadError = error.what();
    } catch (const std::exception& error) {
        loadError = error.what();
    } catch (...) {
        loadError = "unknown error";
    }
    return PdfContentKind::NotPdf;
}

}  // namespace Vesk::Crypto

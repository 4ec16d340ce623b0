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

bool isSignatureMessage(const std::vector<char>& bytes) {
    if (bytes.size() < 2 || bytes[0] != 0x30) return false;
    const auto lengthByte = static_cast<unsigned char>(bytes[1]);
    if (lengthByte == 0x80) return true;
    if (lengthByte < 0x80) return bytes.size() == 2u + lengthByte;
    const size_t lengthBytes = lengthByte & 0x7fu;
    if (lengthBytes > 4 || bytes.size() < 2 + lengthBytes) return false;
    size_t length = 0;
    for (size_t i = 0; i < lengthBytes; ++i) length = (length << 8) | static_cast<unsigned char>(bytes[2 + i]);
    return bytes.size() == 2 + lengthBytes + length;
}

}  // namespace Vesk::Crypto

#include "document/PdfLoading.h"

#include "document/PdfCiphers.h"

#include <mutex>
#include <string_view>

namespace Vesk::Crypto {

void loadPdfFromBuffer(PoDoFo::PdfMemDocument& document, const std::vector<char>& bytes, bool forUpdate) {
    static std::once_flag quiet;
    std::call_once(quiet, [] {
        PoDoFo::PdfError::EnableLogging(false);
        PoDoFo::PdfError::EnableDebug(false);
    });
    // Every encrypted PDF names its encryption dictionary in a trailer, which is never compressed.
    if (std::string_view(bytes.data(), bytes.size()).find("/Encrypt") != std::string_view::npos)
        enableLegacyPdfCiphers();
    document.LoadFromBuffer(bytes.data(), static_cast<long>(bytes.size()), forUpdate);
}

std::vector<const PoDoFo::PdfObject*> findByteRanges(const PoDoFo::PdfMemDocument& document) {
    std::vector<const PoDoFo::PdfObject*> ranges;
    for (const PoDoFo::PdfObject* object : document.GetObjects()) {
        if (object == nullptr || !object->IsDictionary()) continue;
        if (const PoDoFo::PdfObject* range = object->GetDictionary().GetKey("ByteRange")) ranges.push_back(range);
    }
    return ranges;
}

}  // namespace Vesk::Crypto

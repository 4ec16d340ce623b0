#include "document/PdfLoading.h"

#include <mutex>

namespace Vesk::Crypto {

void loadPdfFromBuffer(PoDoFo::PdfMemDocument& document, const std::vector<char>& bytes, bool forUpdate) {
    static std::once_flag quiet;
    std::call_once(quiet, [] {
        PoDoFo::PdfError::EnableLogging(false);
        PoDoFo::PdfError::EnableDebug(false);
    });
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

#include "document/PdfStampCanvas.h"

#include <cstring>

namespace Vesk::Crypto {
namespace {

using namespace PoDoFo;

PdfObject* resolve(PdfVecObjects& objects, PdfObject* object) {
    return object != nullptr && object->IsReference() ? objects.GetObject(object->GetReference()) : object;
}

// A new uncompressed content stream holding `operators`.
PdfReference contentStream(PdfVecObjects& objects, const char* operators) {
    PdfObject* stream = objects.CreateObject();
    stream->GetStream()->Set(operators, static_cast<pdf_long>(std::strlen(operators)), TVecFilters());
    return stream->Reference();
}

// The page's own resource dictionary, or the inherited one; made when there is none.
PdfObject* resourcesOf(PdfVecObjects& objects, PdfPage& page) {
    PdfObject* resources = page.GetResources();
    if (resources != nullptr && resources->IsDictionary()) return resources;
    PdfDictionary& dictionary = page.GetObject()->GetDictionary();
    resources = resolve(objects, dictionary.GetKey("Resources"));
    if (resources != nullptr && resources->IsDictionary()) return resources;
    dictionary.AddKey("Resources", PdfDictionary());
    return dictionary.GetKey("Resources");
}

}  // namespace

StampCanvas::StampCanvas(PdfMemDocument& document, PdfPage& page) : page_(page) {
    PdfVecObjects& objects = document.GetObjects();
    resources_ = resourcesOf(objects, page);

    PdfDictionary& dictionary = page.GetObject()->GetDictionary();
    PdfArray own;
    if (PdfObject* contents = dictionary.GetKey("Contents")) {
        PdfObject* resolved = resolve(objects, contents);
        if (resolved != nullptr && resolved->IsArray())
            own = resolved->GetArray();
        else if (contents->IsReference())
            own.push_back(*contents);
    }
    PdfArray wrapped;
    if (!own.empty()) {
        wrapped.push_back(contentStream(objects, "q\n"));
        wrapped.insert(wrapped.end(), own.begin(), own.end());
        wrapped.push_back(contentStream(objects, "\nQ\n"));
    }
    stamp_ = objects.CreateObject();
    wrapped.push_back(stamp_->Reference());
    dictionary.AddKey("Contents", wrapped);
}

}  // namespace Vesk::Crypto

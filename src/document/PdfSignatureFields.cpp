#include "document/PdfSignatureFields.h"

#include "common/Logging.h"
#include "document/PdfRequestTexts.h"

#include <algorithm>

namespace Vesk::Crypto {
namespace {

using namespace PoDoFo;

// The object a reference names, or the object itself.
PdfObject* resolve(PdfVecObjects* objects, PdfObject* object) {
    if (object == nullptr || !object->IsReference()) return object;
    return objects != nullptr ? objects->GetObject(object->GetReference()) : nullptr;
}

// The field type of a field dictionary: its own FT, or its parent's; null when neither has one.
const PdfObject* fieldType(PdfVecObjects* objects, PdfObject& field) {
    if (const PdfObject* type = field.GetDictionary().GetKey("FT")) return type;
    PdfObject* parent = resolve(objects, field.GetDictionary().GetKey("Parent"));
    return parent != nullptr ? parent->GetDictionary().GetKey("FT") : nullptr;
}

}  // namespace

PdfObject* findExistingSignatureField(PdfAcroForm* form, const PdfString& name) {
    if (form == nullptr || form->GetObject() == nullptr) return nullptr;
    PdfVecObjects* objects = form->GetObject()->GetOwner();
    PdfObject* fields = resolve(objects, form->GetObject()->GetDictionary().GetKey("Fields"));
    if (fields == nullptr || !fields->IsArray() || fields->GetArray().empty()) return nullptr;

    // A field of another type with the name does not block it, but a signature field further on does.
    for (PdfObject& element : fields->GetArray()) {
        if (!element.IsReference()) continue;
        PdfObject* field = resolve(objects, &element);
        if (field == nullptr || !field->IsDictionary()) continue;
        const PdfObject* title = field->GetDictionary().GetKey("T");
        if (title == nullptr || !title->IsString() || !(title->GetString() == name)) continue;
        const PdfObject* type = fieldType(objects, *field);
        if (type == nullptr) continue;
        if (type->GetName() == PdfName("Sig")) return field;
        VLOG_VERBOSE << "Existing field '" << name.GetStringUtf8() << "' isn't of a signature type, but '"
                     << type->GetName().GetName() << "' instead";
    }
    return nullptr;
}

PdfString pdfText(const std::string& utf8) {
    // PoDoFo's UTF-8 reader runs past its buffer on malformed input.
    if (!isUtf8(utf8)) PODOFO_RAISE_ERROR_INFO(ePdfError_InvalidDataType, "text is not UTF-8");
    const bool ascii =
        std::all_of(utf8.begin(), utf8.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
    if (ascii) return PdfString(utf8);
    return PdfString(reinterpret_cast<const pdf_utf8*>(utf8.c_str()));
}

PdfString freeSignatureFieldName(PdfAcroForm* form, const std::string& searchString) {
    const std::string base = "Sign_" + searchString;
    PdfString name = pdfText(base);
    for (int n = 1; findExistingSignatureField(form, name) != nullptr; ++n)
        name = pdfText(base + "_" + std::to_string(n));
    return name;
}

void addSignatureField(PdfMemDocument& document, PdfPage* page, const PdfRect& rect, const PdfSignOutputDevice& device,
                       const SignOptions& options) {
    VLOG_VERBOSE << "[F] addSignatureField";
    const PdfData* beacon = device.GetSignatureBeacon();
    if (beacon == nullptr) PODOFO_RAISE_ERROR_INFO(ePdfError_InvalidHandle, "the sign device reserves no signature");

    const PdfString name = freeSignatureFieldName(document.GetAcroForm(false), options.search_string);
    PdfSignatureField field(page, rect, &document);
    field.SetSignature(*beacon);
    field.SetFieldName(name);
    field.SetSignatureReason(pdfText(options.reason));
    field.SetSignatureDate(PdfDate());
    VLOG_DEBUG << "Signature field: " << name.GetStringUtf8();

    PdfObject* signature = field.GetSignatureObject();
    if (signature == nullptr) PODOFO_RAISE_ERROR(ePdfError_InvalidHandle);
    PdfDictionary& dictionary = signature->GetDictionary();
    if (options.provider == CryptoProvider::CryptoPro && dictionary.HasKey(PdfName::KeyFilter)) {
        dictionary.RemoveKey(PdfName::KeyFilter);
        dictionary.AddKey(PdfName::KeyFilter, PdfName("CryptoPro PDF"));
    }
}

}  // namespace Vesk::Crypto

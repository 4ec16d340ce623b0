#pragma once
// Signature fields of a PDF being signed: finding a free field name and adding the field whose
// signature dictionary reserves the hole for the signature.

#include "model/SignOptions.h"

#include <podofo/podofo.h>

#include <string>

namespace Vesk::Crypto {

// The field object of the form's signature field called `name`, or null. Only the form's
// top-level fields count; a field of another type with that name is no match, and the search goes
// on past it. PdfError when an entry that must be a dictionary, reference, array or name is not.
PoDoFo::PdfObject* findExistingSignatureField(PoDoFo::PdfAcroForm* form, const PoDoFo::PdfString& name);

// A PDF text string: plain for ASCII, UTF-16 otherwise. PdfError for a text that is not UTF-8.
PoDoFo::PdfString pdfText(const std::string& utf8);

// "Sign_" + search string, or with "_1", "_2", ... appended: the first name no signature field
// of the form has.
PoDoFo::PdfString freeSignatureFieldName(PoDoFo::PdfAcroForm* form, const std::string& searchString);

// Adds a signature field on the page with a free name and a signature dictionary holding the
// device's beacon, the reason and the current time. For the CryptoPro provider the dictionary's
// Filter becomes "CryptoPro PDF". PdfError on failure.
void addSignatureField(PoDoFo::PdfMemDocument& document, PoDoFo::PdfPage* page, const PoDoFo::PdfRect& rect,
                       const PoDoFo::PdfSignOutputDevice& device, const SignOptions& options);

}  // namespace Vesk::Crypto

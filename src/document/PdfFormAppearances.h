#pragma once
// The interactive form of a PDF being signed. A form whose /NeedAppearances is true asks viewers
// to draw its fields from their values; a signed file must not (a viewer that redraws a field
// changes what was signed), so the flag is cleared, and before that every field gets the
// appearance its value asks for. The form's own default appearance and resources are kept.

#include <podofo/podofo.h>

namespace Vesk::Crypto {

// The document's form, made (12-point black text) when it has none. An existing form keeps its
// /DA and /DR; one without /DA gets the 12-point black default, its font added to /DR under a
// name /DR does not use yet.
PoDoFo::PdfAcroForm* formForSigning(PoDoFo::PdfMemDocument& document);

// When the form has /NeedAppearances true: draws the normal appearance of every text and choice
// field from its value, default appearance, alignment and colours, sets the state of every check
// box and radio button from its value, and clears the flag. Fields are found through /Fields and
// /Kids (each node once, depth bounded); /FT, /V, /DA, /Q, /Ff, /MaxLen and /Opt are inherited
// from parent fields. Text the field's font cannot encode is drawn in a font of the module's.
void drawFieldAppearances(PoDoFo::PdfMemDocument& document, PoDoFo::PdfAcroForm& form);

}  // namespace Vesk::Crypto

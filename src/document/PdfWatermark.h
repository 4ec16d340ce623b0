#pragma once
// The visible stamp of a signed PDF: a framed block of text lines on a page.

#include "model/SignOptions.h"

#include <podofo/podofo.h>

namespace Vesk::Crypto {

// A stamp is drawn when the request gives at least one watermark line.
bool watermarkRequested(const SignOptions& options);

// Draws the stamp of options.watermark on the page. With a sign device it also adds the signature
// field (see addSignatureField), over the stamp's frame when the stamp is clickable and invisible
// otherwise. PdfError passes through; a line whose font cannot be made is left out.
void drawWatermark(PoDoFo::PdfPage* page, PoDoFo::PdfMemDocument& document, PoDoFo::PdfSignOutputDevice* device,
                   const SignOptions& options);

}  // namespace Vesk::Crypto

#pragma once
// The visible stamp on a PDF, without signing it: added as an incremental update, so the earlier
// bytes and the signatures over them stay as they are.

#include "model/Results.h"
#include "model/SignOptions.h"

#include <podofo/podofo.h>

#include <vector>

namespace Vesk::Crypto {

// Stamps options.file and writes the stamped PDF to options.output_file (the input is never
// changed). Without watermark lines the input's bytes are copied as they are.
RequestApiResultPtr stampPdfFile(const SignOptions& options, InternalSignOptions& internal);

// Stamps a PDF in memory: `stamped` is the PDF's bytes followed by the update. A PDF that ends
// right after "%%EOF" gains an end-of-line first, so that the update starts on its own line.
RequestApiResultPtr stampPdfBytes(std::vector<char>& pdf, const SignOptions& options, InternalSignOptions& internal,
                                  std::vector<unsigned char>& stamped);

// Stamps the pages of a loaded document that options.watermark.page selects: -1 the last page,
// -2 every page, otherwise that page index.
RequestApiResultPtr stampPdfDocument(PoDoFo::PdfMemDocument& document, const SignOptions& options,
                                     InternalSignOptions& internal);

}  // namespace Vesk::Crypto

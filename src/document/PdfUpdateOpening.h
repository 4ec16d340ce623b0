#pragma once
// Opening a PDF for an incremental update, and the permissions its encryption gives.

#include "document/PdfIncrementalUpdate.h"
#include "model/Results.h"

#include <podofo/podofo.h>

#include <memory>
#include <string>
#include <vector>

namespace Vesk::Crypto {

// Loads the bytes for an incremental update; null after a failure, which becomes the one load
// message (or the refusal of a file that needs a password). A page tree whose count the file does
// not hold is such a failure: the stamp loops over the pages that count promises.
std::unique_ptr<PdfIncrementalUpdate> openForUpdate(PoDoFo::PdfMemDocument& document, const std::vector<char>& pdf,
                                                    const RequestApiResultPtr& result);

// A permission the document's encryption withholds; false after the refusal is recorded.
bool permitted(const std::string& refusal, const RequestApiResultPtr& result);

}  // namespace Vesk::Crypto

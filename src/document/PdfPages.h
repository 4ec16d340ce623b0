#pragma once
// The pages a PDF really has. PoDoFo takes the page count from the tree's /Count, which a file
// may set to anything (2147483647 makes "stamp every page" run without end); the signer
// accepts a document only when the count matches the pages its tree actually holds.

#include <podofo/podofo.h>

namespace Vesk::Crypto {

// The number of pages in the document's page tree, found by walking /Kids from the root (each
// node once, at most kMaxPdfNesting levels deep). PdfError when the tree loops, nests deeper,
// or holds a different number of pages than its /Count claims.
int checkedPageCount(const PoDoFo::PdfMemDocument& document);

}  // namespace Vesk::Crypto

#pragma once
// The pages a PDF really has. PoDoFo takes the page count from the tree's /Count, which a file
// may set to anything (2147483647 makes "stamp every page" run without end); the signer
// accepts a document only when the count matches the pages its tree actually holds. PoDoFo's
// page lookup by index scans a node's /Kids from the start, so visiting every page by index takes
// time quadratic in a flat tree; the pages are visited by one walk of the tree instead.

#include <podofo/podofo.h>

#include <functional>

namespace Vesk::Crypto {

// The number of pages in the document's page tree, found by walking /Kids from the root (each
// node once, at most kMaxPdfNesting levels deep). PdfError when the tree loops, nests deeper,
// or holds a different number of pages than its /Count claims.
int checkedPageCount(PoDoFo::PdfMemDocument& document);

// Calls `visit` with every page of the tree, in document order, in one walk (as checkedPageCount
// walks it, with the same errors). Each page lives only during its call.
void forEachPage(PoDoFo::PdfMemDocument& document, const std::function<void(PoDoFo::PdfPage&)>& visit);

}  // namespace Vesk::Crypto

#pragma once
// What one revision of a PDF changed, judged object by object against the revisions before it.
// A signature's own changes (a new signature field with its dictionary, the form's /Fields and
// /SigFlags, a page's /Annots gaining its widget, and this module's visible stamp in the revision
// that adds the signature) are not changes of the document; anything else is.

#include "document/PdfRevisions.h"

#include <set>

namespace Vesk::Crypto {

// What a user sees change, coarsely.
enum class DocumentChange { Pages, Catalog, Form, Other };

// The document changes of revision `index` (not the first); `addsSignature` when a signature
// ends with this revision, which is what lets the stamp in.
std::set<DocumentChange> documentChanges(PdfRevisions& revisions, size_t index, bool addsSignature);

}  // namespace Vesk::Crypto

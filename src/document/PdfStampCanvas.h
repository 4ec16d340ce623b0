#pragma once
// Where a stamp is painted: a content stream of its own after the page's content, which is wrapped
// in q ... Q first. Whatever graphics state the page's content leaves behind (an unbalanced cm, text
// render mode 3 of an OCR layer, a clip) is gone before the stamp starts, so the stamp is drawn
// from the page's initial state.

#include <podofo/podofo.h>

namespace Vesk::Crypto {

class StampCanvas : public PoDoFo::PdfCanvas {
public:
    // Rewrites the page's /Contents as [q, the page's streams..., Q, the stamp's stream]. A page
    // without resources gets an empty resource dictionary of its own. PdfError on failure.
    StampCanvas(PoDoFo::PdfMemDocument& document, PoDoFo::PdfPage& page);

    PoDoFo::PdfObject* GetContents() const override { return stamp_; }
    PoDoFo::PdfObject* GetContentsForAppending() const override { return stamp_; }
    PoDoFo::PdfObject* GetResources() const override { return resources_; }
    const PoDoFo::PdfRect GetPageSize() const override { return page_.GetPageSize(); }

private:
    PoDoFo::PdfPage& page_;
    PoDoFo::PdfObject* stamp_ = nullptr;
    PoDoFo::PdfObject* resources_ = nullptr;
};

}  // namespace Vesk::Crypto

#include "document/PdfShownPage.h"

#include <algorithm>

namespace Vesk::Crypto {
namespace {

struct Box {
    double left, bottom, right, top;
    bool empty() const { return right <= left || top <= bottom; }
};

// Page boxes may list their corners in any order.
Box boxOf(const PoDoFo::PdfRect& rect) {
    const double x1 = rect.GetLeft(), x2 = rect.GetLeft() + rect.GetWidth();
    const double y1 = rect.GetBottom(), y2 = rect.GetBottom() + rect.GetHeight();
    return {std::min(x1, x2), std::min(y1, y2), std::max(x1, x2), std::max(y1, y2)};
}

// /Rotate as one of 0, 90, 180, 270; a value that is no multiple of 90 counts as 0.
int rotationOf(const PoDoFo::PdfPage& page) {
    const int rotation = ((page.GetRotation() % 360) + 360) % 360;
    return rotation % 90 == 0 ? rotation : 0;
}

}  // namespace

ShownPage shownPage(const PoDoFo::PdfPage& page) {
    const Box media = boxOf(page.GetMediaBox());
    const Box crop = boxOf(page.GetCropBox());
    Box visible{std::max(media.left, crop.left), std::max(media.bottom, crop.bottom), std::min(media.right, crop.right),
                std::min(media.top, crop.top)};
    if (visible.empty()) visible = media;  // a crop box off the page is ignored, as viewers do
    const double w = visible.right - visible.left;
    const double h = visible.top - visible.bottom;

    // /Rotate turns the page clockwise for display.
    ShownPage shown;
    switch (rotationOf(page)) {
        case 90:
            shown = {h, w, 0, 1, -1, 0, visible.right, visible.bottom};
            break;
        case 180:
            shown = {w, h, -1, 0, 0, -1, visible.right, visible.top};
            break;
        case 270:
            shown = {h, w, 0, -1, 1, 0, visible.left, visible.top};
            break;
        default:
            shown = {w, h, 1, 0, 0, 1, visible.left, visible.bottom};
    }
    return shown;
}

}  // namespace Vesk::Crypto

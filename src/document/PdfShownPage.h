#pragma once
// A page as a viewer shows it: its visible box (the CropBox within the MediaBox) turned by its
// /Rotate. A stamp is laid out in the shown page's own coordinates, origin at its lower left and
// y upwards, and mapped back into the page's user space for drawing.

#include <podofo/podofo.h>

namespace Vesk::Crypto {

struct ShownPage {
    double width = 0;  // as displayed
    double height = 0;
    // Shown coordinates (u, v) to page space: x = a·u + c·v + e, y = b·u + d·v + f (a PDF matrix).
    double a = 1, b = 0, c = 0, d = 1, e = 0, f = 0;

    // True for an unturned page whose visible box starts at 0,0: shown and page space agree.
    bool isIdentity() const { return a == 1 && b == 0 && c == 0 && d == 1 && e == 0 && f == 0; }
    void toPage(double u, double v, double& x, double& y) const {
        x = a * u + c * v + e;
        y = b * u + d * v + f;
    }
};

ShownPage shownPage(const PoDoFo::PdfPage& page);

}  // namespace Vesk::Crypto

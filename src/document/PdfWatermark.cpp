#include "document/PdfWatermark.h"

#include "common/Logging.h"
#include "document/PdfFonts.h"
#include "document/PdfShownPage.h"
#include "document/PdfSignatureFields.h"
#include "document/PdfStampCanvas.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

namespace Vesk::Crypto {
namespace {

using namespace PoDoFo;

// The box used for a corner the request leaves out (-1), in percent of the page, y measured
// from the top: the lower left of the page, 5 % in from the left edge, 85 % down, 45 % of the
// page wide. A given corner is kept; only the missing ones take these values.
constexpr float kDefaultX = 5.0f;
constexpr float kDefaultY = 85.0f;
constexpr float kDefaultWidth = 45.0f;
constexpr float kDefaultHeight = 10.0f;

struct Box {
    float x, y, x2, y2;  // percent of the page
};

Box boxOf(const WatermarkOptions& watermark) {
    Box box{watermark.x, watermark.y, watermark.x2, watermark.y2};
    if (box.x < 0) box.x = kDefaultX;
    if (box.y < 0) box.y = kDefaultY;
    if (box.x2 < 0) box.x2 = std::min(100.0f, box.x + kDefaultWidth);
    if (box.y2 < 0) box.y2 = std::min(100.0f, box.y + kDefaultHeight);
    return box;
}

// One line of the stamp, ready to draw. The font may be shared with other lines at another size,
// so the size travels with the line.
struct PreparedLine {
    PdfString text;
    PdfFont* font = nullptr;
    float size = 0;
    PdfColor color;
    EPdfAlignment alignment = ePdfAlignment_Left;
    double width = 0;
    double height = 0;
    double spacing = 0;
    bool tooWide = false;
};

EPdfAlignment alignmentOf(PdfTextAlignment alignment) {
    switch (alignment) {
        case PdfTextAlignment::Center:
            return ePdfAlignment_Center;
        case PdfTextAlignment::Right:
            return ePdfAlignment_Right;
        default:
            return ePdfAlignment_Left;
    }
}

void measure(PreparedLine& line, double boxWidth) {
    line.font->SetFontSize(line.size);
    const PdfFontMetrics* metrics = line.font->GetFontMetrics();
    line.width = line.text.IsUnicode() ? metrics->StringWidth(line.text.GetUnicode(),
                                                              static_cast<unsigned int>(line.text.GetUnicodeLength()))
                                       : metrics->StringWidth(line.text.GetString(), line.text.GetLength());
    line.height = metrics->GetLineSpacing();
    line.tooWide = line.width > boxWidth;
}

// Finishes the painter's page on every way out, so that the painter never dies with a page open.
class PageGuard {
public:
    PageGuard(PdfPainter& painter, PdfCanvas* canvas) : painter_(painter) { painter_.SetPage(canvas); }
    ~PageGuard() {
        if (painter_.GetPage() == nullptr) return;
        try {
            painter_.FinishPage();
        } catch (...) {
        }
    }
    PageGuard(const PageGuard&) = delete;
    PageGuard& operator=(const PageGuard&) = delete;

private:
    PdfPainter& painter_;
};

}  // namespace

bool watermarkRequested(const SignOptions& options) { return !options.watermark.strings.empty(); }

void drawWatermark(PdfPage* page, PdfMemDocument& document, PdfSignOutputDevice* device, const SignOptions& options) {
    VLOG_VERBOSE << "drawWatermark";
    if (page == nullptr) PODOFO_RAISE_ERROR(ePdfError_InvalidHandle);
    const WatermarkOptions& watermark = options.watermark;

    // The box; the percentages are of the page as shown (its visible box, upright) and measure y
    // from its top, while PDF's y grows upwards. The stamp is laid out in the shown page's
    // coordinates; one transformation puts it onto the page.
    const ShownPage shown = shownPage(*page);
    const double w = shown.width;
    const double h = shown.height;
    const Box box = boxOf(watermark);
    const double left = box.x / 100.0 * w;
    double top = (100.0 - box.y) / 100.0 * h;
    const double right = box.x2 / 100.0 * w;
    const double bottom = (100.0 - box.y2) / 100.0 * h;
    const double boxWidth = right - left;
    VLOG_VERBOSE << "Page: w: " << w << " h: " << h;
    VLOG_VERBOSE << "Watermark pos: x1: " << box.x << " y1: " << box.y << " x2: " << box.x2 << " y2: " << box.y2;
    VLOG_VERBOSE << "Real Watermark pos: x1: " << left << " y1: " << top << " x2: " << right << " y2: " << bottom;

    StampCanvas canvas(document, *page);
    PdfPainter painter;
    PageGuard guard(painter, &canvas);
    if (!shown.isIdentity()) {
        painter.Save();
        painter.SetTransformationMatrix(shown.a, shown.b, shown.c, shown.d, shown.e, shown.f);
    }

    std::vector<PreparedLine> lines;
    double widest = 0;
    double totalHeight = 0;
    for (const auto& source : watermark.strings) {
        const PdfString text = pdfText(source.text);
        PdfFont* font = createFontFor(document, source.font, source.bold, source.italic, text);
        if (font == nullptr) {
            VLOG_ERROR << "drawWatermark: error create font '" << source.font << "' bold:" << source.bold
                       << " italic: " << source.italic;
            continue;
        }
        PreparedLine line;
        line.text = text;
        line.font = font;
        line.size = source.font_size;
        line.color = PdfColor::FromString(source.font_color.c_str());
        line.alignment = alignmentOf(source.alignment);
        line.spacing = source.line_spacing;
        measure(line, boxWidth);
        widest = std::max(widest, line.width);
        totalHeight += line.height + line.spacing;
        lines.push_back(line);
    }

    // Lines wider than the box are broken at the box width, unless the request keeps them whole.
    if (widest > boxWidth && watermark.split_long_strings) {
        std::vector<PreparedLine> split;
        widest = 0;
        totalHeight = 0;
        for (const auto& line : lines) {
            if (!line.tooWide) {
                split.push_back(line);
                totalHeight += line.height + line.spacing;
                continue;
            }
            line.font->SetFontSize(line.size);
            painter.SetFont(line.font);
            for (const PdfString& piece : painter.GetMultiLineTextAsLines(boxWidth, line.text, true)) {
                PreparedLine part = line;
                part.text = piece;
                measure(part, boxWidth);
                totalHeight += part.height + part.spacing;
                widest = std::max(widest, part.width);
                split.push_back(part);
            }
        }
        lines = std::move(split);
    }

    // Text that does not fit above the page's bottom moves up by the overflow and a little more.
    const double room = top - totalHeight;
    if (room < 0) top += h * 0.005 + watermark.padding + watermark.stroke_width + std::fabs(room);

    double y = top;
    for (const auto& line : lines) {
        painter.SetColor(line.color);
        painter.SetStrokingColor(line.color);
        line.font->SetFontSize(line.size);
        painter.SetFont(line.font);
        y -= line.height + line.spacing;
        VLOG_VERBOSE << "Line: x: " << left << " y: " << y;
        painter.DrawTextAligned(left, y, widest, line.text, line.alignment);
    }

    // The frame hugs the text: the widest line, not the box, sets its right edge.
    const double sw = watermark.stroke_width;
    const double p = watermark.padding;
    painter.SetStrokeWidth(sw);
    const double frameLeft = left - (sw + p);
    const double frameRight = left + widest + sw + p;
    const double frameTop = top + p + sw;
    const double frameBottom = y - (sw + p);
    painter.DrawLine(frameLeft, frameTop, frameRight, frameTop);
    painter.DrawLine(frameRight, frameTop, frameRight, frameBottom);
    painter.DrawLine(frameRight, frameBottom, frameLeft, frameBottom);
    painter.DrawLine(frameLeft, frameBottom, frameLeft, frameTop);
    if (!shown.isIdentity()) painter.Restore();
    painter.FinishPage();

    if (device == nullptr) return;
    // A clickable stamp is the field's widget; the rectangle is given from its top edge down, its
    // corners in the page's own space.
    PdfRect rect(0, 0, 0, 0);
    if (watermark.clickable) {
        double x1 = 0, y1 = 0, x2 = 0, y2 = 0;
        shown.toPage(frameLeft, frameTop, x1, y1);
        shown.toPage(frameRight, frameBottom, x2, y2);
        rect = PdfRect(x1, y1, x2 - x1, y2 - y1);
    }
    addSignatureField(document, page, rect, *device, options);
}

}  // namespace Vesk::Crypto

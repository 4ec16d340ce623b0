#include "SamplePdf.h"

#include <podofo/podofo.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

using namespace PoDoFo;

namespace {

constexpr const char* kTitle = "Договор № 1";
constexpr const char* kParagraph =
    "Общество с ограниченной ответственностью «Ромашка», именуемое в дальнейшем «Заказчик», "
    "и индивидуальный предприниматель Иванов Иван Иванович, именуемый в дальнейшем «Исполнитель», "
    "заключили настоящий договор о нижеследующем. Исполнитель обязуется выполнить работы по "
    "подготовке документации, а Заказчик обязуется принять и оплатить их в порядке и сроки, "
    "установленные договором. Стороны подписывают договор электронной подписью.";

// Fonts tried in order; fontconfig finds whichever is installed.
constexpr const char* kFontFamilies[] = {"Liberation Sans", "DejaVu Sans"};

// Random bytes do not compress, so the file grows by what is added. Images are cut into
// pieces of at most this size, spread over the pages.
constexpr std::uint64_t kImagePiece = 8u << 20;
constexpr unsigned kImageWidth = 1024;

PdfFont* unicodeFont(PdfMemDocument& document, const PdfEncoding* encoding) {
    for (const char* family : kFontFamilies) {
        PdfFont* font =
            document.CreateFont(family, false, false, false, encoding, PdfFontCache::eFontCreationFlags_None, true);
        if (font != nullptr) return font;
    }
    PODOFO_RAISE_ERROR_INFO(ePdfError_InvalidFontFile, "no Unicode font found (Liberation Sans, DejaVu Sans)");
}

PdfString utf8(const std::string& text) { return PdfString(reinterpret_cast<const pdf_utf8*>(text.c_str())); }

void drawText(PdfPainter& painter, const PdfRect& box, PdfFont& font, int number, int count) {
    const double margin = 56.0;
    font.SetFontSize(18.0);
    painter.SetFont(&font);
    painter.DrawText(margin, box.GetHeight() - margin - 18.0, utf8(kTitle));
    font.SetFontSize(12.0);
    painter.SetFont(&font);
    painter.DrawMultiLineText(margin, box.GetHeight() / 2, box.GetWidth() - 2 * margin,
                              box.GetHeight() / 2 - margin - 40.0, utf8(kParagraph));
    const std::string footer = "Страница " + std::to_string(number) + " из " + std::to_string(count);
    painter.DrawText(margin, margin, utf8(footer));
}

// Draws one incompressible grey image, scaled down into the lower right corner of the page.
void drawRandomImage(PdfMemDocument& document, PdfPainter& painter, const PdfRect& box, std::uint64_t bytes,
                     std::mt19937_64& random) {
    const unsigned height = static_cast<unsigned>(std::max<std::uint64_t>(1, bytes / kImageWidth));
    std::vector<char> pixels(static_cast<size_t>(kImageWidth) * height);
    for (size_t i = 0; i + 8 <= pixels.size(); i += 8) {
        const std::uint64_t value = random();
        std::copy_n(reinterpret_cast<const char*>(&value), 8, pixels.data() + i);
    }
    PdfImage image(&document);
    image.SetImageColorSpace(ePdfColorSpace_DeviceGray);
    PdfMemoryInputStream stream(pixels.data(), static_cast<pdf_long>(pixels.size()));
    image.SetImageDataRaw(kImageWidth, height, 8, &stream);  // no filter: stays as large as the data
    const double side = 72.0;
    painter.DrawImage(box.GetWidth() - side - 20.0, 20.0, &image, side / kImageWidth, side / height);
}

}  // namespace

void writeSamplePdf(const std::filesystem::path& path, const SamplePdfOptions& options) {
    // The encoding outlives the document, which only borrows it.
    const PdfIdentityEncoding encoding(0, 0xffff, false);
    PdfMemDocument document;
    PdfFont* font = unicodeFont(document, &encoding);

    // The padding is shared out over the pages, each page's part cut into image pieces.
    const std::uint64_t perPage = (options.minimumBytes + options.pages - 1) / options.pages;
    std::mt19937_64 random(std::random_device{}());
    for (int i = 0; i < options.pages; ++i) {
        PdfPage* page = document.CreatePage(PdfPage::CreateStandardPageSize(ePdfPageSize_A4));
        PdfPainter painter;
        painter.SetPage(page);
        drawText(painter, page->GetPageSize(), *font, i + 1, options.pages);
        for (std::uint64_t added = 0; added < perPage; added += kImagePiece) {
            drawRandomImage(document, painter, page->GetPageSize(), std::min(kImagePiece, perPage - added), random);
        }
        painter.FinishPage();
    }

    document.GetInfo()->SetTitle(utf8(kTitle));
    document.GetInfo()->SetCreator(PdfString("vesk-sample-pdf"));

    auto temporary = path;
    temporary += ".tmp";
    try {
        document.Write(temporary.string().c_str());
        std::filesystem::rename(temporary, path);
    } catch (...) {
        std::error_code ignored;
        std::filesystem::remove(temporary, ignored);
        throw;
    }
}

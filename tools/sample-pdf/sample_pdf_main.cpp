// vesk-sample-pdf: writes a sample PDF with Russian text, optionally padded to a given size.

#include "SamplePdf.h"

#include <podofo/podofo.h>

#include <cstdlib>
#include <iostream>
#include <optional>
#include <string>

namespace {

constexpr const char* kUsage = R"(Usage: vesk-sample-pdf OUT.pdf [--pages N] [--size-mb M]
  --pages N     number of pages, each with a title and a paragraph of Russian text (default 2)
  --size-mb M   pad the file with random image data to at least M megabytes (MiB)
)";

std::optional<long> positiveNumber(const std::string& text) {
    char* end = nullptr;
    const long value = std::strtol(text.c_str(), &end, 10);
    if (text.empty() || *end != '\0' || value < 0) return std::nullopt;
    return value;
}

}  // namespace

int main(int argc, char** argv) {
    std::optional<std::string> output;
    SamplePdfOptions options;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg == "--help" || arg == "-h") {
            std::cout << kUsage;
            return 0;
        }
        if ((arg == "--pages" || arg == "--size-mb") && i + 1 < argc) {
            const auto value = positiveNumber(argv[++i]);
            if (!value || (arg == "--pages" && (*value < 1 || *value > 10000))) {
                std::cerr << "vesk-sample-pdf: bad value for " << arg << "\n" << kUsage;
                return 2;
            }
            if (arg == "--pages")
                options.pages = static_cast<int>(*value);
            else
                options.minimumBytes = static_cast<std::uint64_t>(*value) << 20;
        } else if (arg.rfind("--", 0) != 0 && !output) {
            output = arg;
        } else {
            std::cerr << "vesk-sample-pdf: unexpected argument '" << arg << "'\n" << kUsage;
            return 2;
        }
    }
    if (!output) {
        std::cerr << kUsage;
        return 2;
    }
    try {
        PoDoFo::PdfError::EnableDebug(false);
        PoDoFo::PdfError::EnableLogging(false);
        writeSamplePdf(*output, options);
    } catch (const PoDoFo::PdfError& e) {
        std::cerr << "vesk-sample-pdf: " << PoDoFo::PdfError::ErrorMessage(e.GetError());
        if (!e.GetCallstack().empty() && !e.GetCallstack().front().GetInformation().empty())
            std::cerr << ": " << e.GetCallstack().front().GetInformation();
        std::cerr << "\n";
        return 1;
    } catch (const std::exception& e) {
        std::cerr << "vesk-sample-pdf: " << e.what() << "\n";
        return 1;
    }
    return 0;
}

#pragma once
// Signed inputs made by independent tools (openssl with the GOST engine, poppler's pdfsig with an
// NSS database), from the test PKI that the emulator uses as its store; and the one judge of every
// PDF the module writes (SignedPdfJudge.cpp).

#include "support/TestPki.h"

#include <nlohmann/json.hpp>

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace vesk::test {

// Serial-number texts of the PKI's GOST users (2012-256 and 2012-512), as the module writes them.
inline constexpr const char* kIvanov = "0x0123456789ABCDEF01";
inline constexpr const char* kPetrova = "0x4512";

// Points the module at a CAdES library; must run before the first request of the process.
void useCadesLibrary(const std::string& path);

// CMS signature of `in` by a PKI user (e.g. "user_gost256"), DER, attached or detached.
void opensslSign(const std::filesystem::path& in, const std::filesystem::path& out, const std::string& user,
                 bool detached);

// A sample PDF with Russian text on `pages` pages.
void makePdf(const std::filesystem::path& out, int pages = 2);

// Adds a signature by the PKI's RSA user to a PDF with pdfsig, in field `field`.
void pdfsigSign(const std::filesystem::path& in, const std::filesystem::path& out, const std::string& field);

// Writes a file whole; its path.
std::filesystem::path writeBytes(const std::filesystem::path& path, const std::string& bytes);

// One signature of a PDF: its ByteRange, the bytes of its hole (hex decoded, padding kept) and
// the bytes its ranges cover. `wellFormed` is false when the ranges do not frame a <...> hole.
struct PdfSignature {
    size_t a = 0, b = 0, c = 0, d = 0;
    bool wellFormed = false;
    std::string der;
    std::string covered;
};
// Every ByteRange of the PDF, in file order.
std::vector<PdfSignature> pdfSignatures(const std::string& pdf);
// How many signatures of the PDF file openssl verifies over their ranges, trusting the test PKI
// (`work` holds its files); a ByteRange that does not frame a hole fails the calling test.
int opensslVerifiedPdfSignatures(const std::filesystem::path& pdf, const std::filesystem::path& work);

// qpdf --check exits 0 and finds no syntax or stream encoding error.
void expectQpdfClean(const std::filesystem::path& pdf);

// A stamp as a reader sees it: its box on the page as shown, in percent of the page from its top
// left corner (a request's x, y, x2, y2 and their defaults), the pages it is on (-1 the last, -2
// every page, else an index from 0) and a text that reads on each of them.
struct StampSeen {
    double x = 5, y = 85, x2 = 50, y2 = 95;
    int page = -1;
    std::string text;
};
// The stamp of a request's "watermark"; `text` is what reads, by default its first line.
StampSeen stampOf(const nlohmann::json& watermark, std::string text = {});

// A PDF the module wrote from `input`, read as users' software reads it: the input's bytes are its
// prefix; poppler (pdftotext, pdftoppm), mupdf and ghostscript read every page without a complaint
// that the input did not already cause; pdf.js opens it, decrypting it as viewers do, and reads the
// stamp's text on each stamped page; the pages look as the input's pixel for pixel but inside the
// stamp's box, which holds new ink (the first three pages and the last are compared).
void judgeWrittenPdf(const std::filesystem::path& input, const std::filesystem::path& pdf,
                     const std::optional<StampSeen>& stamp = {});

// judgeWrittenPdf, and: qpdf --check is clean, pdfsig's last signature covers the whole file,
// openssl verifies `count` signatures over their ranges, and the module's verify lists `count`
// signatures, the last verified. pdfsig's listing.
std::string judgeSignedPdf(const std::filesystem::path& input, const std::filesystem::path& pdf, int count,
                           const std::optional<StampSeen>& stamp = {});

}  // namespace vesk::test

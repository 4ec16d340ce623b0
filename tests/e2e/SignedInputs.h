#pragma once
// Signed inputs made by independent tools (openssl with the GOST engine, poppler's pdfsig with an
// NSS database), from the test PKI that the emulator uses as its store.

#include "support/TestPki.h"

#include <filesystem>
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

// qpdf --check is clean, pdfsig's last signature covers the whole file, and openssl verifies
// `count` signatures over their ranges. pdfsig's listing.
std::string judgeSignedPdf(const std::filesystem::path& pdf, int count);

}  // namespace vesk::test

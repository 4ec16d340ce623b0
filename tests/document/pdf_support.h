// Helpers of the PDF signer tests: input PDFs made at test time, the signatures found in a signed
// PDF by their ByteRange, and the command-line tools that judge the output.
#pragma once

#include "support.h"

#include "model/SignOptions.h"

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace pdftest {

using cptest::Bytes;
namespace fs = std::filesystem;

inline constexpr const char* kUser = cptest::kUser256;
inline const std::string kFieldName = std::string("Sign_") + cptest::kUser256;

struct PdfRecipe {
    int pages = 3;          // 0: a PDF without pages
    std::string textField;  // a text field of this name on the first page, when not empty
    int sizeMb = 0;         // padded to at least this many MiB
};

// A new sample PDF (vesk-sample-pdf: Russian text, footer "Страница N из M") in a scratch folder.
fs::path makePdf(const std::string& name, const PdfRecipe& recipe = {});

// A copy of the PDF rewritten by "qpdf ARGS".
fs::path rewriteWithQpdf(const fs::path& pdf, const std::string& args);

struct EmbeddedSignature {
    int64_t a = 0, b = 0, c = 0, d = 0;  // the ByteRange
    Bytes signature;                     // the Contents hole: DER message and zero padding
    Bytes signedData;                    // the two ranges joined
};

// Every ByteRange of the file in file order, read from the bytes, not through a PDF library.
std::vector<EmbeddedSignature> embeddedSignatures(const fs::path& pdf);

// Output (stdout and stderr) and exit code of a shell command.
std::string run(const std::string& command, int* exitCode = nullptr);
std::string quote(const fs::path& path);

// pdftotext of one page (from 1).
std::string pageText(const fs::path& pdf, int page);

// Options of a PAdES signing of `in` into `out` by the test user.
Vesk::Crypto::SignOptions padesOptions(const fs::path& in, const fs::path& out);

bool startsWith(const Bytes& whole, const Bytes& prefix);

}  // namespace pdftest

#include "pdf_support.h"

#include "support/Process.h"
#include "support/TempHome.h"

#include <podofo/podofo.h>

#include <cctype>
#include <cstdio>
#include <stdexcept>

namespace pdftest {

using namespace PoDoFo;

fs::path makePdf(const std::string& name, const PdfRecipe& recipe) {
    const fs::path file = vesk::test::makeTempDir("pdf") / name;
    if (recipe.pages == 0) {
        PdfMemDocument().Write(file.c_str());
        return file;
    }
    std::string command = std::string(VESK_SAMPLE_PDF) + " " + quote(file) + " --pages " + std::to_string(recipe.pages);
    if (recipe.sizeMb > 0) command += " --size-mb " + std::to_string(recipe.sizeMb);
    int code = 0;
    const std::string output = run(command, &code);
    if (code != 0) throw std::runtime_error("vesk-sample-pdf failed: " + output);
    if (!recipe.textField.empty()) {
        // Written beside the sample first: PoDoFo reads objects from the loaded file on demand.
        const fs::path withField = file.string() + ".field";
        {
            PdfMemDocument document(file.c_str());
            PdfTextField field(document.GetPage(0), PdfRect(72, 600, 200, 20), &document);
            field.SetFieldName(PdfString(recipe.textField));
            document.Write(withField.c_str());
        }
        fs::rename(withField, file);
    }
    return file;
}

fs::path rewriteWithQpdf(const fs::path& pdf, const std::string& args) {
    const fs::path out = pdf.parent_path() / ("qpdf-" + pdf.filename().string());
    int code = 0;
    const std::string output = run("qpdf " + args + " " + quote(pdf) + " " + quote(out), &code);
    if (code != 0) throw std::runtime_error("qpdf failed: " + output);
    return out;
}

std::vector<EmbeddedSignature> embeddedSignatures(const fs::path& pdf) {
    const Bytes file = cptest::readFile(pdf);
    const std::string text(file.begin(), file.end());
    std::vector<EmbeddedSignature> found;
    const std::string key = "/ByteRange";
    for (size_t at = text.find(key); at != std::string::npos; at = text.find(key, at + 1)) {
        EmbeddedSignature s;
        long long n[4] = {};
        if (std::sscanf(text.c_str() + at + key.size(), " [ %lld %lld %lld %lld ]", &n[0], &n[1], &n[2], &n[3]) != 4)
            continue;
        s.a = n[0];
        s.b = n[1];
        s.c = n[2];
        s.d = n[3];
        const auto size = static_cast<int64_t>(file.size());
        if (s.a < 0 || s.a + s.b > s.c || s.c + s.d > size || file[s.b] != '<' || file[s.c - 1] != '>') {
            found.push_back(s);
            continue;
        }
        s.signedData.assign(file.begin() + s.a, file.begin() + s.a + s.b);
        s.signedData.insert(s.signedData.end(), file.begin() + s.c, file.begin() + s.c + s.d);
        // A hole that was never filled holds PoDoFo's placeholder, not hex: no signature then.
        for (int64_t i = s.b + 1; i + 1 < s.c - 1 && std::isxdigit(file[i]) && std::isxdigit(file[i + 1]); i += 2)
            s.signature.push_back(static_cast<unsigned char>(std::stoi(text.substr(i, 2), nullptr, 16)));
        found.push_back(s);
    }
    return found;
}

std::string run(const std::string& command, int* exitCode) {
    const auto result = vesk::test::runCommand(command + " 2>&1");
    if (exitCode != nullptr) *exitCode = result.exitCode;
    return result.output;
}

std::string quote(const fs::path& path) { return vesk::test::shellQuote(path.string()); }

std::string pageText(const fs::path& pdf, int page) {
    const std::string n = std::to_string(page);
    return run("pdftotext -f " + n + " -l " + n + " " + quote(pdf) + " -");
}

Vesk::Crypto::SignOptions padesOptions(const fs::path& in, const fs::path& out) {
    auto options = cptest::signOptions(kUser, Vesk::Crypto::SignAttachType::PAdES);
    options.file = in;
    options.output_file = out;
    return options;
}

bool startsWith(const Bytes& whole, const Bytes& prefix) {
    return whole.size() >= prefix.size() && std::equal(prefix.begin(), prefix.end(), whole.begin());
}

}  // namespace pdftest

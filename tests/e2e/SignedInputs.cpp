#include "SignedInputs.h"

#include "support/Process.h"
#include "support/TempHome.h"

#include <nlohmann/json.hpp>

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>

namespace fs = std::filesystem;

namespace vesk::test {
namespace {

void run(const std::string& command) {
    const auto result = runCommand(command + " 2>&1");
    ASSERT_EQ(result.exitCode, 0) << command << "\n" << result.output;
}

// One NSS database per process, holding the RSA user's key and certificate.
const fs::path& nssDatabase() {
    static const fs::path folder = [] {
        const fs::path dir = makeTempDir("nss");
        const fs::path p12 = dir / "user.p12";
        run("openssl pkcs12 -export -name rsauser -passout pass: -in " + q(pki("pem/user_rsa.crt")) + " -inkey " +
            q(pki("pem/user_rsa.key")) + " -out " + q(p12));
        run("certutil -N -d sql:" + q(dir) + " --empty-password");
        run("pk12util -i " + q(p12) + " -d sql:" + q(dir) + " -W ''");
        return dir;
    }();
    return folder;
}

}  // namespace

void useCadesLibrary(const std::string& path) {
    const auto folder = tempHome() / ".Vesk" / "editor";
    fs::create_directories(folder);
    std::ofstream(folder / "settings.json") << nlohmann::json{{"cades", path}, {"logLevel", "info"}}.dump();
}

void opensslSign(const fs::path& in, const fs::path& out, const std::string& user, bool detached) {
    std::string output;
    const int status = openssl("cms -sign -binary " + std::string(detached ? "" : "-nodetach ") + "-in " + q(in) +
                                   " -signer " + q(pki("pem/" + user + ".crt")) + " -inkey " +
                                   q(pki("pem/" + user + ".key")) + " -outform DER -out " + q(out),
                               &output);
    ASSERT_EQ(status, 0) << output;
}

void makePdf(const fs::path& out, int pages) {
    run(std::string(VESK_SAMPLE_PDF_PATH) + " " + q(out) + " --pages " + std::to_string(pages));
}

void pdfsigSign(const fs::path& in, const fs::path& out, const std::string& field) {
    run("pdfsig -add-signature -nssdir sql:" + q(nssDatabase()) + " -nick rsauser -new-signature-field-name " +
        shellQuote(field) + " " + q(in) + " " + q(out));
}

fs::path writeBytes(const fs::path& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary).write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    return path;
}

std::vector<PdfSignature> pdfSignatures(const std::string& pdf) {
    std::vector<PdfSignature> signatures;
    for (size_t at = pdf.find("/ByteRange"); at != std::string::npos; at = pdf.find("/ByteRange", at + 1)) {
        PdfSignature s;
        s.wellFormed = std::sscanf(pdf.c_str() + at, "/ByteRange [ %zu %zu %zu %zu", &s.a, &s.b, &s.c, &s.d) == 4 &&
                       s.a == 0 && s.b < s.c && s.c <= pdf.size() && s.d <= pdf.size() - s.c && pdf[s.b] == '<' &&
                       pdf[s.c - 1] == '>';
        if (s.wellFormed) {
            for (size_t i = s.b + 1; i + 2 < s.c; i += 2)
                s.der += static_cast<char>(std::stoi(pdf.substr(i, 2), nullptr, 16));
            s.covered = pdf.substr(s.a, s.b) + pdf.substr(s.c, s.d);
        }
        signatures.push_back(std::move(s));
    }
    return signatures;
}

int opensslVerifiedPdfSignatures(const fs::path& pdf, const fs::path& work) {
    int verified = 0;
    for (const PdfSignature& signature : pdfSignatures(readFile(pdf))) {
        EXPECT_TRUE(signature.wellFormed) << pdf << ": ByteRange " << signature.b << " " << signature.c;
        writeBytes(work / "hole.der", signature.der);
        writeBytes(work / "covered.bin", signature.covered);
        verified += signature.wellFormed && opensslVerifies(work / "hole.der", work / "covered.bin");
    }
    return verified;
}

void expectQpdfClean(const fs::path& pdf) {
    const auto checked = runCommand("qpdf --check " + q(pdf) + " 2>&1");
    EXPECT_EQ(checked.exitCode, 0) << pdf << "\n" << checked.output;
    EXPECT_NE(checked.output.find("No syntax or stream encoding errors"), std::string::npos) << pdf << "\n"
                                                                                             << checked.output;
}

std::string judgeSignedPdf(const fs::path& pdf, int count) {
    expectQpdfClean(pdf);
    const std::string listing = runCommand("pdfsig " + q(pdf) + " 2>&1").output;
    const auto last = listing.rfind("Signature #");
    EXPECT_TRUE(last != std::string::npos && listing.find("Total document signed", last) != std::string::npos)
        << listing;
    EXPECT_EQ(pdfSignatures(readFile(pdf)).size(), static_cast<size_t>(count)) << pdf;
    EXPECT_EQ(opensslVerifiedPdfSignatures(pdf, pdf.parent_path()), count) << pdf;
    return listing;
}

}  // namespace vesk::test

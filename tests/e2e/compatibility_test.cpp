// Behaviour that hosts and log readers rely on, odd as it looks, seen through the module with the
// CAdES emulator: texts without tr{}, texts that name another file, log tags borrowed from other
// functions and the span of a PDF signature that the verifier reads. Search "compat:" in src/.

#include "ModuleClient.h"
#include "SignedInputs.h"

#include "support/TempHome.h"

#include <gtest/gtest.h>

#include <fstream>

using namespace vesk::test;
using nlohmann::json;
namespace fs = std::filesystem;

namespace {

class Compatibility : public ::testing::Test {
protected:
    void SetUp() override {
        // Every record is wanted: the log is read back below.
        const auto folder = tempHome() / ".Vesk" / "editor";
        fs::create_directories(folder);
        std::ofstream(folder / "settings.json")
            << json{{"cades", cadesLibraryUnderTest()}, {"logLevel", "verbose"}}.dump();
        dir = makeTempDir("compat");
        setenv("TMPDIR", dir.c_str(), 1);
    }

    json verify(const fs::path& file) { return client.requestJson(verifyRequest(file)); }
    static std::string log() { return readFile(moduleLog()); }

    ModuleClient client;
    fs::path dir;
};

}  // namespace

TEST_F(Compatibility, LoadFailureNamesTheSignatureFileAlsoWhenTheOriginalFailed) {
    // A detached signature whose "original" is a folder: the original is the one that cannot be read.
    writeBytes(dir / "signed.txt", "Акт сверки\n");
    opensslSign(dir / "signed.txt", dir / "report.txt.sig", "user_gost256", true);
    fs::create_directory(dir / "report.txt");
    EXPECT_EQ(verify(dir / "report.txt.sig"),
              refusal("Error load file: " + (dir / "report.txt.sig").string() + " is empty or not exists"));
}

TEST_F(Compatibility, LogTagsBorrowedFromOtherFunctions) {
    // A detached signature beside its original.
    writeBytes(dir / "notes.txt", "Протокол\n");
    opensslSign(dir / "notes.txt", dir / "notes.txt.p7s", "user_gost256", true);
    ASSERT_TRUE(verify(dir / "notes.txt")["data"][0]["Verifyed"]);
    const std::string notes = (dir / "notes.txt").string();
    const std::string signature = (dir / "notes.txt.p7s").string();

    // The extension test logs under verifySign, right after the format search's own tag, which
    // drops the plural of its name.
    std::string text = log();
    const auto formats = text.find("[M] SignTypeDeterminator::getSignFormat " + notes);
    ASSERT_NE(formats, std::string::npos) << text;
    const auto next = text.find('\n', formats) + 1;
    EXPECT_LT(text.find("[M] SignTypeDeterminator::verifySign " + notes, next), text.find('\n', next))
        << text.substr(next, 300);
    const auto extensionTest = text.find("SignTypeDeterminator::isSignExtension(");
    ASSERT_NE(extensionTest, std::string::npos);
    EXPECT_EQ(text.find("] [M] SignTypeDeterminator::verifySign ", extensionTest), text.find("] ", extensionTest))
        << text.substr(extensionTest, 300);
    EXPECT_NE(text.find("[M] DefaultSignVerifycator::verifySign signFile: " + signature + " originalFile: " + notes),
              std::string::npos);

    // Inline data and extraction.
    client.requestJson(
        {{"method", "verify"},
         {"args", {{"document", b64("Протокол\n")}, {"signature", b64(readFile(signature))}, {"attached", false}}}});
    opensslSign(dir / "notes.txt", dir / "whole.txt.sig", "user_gost256", false);
    client.requestJson({{"method", "extract"},
                        {"args", {{"file", b64((dir / "whole.txt.sig").string())}, {"provider", "CryptoPRO"}}}});
    text = log();
    EXPECT_NE(text.find("[F] verifySignData"), std::string::npos);
    EXPECT_NE(text.find("[F] ExtractData"), std::string::npos);

    // A stamp put on a PDF before it is signed into a signature file logs as the file signer.
    makePdf(dir / "stamped.pdf", 1);
    const fs::path unstamped = makeTempDir("unstamped") / "doc.pdf";
    fs::copy_file(dir / "stamped.pdf", unstamped);
    const std::string pdf = (dir / "stamped.pdf").string();
    const json font = {{"watermark", {{"strings", {{{"text", "Подписано"}, {"font", "No Such Font Family"}}}}}}};
    const json stamped = client.requestJson(signRequest(pdf, pdf, "Detached", kIvanov, font));
    ASSERT_TRUE(stamped["error"].is_null()) << stamped.dump();
    judgeWrittenPdf(unstamped, pdf, stampOf(font["watermark"]));
    text = log();
    EXPECT_NE(text.find("[M] FileSigner::signPdfFile"), std::string::npos);
    // The fallback is "Courier New"; the log names Courier.
    EXPECT_NE(text.find("Create font: No Such Font Family failed, using default font Courier\n"), std::string::npos);
}

TEST_F(Compatibility, PdfSignatureIsReadOneHexDigitShortOfItsEnd) {
    makePdf(dir / "plain.pdf", 1);
    pdfsigSign(dir / "plain.pdf", dir / "signed.pdf", "Подпись");
    ASSERT_EQ(verify(dir / "signed.pdf")["data"][0]["Verifyed"], true);

    const auto signatures = pdfSignatures(readFile(dir / "signed.pdf"));
    ASSERT_EQ(signatures.size(), 1u);
    ASSERT_TRUE(signatures[0].wellFormed);
    const size_t b = signatures[0].b, c = signatures[0].c;

    // The hex text between '<' and '>' is c - b - 2 digits long; the verifier reads one less.
    const std::string text = log();
    EXPECT_NE(text.find("[M] PdfSignVerifycator::verifySign " + (dir / "signed.pdf").string()), std::string::npos);
    EXPECT_NE(text.find("[M] Found signatures count: 1"), std::string::npos);
    EXPECT_NE(text.find("Sign [" + std::to_string(b + 1) + ", " + std::to_string(c - b - 3) + "]"), std::string::npos)
        << text;
}

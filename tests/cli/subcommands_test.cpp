// vesk-crypto's subcommands through the built module and the CAdES emulator, with the results
// checked by openssl, pdfsig and pdftotext.

#include "common/Base64.h"
#include "support/LocalServices.h"
#include "support/Process.h"
#include "support/TempHome.h"
#include "support/TestPki.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <fstream>

using namespace vesk::test;
namespace fs = std::filesystem;

namespace {

// The module in every run reads its settings from the test process's HOME, pointed at the emulator.
class Subcommands : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        fs::create_directories(tempHome() / ".Vesk/editor");
        std::ofstream(tempHome() / ".Vesk/editor/settings.json")
            << R"({"cades":")" << cadesLibraryUnderTest() << R"(","cryptoPro":"","logLevel":"none"})";
    }

    void SetUp() override { dir_ = makeTempDir("cli"); }

    // Extracted content goes to the temporary folder, kept inside this test's folder.
    CommandResult cli(const std::string& arguments) const {
        return runCommand("TMPDIR=" + shellQuote(dir_.string()) + " " + shellQuote(VESK_CLI_PATH) + " " + arguments +
                          " 2>/dev/null");
    }

    fs::path write(const std::string& name, const std::string& content) const {
        std::ofstream(dir_ / name, std::ios::binary) << content;
        return dir_ / name;
    }

    fs::path dir_;
};

std::string q(const fs::path& path) { return shellQuote(path.string()); }

std::string firstLine(const std::string& text) { return text.substr(0, text.find('\n')); }

}  // namespace

TEST_F(Subcommands, CertsTableFilterAndJson) {
    auto result = cli("certs");
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(firstLine(result.output).rfind("Subject", 0), 0u) << result.output;
    for (const char* row : {"Иванов Иван Иванович", "Петрова Мария Сергеевна", "0x0123456789ABCDEF01", "0x4512",
                            "Тестовый подчинённый УЦ ГОСТ", "01/01/2044 00:00:00 UTC", "Test User RSA"}) {
        EXPECT_NE(result.output.find(row), std::string::npos) << row << "\n" << result.output;
    }
    EXPECT_EQ(result.output.find("CN="), std::string::npos) << "common names only";

    result = cli("certs Петрова");
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_NE(result.output.find("Петрова Мария Сергеевна"), std::string::npos);
    EXPECT_EQ(result.output.find("Иванов"), std::string::npos);

    result = cli("--json certs 0x4512");
    EXPECT_EQ(result.exitCode, 0);
    const auto answer = nlohmann::json::parse(result.output);
    ASSERT_EQ(answer.at("data").size(), 1u) << result.output;
    EXPECT_TRUE(answer.at("error").is_null());
    EXPECT_NE(Vesk::Crypto::base64::decode(answer["data"][0]["Subject"].get<std::string>())
                  .find("CN=Петрова Мария Сергеевна"),
              std::string::npos);

    EXPECT_EQ(cli("certs Никого").exitCode, 1);
}

TEST_F(Subcommands, BadUsageExitsTwoBeforeLoadingTheModule) {
    for (const char* arguments :
         {"sign", "sign a.txt b.txt", "sign a.txt --pades", "sign a.pdf --page 0", "sign a.pdf --box 1,2,3",
          "sign a.pdf --attached --detached", "verify", "extract a.sig b.sig", "certs a b", "certs --bogus",
          "sign a.pdf --stamp", "sign a.txt --xlong", "sign a.txt --tsp"}) {
        const auto result = runCommand(shellQuote(VESK_CLI_PATH) + " --library /nonexistent.so " + arguments + " 2>&1");
        EXPECT_EQ(result.exitCode, 2) << arguments << "\n" << result.output;
        EXPECT_NE(result.output.find("Subcommands:"), std::string::npos) << arguments;
    }
}

TEST_F(Subcommands, AttachedSignVerifyExtractRoundTrip) {
    const std::string content = "Привет, подпись!\n";
    const auto file = write("письмо.txt", content);
    auto result = cli("sign " + q(file) + " --attached --cert 0x4512");
    ASSERT_EQ(result.exitCode, 0) << result.output;
    const fs::path signature = firstLine(result.output);
    EXPECT_EQ(signature, dir_ / "письмо-signed.txt.sig");

    // openssl with the GOST engine accepts the signature and gives the content back.
    EXPECT_TRUE(opensslVerifies(signature, {}, dir_ / "opened.txt"));
    EXPECT_EQ(readFile(dir_ / "opened.txt"), content);

    result = cli("verify " + q(signature));
    EXPECT_EQ(result.exitCode, 0) << result.output;
    EXPECT_EQ(firstLine(result.output).rfind("Signer", 0), 0u) << result.output;
    for (const char* cell : {"Петрова Мария Сергеевна", "0x4512", "  verified"}) {
        EXPECT_NE(result.output.find(cell), std::string::npos) << cell << "\n" << result.output;
    }
    EXPECT_EQ(result.output.find("NOT verified"), std::string::npos);

    result = cli("--json verify " + q(signature));
    EXPECT_EQ(result.exitCode, 0);
    const auto answer = nlohmann::json::parse(result.output, nullptr, false);
    EXPECT_TRUE(answer.is_object() && answer.at("error").is_null()) << result.output;

    result = cli("extract " + q(signature));
    ASSERT_EQ(result.exitCode, 0) << result.output;
    const fs::path extracted = firstLine(result.output);
    EXPECT_EQ(extracted.filename(), "письмо-signed.txt");
    EXPECT_EQ(readFile(extracted), content);

    // A file with no signature in it is an error answer, not a usage error.
    EXPECT_EQ(cli("verify " + q(write("plain.pdf", "%PDF-1.4\n"))).exitCode, 1);
}

TEST_F(Subcommands, PadesWithStampAndTamperedDetachedSignature) {
    const auto pdf = dir_ / "Договор.pdf";
    ASSERT_EQ(runCommand(shellQuote(VESK_SAMPLE_PDF_PATH) + " " + q(pdf)).exitCode, 0);
    auto result = cli("sign " + q(pdf) +
                      " --cert Иванов --stamp 'Владелец: Иванов И. И.' --stamp "
                      "'Подписано: <sign_date: 01.05.2026>' --page all");
    ASSERT_EQ(result.exitCode, 0) << result.output;
    const fs::path signedPdf = firstLine(result.output);
    EXPECT_EQ(signedPdf, dir_ / "Договор-signed.pdf");

    const auto pdfsig = runCommand("pdfsig " + q(signedPdf) + " 2>&1");
    EXPECT_NE(pdfsig.output.find("Signature #1"), std::string::npos) << pdfsig.output;
    EXPECT_NE(pdfsig.output.find("Иванов Иван Иванович"), std::string::npos) << pdfsig.output;
    const auto text = runCommand("pdftotext " + q(signedPdf) + " - 2>/dev/null").output;
    EXPECT_NE(text.find("Подписано: 01.05.2026"), std::string::npos) << text;
    EXPECT_EQ(text.find("sign_date"), std::string::npos);

    result = cli("verify " + q(signedPdf));
    EXPECT_EQ(result.exitCode, 0) << result.output;
    EXPECT_NE(result.output.find("Иванов Иван Иванович"), std::string::npos) << result.output;

    // A detached signature lands beside the file; a changed file no longer verifies.
    const auto note = write("note.txt", "исходный текст");
    result = cli("sign " + q(note) + " --detached --cert 0x4512");
    ASSERT_EQ(result.exitCode, 0) << result.output;
    EXPECT_EQ(fs::path(firstLine(result.output)), dir_ / "note.txt.sgn");
    EXPECT_EQ(cli("verify " + q(note)).exitCode, 0);
    write("note.txt", "изменённый текст");
    result = cli("verify " + q(note));
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.output.find("  verified"), std::string::npos) << result.output;  // none, or "NOT verified"
}

TEST(SamplePdf, PagesRussianTextAndPadding) {
    const auto dir = makeTempDir("sample");
    const auto pdf = dir / "sample.pdf";
    ASSERT_EQ(runCommand(shellQuote(VESK_SAMPLE_PDF_PATH) + " " + q(pdf) + " --pages 3 --size-mb 3").exitCode, 0);
    EXPECT_GE(fs::file_size(pdf), 3u << 20);
    EXPECT_EQ(runCommand("qpdf --check " + q(pdf) + " >/dev/null 2>&1").exitCode, 0);
    EXPECT_NE(runCommand("pdfinfo " + q(pdf)).output.find("Pages:           3"), std::string::npos);
    const auto text = runCommand("pdftotext -f 3 -l 3 " + q(pdf) + " -").output;
    EXPECT_NE(text.find("Договор № 1"), std::string::npos) << text;
    EXPECT_NE(text.find("Страница 3 из 3"), std::string::npos) << text;
    // Random padding does not compress.
    EXPECT_GE(std::stoul(runCommand("gzip -c " + q(pdf) + " | wc -c").output), 3u << 20);

    EXPECT_EQ(runCommand(shellQuote(VESK_SAMPLE_PDF_PATH) + " " + q(dir / "x.pdf") + " --pages 0 2>/dev/null").exitCode,
              2);
    EXPECT_FALSE(fs::exists(dir / "x.pdf"));
}

// --xlong --tsp: a CAdES-X Long Type 1 signature whose time-stamp openssl accepts.
TEST_F(Subcommands, XLongSignatureWithTimeStampService) {
    const std::string tsa = LocalServices::instance().tsaUrl();
    const auto note = write("акт.txt", "акт приёма-передачи");
    auto result = cli("sign " + q(note) + " --detached --cert 0x4512 --xlong --tsp " + q(tsa));
    ASSERT_EQ(result.exitCode, 0) << result.output;
    const fs::path signature = firstLine(result.output);
    EXPECT_TRUE(opensslVerifiesTimeStamp(signature, dir_));
    result = cli("verify " + q(note));
    EXPECT_EQ(result.exitCode, 0) << result.output;
    EXPECT_NE(result.output.find("  verified"), std::string::npos) << result.output;

    // An unreachable service: an error, and no signature file.
    const auto other = write("other.txt", "другой");
    result = cli("sign " + q(other) + " --detached --cert 0x4512 --xlong --tsp " + q(unreachableUrl()));
    EXPECT_EQ(result.exitCode, 1) << result.output;
    EXPECT_FALSE(fs::exists(dir_ / "other.txt.sgn"));
}

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

    // Runs vesk-crypto, expects its exit status and gives what it printed. Extracted content goes
    // to the temporary folder, kept inside this test's folder.
    std::string cli(const std::string& arguments, int exitCode = 0) const {
        const auto result = runCommand("TMPDIR=" + shellQuote(dir_.string()) + " " + shellQuote(VESK_CLI_PATH) + " " +
                                       arguments + " 2>/dev/null");
        EXPECT_EQ(result.exitCode, exitCode) << arguments << "\n" << result.output;
        return result.output;
    }

    fs::path write(const std::string& name, const std::string& content) const {
        std::ofstream(dir_ / name, std::ios::binary) << content;
        return dir_ / name;
    }

    const fs::path dir_ = makeTempDir("cli");
};

std::string firstLine(const std::string& text) { return text.substr(0, text.find('\n')); }

// Every one of `present` is in the text and none of `absent`.
void expectText(const std::string& text, std::initializer_list<const char*> present,
                std::initializer_list<const char*> absent = {}) {
    for (const char* part : present) EXPECT_NE(text.find(part), std::string::npos) << part << "\n" << text;
    for (const char* part : absent) EXPECT_EQ(text.find(part), std::string::npos) << part << "\n" << text;
}

}  // namespace

TEST_F(Subcommands, CertsTableFilterAndJson) {
    auto output = cli("certs");
    EXPECT_EQ(output.rfind("Subject", 0), 0u) << output;
    expectText(output,
               {"Иванов Иван Иванович", "Петрова Мария Сергеевна", "0x0123456789ABCDEF01", "0x4512",
                "Тестовый подчинённый УЦ ГОСТ", "01/01/2044 00:00:00 UTC", "Test User RSA"},
               {"CN="});  // common names only
    expectText(cli("certs Петрова"), {"Петрова Мария Сергеевна"}, {"Иванов"});

    const auto answer = nlohmann::json::parse(cli("--json certs 0x4512"));
    ASSERT_EQ(answer.at("data").size(), 1u) << answer;
    EXPECT_TRUE(answer.at("error").is_null());
    expectText(Vesk::Crypto::base64::decode(answer["data"][0]["Subject"].get<std::string>()),
               {"CN=Петрова Мария Сергеевна"});

    cli("certs Никого", 1);
}

TEST_F(Subcommands, BadUsageExitsTwoBeforeLoadingTheModule) {
    for (const char* arguments :
         {"sign", "sign a.txt b.txt", "sign a.txt --pades", "sign a.pdf --page 0", "sign a.pdf --box 1,2,3",
          "sign a.pdf --attached --detached", "verify", "extract a.sig b.sig", "certs a b", "certs --bogus",
          "sign a.pdf --stamp", "sign a.txt --xlong", "sign a.txt --tsp", "enhance a.sgn", "enhance --tsp x"}) {
        const auto result = runCommand(shellQuote(VESK_CLI_PATH) + " --library /nonexistent.so " + arguments + " 2>&1");
        EXPECT_EQ(result.exitCode, 2) << arguments << "\n" << result.output;
        EXPECT_NE(result.output.find("Subcommands:"), std::string::npos) << arguments;
    }
}

TEST_F(Subcommands, AttachedSignVerifyExtractRoundTrip) {
    const std::string content = "Привет, подпись!\n";
    const fs::path signature = firstLine(cli("sign " + q(write("письмо.txt", content)) + " --attached --cert 0x4512"));
    EXPECT_EQ(signature, dir_ / "письмо-signed.txt.sig");

    // openssl with the GOST engine accepts the signature and gives the content back.
    EXPECT_TRUE(opensslVerifies(signature, {}, dir_ / "opened.txt"));
    EXPECT_EQ(readFile(dir_ / "opened.txt"), content);

    const auto output = cli("verify " + q(signature));
    EXPECT_EQ(output.rfind("Signer", 0), 0u) << output;
    expectText(output, {"Петрова Мария Сергеевна", "0x4512", "  verified"}, {"NOT verified"});

    const auto answer = nlohmann::json::parse(cli("--json verify " + q(signature)), nullptr, false);
    EXPECT_TRUE(answer.is_object() && answer.at("error").is_null()) << answer;

    const fs::path extracted = firstLine(cli("extract " + q(signature)));
    EXPECT_EQ(extracted.filename(), "письмо-signed.txt");
    EXPECT_EQ(readFile(extracted), content);

    // A file with no signature in it is an error answer, not a usage error.
    cli("verify " + q(write("plain.pdf", "%PDF-1.4\n")), 1);
}

TEST_F(Subcommands, PadesWithStampAndTamperedDetachedSignature) {
    const auto pdf = dir_ / "Договор.pdf";
    ASSERT_EQ(runCommand(shellQuote(VESK_SAMPLE_PDF_PATH) + " " + q(pdf)).exitCode, 0);
    const fs::path signedPdf = firstLine(cli("sign " + q(pdf) +
                                             " --cert Иванов --stamp 'Владелец: Иванов И. И.' --stamp "
                                             "'Подписано: <sign_date: 01.05.2026>' --page all"));
    EXPECT_EQ(signedPdf, dir_ / "Договор-signed.pdf");

    expectText(runCommand("pdfsig " + q(signedPdf) + " 2>&1").output, {"Signature #1", "Иванов Иван Иванович"});
    expectText(runCommand("pdftotext " + q(signedPdf) + " - 2>/dev/null").output, {"Подписано: 01.05.2026"},
               {"sign_date"});
    expectText(cli("verify " + q(signedPdf)), {"Иванов Иван Иванович"});

    // A detached signature lands beside the file; a changed file no longer verifies.
    const auto note = write("note.txt", "исходный текст");
    EXPECT_EQ(fs::path(firstLine(cli("sign " + q(note) + " --detached --cert 0x4512"))), dir_ / "note.txt.sgn");
    cli("verify " + q(note));
    write("note.txt", "изменённый текст");
    expectText(cli("verify " + q(note), 1), {}, {"  verified"});  // none, or "NOT verified"
}

TEST(SamplePdf, PagesRussianTextAndPadding) {
    const auto dir = makeTempDir("sample");
    const auto pdf = dir / "sample.pdf";
    ASSERT_EQ(runCommand(shellQuote(VESK_SAMPLE_PDF_PATH) + " " + q(pdf) + " --pages 3 --size-mb 3").exitCode, 0);
    EXPECT_GE(fs::file_size(pdf), 3u << 20);
    EXPECT_EQ(runCommand("qpdf --check " + q(pdf) + " >/dev/null 2>&1").exitCode, 0);
    expectText(runCommand("pdfinfo " + q(pdf)).output, {"Pages:           3"});
    expectText(runCommand("pdftotext -f 3 -l 3 " + q(pdf) + " -").output, {"Договор № 1", "Страница 3 из 3"});
    // Random padding does not compress.
    EXPECT_GE(std::stoul(runCommand("gzip -c " + q(pdf) + " | wc -c").output), 3u << 20);

    EXPECT_EQ(runCommand(shellQuote(VESK_SAMPLE_PDF_PATH) + " " + q(dir / "x.pdf") + " --pages 0 2>/dev/null").exitCode,
              2);
    EXPECT_FALSE(fs::exists(dir / "x.pdf"));
}

// --xlong --tsp: a CAdES-X Long Type 1 signature whose time-stamp openssl accepts.
TEST_F(Subcommands, XLongSignatureWithTimeStampService) {
    const auto note = write("акт.txt", "акт приёма-передачи");
    const fs::path signature = firstLine(
        cli("sign " + q(note) + " --detached --cert 0x4512 --xlong --tsp " + q(LocalServices::instance().tsaUrl())));
    expectLongTermEvidence(signature, dir_);
    expectText(cli("verify " + q(note)), {"  verified"});

    // Signed CAdES-BES first, enhanced later: named by its original, the signature is what changes.
    const auto later = write("счёт.txt", "счёт");
    const fs::path bes = firstLine(cli("sign " + q(later) + " --detached --cert 0x4512"));
    EXPECT_EQ(firstLine(cli("enhance " + q(later) + " --tsp " + q(LocalServices::instance().tsaUrl()))), bes);
    expectLongTermEvidence(bes, dir_);
    EXPECT_EQ(readFile(later), "счёт");

    // An unreachable service: an error, and no signature file.
    cli("sign " + q(write("other.txt", "другой")) + " --detached --cert 0x4512 --xlong --tsp " + q(unreachableUrl()),
        1);
    EXPECT_FALSE(fs::exists(dir_ / "other.txt.sgn"));
}

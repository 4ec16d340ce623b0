// "verify" and "extract" through the module, on inputs signed by openssl and pdfsig, with the
// CAdES emulator as the module's library.

#include "ModuleClient.h"
#include "SignedInputs.h"

#include "support/TempHome.h"

#include <gtest/gtest.h>

#include <cstdlib>

using namespace vesk::test;
using nlohmann::json;
namespace fs = std::filesystem;

namespace {

using Signers = std::vector<std::pair<std::string, bool>>;

// Serial and verdict of every signer, in order; the answer must have the envelope's shape.
Signers signers(const json& answer) {
    EXPECT_TRUE(answer.contains("data") && answer.contains("error")) << answer.dump();
    Signers list;
    if (answer.value("data", json()).is_array())
        for (const auto& s : answer["data"]) list.emplace_back(s.at("SerialNumber"), s.at("Verifyed"));
    return list;
}

// The signers and the error of an answer, to compare at once.
using Verdict = std::pair<Signers, json>;
Verdict verdict(const json& answer) { return {signers(answer), answer.value("error", json())}; }

class Verify : public ::testing::Test {
protected:
    void SetUp() override {
        useCadesLibrary(cadesLibraryUnderTest());
        // Extraction writes into the temporary folder; keep it inside the test's own.
        setenv("TMPDIR", (dir / "tmp").c_str(), 1);
        fs::create_directories(dir / "tmp");
    }

    json verify(const fs::path& file) { return client.call("verify", {{"file", b64(file.string())}}); }
    json extract(const fs::path& f) {
        return client.call("extract", {{"file", b64(f.string())}, {"provider", "CryptoPRO"}});
    }

    ModuleClient client;
    fs::path dir = makeTempDir("verify");
};

}  // namespace

TEST_F(Verify, SignatureFilesUnderEveryExtension) {
    for (const std::string ext : {".sgn", ".p7s", ".sig", ".dat"}) {
        SCOPED_TRACE(ext);
        // Attached: the signature file alone, its original absent.
        const fs::path notes = writeBytes(dir / ("notes" + ext + ".txt"), "Протокол совещания\n");
        opensslSign(notes, notes.string() + ext, "user_gost256", false);
        fs::remove(notes);
        EXPECT_EQ(signers(verify(notes.string() + ext)), (Signers{{kIvanov, true}}));

        // Detached, by the 512-bit key: the signature file and its original give the same answer.
        const fs::path report = writeBytes(dir / ("report" + ext + ".txt"), "Отчёт за квартал\n");
        const fs::path signature = report.string() + ext;
        opensslSign(report, signature, "user_gost512", true);
        EXPECT_EQ(signers(verify(signature)), (Signers{{kPetrova, true}}));
        EXPECT_EQ(verdict(verify(report)), (Verdict{{{kPetrova, true}}, nullptr}));

        // One changed byte of the original: the signer stays listed, not verified, with the reason.
        writeBytes(report, "Отчёт за квартаЛ\n");
        EXPECT_EQ(verdict(verify(signature)), (Verdict{{{kPetrova, false}}, {"Сообщение содержит неверную подпись."}}));
    }
}

// Beside a.txt.sig, the a.txt.sgn is the one checked: first it signs a.txt, then something else.
TEST_F(Verify, SgnWinsOverTheOtherExtensions) {
    const fs::path original = writeBytes(dir / "a.txt", "content");
    const fs::path other = writeBytes(dir / "other.txt", "other content");
    for (const bool sgnSignsOriginal : {true, false}) {
        opensslSign(sgnSignsOriginal ? original : other, dir / "a.txt.sgn", "user_gost256", true);
        opensslSign(sgnSignsOriginal ? other : original, dir / "a.txt.sig", "user_gost512", true);
        EXPECT_EQ(signers(verify(original)), (Signers{{kIvanov, sgnSignsOriginal}}));
    }
}

TEST_F(Verify, PdfSignedTwiceByPdfsig) {
    makePdf(dir / "plain.pdf");
    pdfsigSign(dir / "plain.pdf", dir / "once.pdf", "Первая");
    pdfsigSign(dir / "once.pdf", dir / "twice.pdf", "Вторая");
    EXPECT_EQ(verdict(verify(dir / "twice.pdf")), (Verdict{{{"0x5001", true}, {"0x5001", true}}, nullptr}));

    // A changed byte inside the first revision breaks both signatures, which both cover it.
    std::string bytes = readFile(dir / "twice.pdf");
    bytes.replace(bytes.find("/Producer"), 2, "/p");  // throws, failing the test, if there is none
    writeBytes(dir / "broken.pdf", bytes);
    EXPECT_EQ(signers(verify(dir / "broken.pdf")), (Signers{{"0x5001", false}, {"0x5001", false}}));

    EXPECT_EQ(client.request(R"({"method":"verify","args":{"file":")" + b64((dir / "plain.pdf").string()) + R"("}})"),
              R"({"data":null,"error":["tr{This PDF file does not contain a signature.}"]})");
}

TEST_F(Verify, FilesWithoutAUsableSignature) {
    // A PDF wrapped whole in an attached signature message; its content comes back by "extract".
    makePdf(dir / "contract.pdf");
    opensslSign(dir / "contract.pdf", dir / "wrapped.pdf", "user_gost256", false);
    EXPECT_EQ(signers(verify(dir / "wrapped.pdf")), (Signers{{kIvanov, true}}));
    EXPECT_EQ(extract(dir / "wrapped.pdf"), answerWith(dir / "tmp" / "wrapped"));
    EXPECT_EQ(readFile(dir / "tmp" / "wrapped"), readFile(dir / "contract.pdf"));

    // A plain text is taken for an attached signature, which the library cannot decode; nor is an
    // empty file a signature.
    for (const fs::path& file :
         {writeBytes(dir / "plain.txt", "no signature here"), writeBytes(dir / "empty.sig", "")}) {
        const json answer = verify(file);
        EXPECT_TRUE(answer["data"].is_null()) << file;
        EXPECT_EQ(answer["error"].size(), 1u) << answer.dump();
    }
    const fs::path missing = dir / "missing.txt";
    EXPECT_EQ(verify(missing), failed({"Error load file: " + missing.string() + " is empty or not exists"}));
    EXPECT_EQ(client.request(R"({"method":"verify","args":{}})"), R"({"data":null,"error":["tr{Nothing for do.}"]})");
}

TEST_F(Verify, ExtractWritesTheContentToTheTemporaryFolder) {
    const std::string content = "%PDF-1.4 отчёт\n";
    opensslSign(writeBytes(dir / "report.pdf", content), dir / "report.pdf.sig", "user_gost256", false);
    fs::remove(dir / "report.pdf");
    EXPECT_EQ(extract(dir / "report.pdf.sig"), answerWith(dir / "tmp" / "report.pdf"));
    EXPECT_EQ(readFile(dir / "tmp" / "report.pdf"), content);

    EXPECT_EQ(extract(writeBytes(dir / "notes.txt", "x")), failed("tr{Расширение файла не соответствует подписи!}"));
    // Without a named provider there is no extractor.
    EXPECT_EQ(client.call("extract", {{"file", b64((dir / "report.pdf.sig").string())}}),
              failed("tr{Объект извлечения данных пуст!}"));
    EXPECT_EQ(extract(dir / "absent.sig"), failed("tr{Не удалось прочитать файл}"));
    opensslSign(writeBytes(dir / "d.txt", "detached"), dir / "d.txt.p7s", "user_gost256", true);
    EXPECT_EQ(extract(dir / "d.txt.p7s"), failed("tr{Извлеченные данные пусты!}"));
}

TEST_F(Verify, InlineDataAndSignature) {
    const std::string content = "Платёжное поручение № 7";
    opensslSign(writeBytes(dir / "p.txt", content), dir / "attached.p7s", "user_gost256", false);
    opensslSign(dir / "p.txt", dir / "detached.p7s", "user_gost256", true);
    auto inlineVerify = [&](const std::string& document, const fs::path& signature, bool attached) {
        return client.call(
            "verify", {{"document", b64(document)}, {"signature", b64(readFile(signature))}, {"attached", attached}});
    };

    auto answer = inlineVerify("", dir / "attached.p7s", true);
    EXPECT_EQ(signers(answer), (Signers{{kIvanov, true}}));
    // The chain runs from the signer's certificate to the root.
    ASSERT_EQ(answer["chain"].size(), 3u) << answer.dump();
    EXPECT_EQ(answer["chain"][0]["SerialNumber"], kIvanov);
    EXPECT_NE(unb64(answer["chain"][2]["Subject"]).find("Тестовый корневой УЦ ГОСТ"), std::string::npos);

    EXPECT_EQ(signers(inlineVerify(content, dir / "detached.p7s", false)), (Signers{{kIvanov, true}}));
    answer = inlineVerify(content + ".", dir / "detached.p7s", false);
    EXPECT_EQ(signers(answer), (Signers{{kIvanov, false}}));
    EXPECT_EQ(answer["error"].size(), 1u);
}

// Inputs cut at many offsets: every answer is an envelope, and nothing crashes.
TEST_F(Verify, TruncatedInputsGetAnAnswer) {
    makePdf(dir / "plain.pdf", 1);
    pdfsigSign(dir / "plain.pdf", dir / "signed.pdf", "Подпись");
    opensslSign(dir / "plain.pdf", dir / "plain.pdf.p7s", "user_gost256", false);
    for (const fs::path& source : {dir / "signed.pdf", dir / "plain.pdf.p7s"}) {
        const std::string bytes = readFile(source);
        const fs::path piece = dir / ("cut" + source.extension().string());
        for (size_t cut = 0; cut < bytes.size(); cut += bytes.size() / 37 + 1) {
            SCOPED_TRACE(cut);
            writeBytes(piece, bytes.substr(0, cut));
            const auto [list, error] = verdict(verify(piece));  // an envelope
            EXPECT_FALSE(error.is_null() && list.empty());
            extract(piece);
        }
    }
}

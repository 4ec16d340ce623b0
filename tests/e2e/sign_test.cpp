// "sign" through the module with the CAdES emulator; the results are judged by openssl, qpdf and
// poppler, not by the module itself.

#include "ModuleClient.h"
#include "SignedInputs.h"

#include "support/Process.h"
#include "support/TempHome.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <set>

using namespace vesk::test;
using nlohmann::json;
namespace fs = std::filesystem;

namespace {

class Sign : public ::testing::Test {
protected:
    void SetUp() override {
        useCadesLibrary(cadesLibraryUnderTest());
        dir = makeTempDir("sign");
    }

    json sign(const fs::path& file, const fs::path& output, const std::string& attachType,
              const std::string& serial = kIvanov, const json& extra = json::object()) {
        return client.requestJson(signRequest(file.string(), output.string(), attachType, serial, extra));
    }
    fs::path text(const std::string& name, const std::string& content) {
        writeBytes(dir / name, content);
        return dir / name;
    }

    ModuleClient client;
    fs::path dir;
};

std::string answeredPath(const json& answer) {
    EXPECT_TRUE(answer["error"].is_null()) << answer.dump();
    return answer["data"].is_string() ? unb64(answer["data"]) : std::string();
}

}  // namespace

TEST_F(Sign, SignatureFilesPassOpenssl) {
    for (const std::string serial : {kIvanov, kPetrova}) {
        SCOPED_TRACE(serial);
        const std::string content = "Акт сверки " + serial + "\n";
        // Detached with the output equal to the input: the signature goes to the input's name + ".sgn".
        const fs::path original = text("act.txt", content);
        EXPECT_EQ(answeredPath(sign(original, original, "Detached", serial)), original.string() + ".sgn");
        EXPECT_TRUE(opensslVerifies(original.string() + ".sgn", original.string()));
        EXPECT_EQ(readFile(original), content);
        fs::remove(original.string() + ".sgn");

        // Attached into another folder: the content travels inside, the unsigned input is dropped.
        const fs::path out = makeTempDir("out") / "act.txt.sig";
        EXPECT_EQ(answeredPath(sign(original, out, "Attached", serial)), out.string());
        EXPECT_TRUE(opensslVerifies(out, "", dir / "extracted"));
        EXPECT_EQ(readFile(dir / "extracted"), content);
        EXPECT_FALSE(fs::exists(original));

        // Co-signing the attached signature keeps the first signer and adds the second.
        const std::string other = serial == kIvanov ? kPetrova : kIvanov;
        const fs::path cosigned = out.parent_path() / "act.txt.p7s";
        const json answer = client.requestJson(
            {{"method", "sign"},
             {"args",
              {{"file", b64(out.string())},
               {"output_file", b64(cosigned.string())},
               {"sign_info", {{"provider", "CryptoPRO"}, {"cosign", true}, {"search_string", b64(other)}}}}}});
        EXPECT_EQ(answeredPath(answer), cosigned.string());
        EXPECT_TRUE(opensslVerifies(cosigned));
        const json verified = client.requestJson({{"method", "verify"}, {"args", {{"file", b64(cosigned.string())}}}});
        ASSERT_EQ(verified["data"].size(), 2u) << verified.dump();
        // Signer infos form a DER set, so their order follows their encoding.
        std::set<std::string> serials;
        for (const auto& signer : verified["data"]) serials.insert(signer["SerialNumber"].get<std::string>());
        EXPECT_EQ(serials, (std::set<std::string>{kIvanov, kPetrova}));
    }

    // Inline data: signed and answered in base64, nothing written.
    const json answer = client.requestJson(
        {{"method", "sign"},
         {"args",
          {{"document", b64("строка")}, {"sign_info", {{"provider", "CryptoPRO"}, {"search_string", b64(kIvanov)}}}}}});
    ASSERT_TRUE(answer["error"].is_null()) << answer.dump();
    writeBytes(dir / "inline.p7s", unb64(answer["data"]));
    EXPECT_TRUE(opensslVerifies(dir / "inline.p7s"));
}

TEST_F(Sign, RefusalsLeaveTheInputIntact) {
    const fs::path original = text("doc.txt", "content");
    opensslSign(original, dir / "doc.txt.sig", "user_gost256", true);
    const auto refused = [&](const json& answer, const std::string& message) {
        EXPECT_EQ(answer, json::parse(R"({"data":null,"error":")" + message + R"("})"));
        EXPECT_EQ(readFile(original), "content");
    };
    refused(sign(original, dir / "other" / "doc.bin", "Attached"), "tr{У файла существует открепленная подпись!}");

    // A PDF that is itself an attached signature, with a detached one beside it: mixed.
    makePdf(dir / "plain.pdf");
    opensslSign(dir / "plain.pdf", dir / "wrapped.pdf", "user_gost256", false);
    opensslSign(dir / "wrapped.pdf", dir / "wrapped.pdf.sig", "user_gost256", true);
    EXPECT_EQ(
        sign(dir / "wrapped.pdf", dir / "out.sig", "Attached"),
        json::parse(
            R"({"data":null,"error":"tr{У входного файла существуют прикрепленная и открепленная подписи одновременно!}"})"));

    const std::string pdf = readFile(dir / "plain.pdf");
    refused(sign(dir / "plain.pdf", dir / "plain.pdf", "Другое"), "tr{Формат для создания подписи не определен!}");
    EXPECT_EQ(readFile(dir / "plain.pdf"), pdf);

    // A folder that cannot be written: it is a file.
    const fs::path notAFolder = text("not-a-folder", "");
    EXPECT_EQ(sign(original, notAFolder / "doc.txt.sgn", "Detached"),
              json::parse(R"({"data":null,"error":["Не удалось сохранить файл"]})"));
    EXPECT_EQ(readFile(original), "content");

    EXPECT_EQ(sign(dir / "missing.txt", dir / "missing.txt.sgn", "Detached"),
              json::parse(R"({"data":null,"error":["Не удалось прочитать файл"]})"));
    EXPECT_EQ(client.request(R"({"method":"sign","args":{}})"),
              R"({"data":null,"error":["tr{Request without sign_info}"]})");
}

TEST_F(Sign, PadesSignaturesCheckedByQpdfPdfsigAndOpenssl) {
    makePdf(dir / "contract.pdf", 3);
    const std::string first = readFile(dir / "contract.pdf");
    ASSERT_EQ(answeredPath(sign(dir / "contract.pdf", dir / "signed.pdf", "PAdES")), (dir / "signed.pdf").string());
    // Co-signed by a second user into a third revision.
    const json cosign = {{"cosign", true}};
    ASSERT_EQ(answeredPath(sign(dir / "signed.pdf", dir / "cosigned.pdf", "PAdES", kPetrova, cosign)),
              (dir / "cosigned.pdf").string());

    const std::string signedPdf = readFile(dir / "signed.pdf");
    const std::string cosigned = readFile(dir / "cosigned.pdf");
    EXPECT_EQ(signedPdf.compare(0, first.size(), first), 0) << "the first revision changed";
    EXPECT_EQ(cosigned.compare(0, signedPdf.size(), signedPdf), 0) << "the signed revision changed";
    const std::string listing = judgeSignedPdf(dir / "cosigned.pdf", 2);
    EXPECT_NE(listing.find("Signature Field Name: Sign_0x0123456789ABCDEF01"), std::string::npos) << listing;
    EXPECT_NE(listing.find("Signature Field Name: Sign_0x4512"), std::string::npos) << listing;

    // Each ByteRange covers its revision up to its end, but for the hole.
    const auto signatures = pdfSignatures(cosigned);
    ASSERT_EQ(signatures.size(), 2u);
    EXPECT_EQ(signatures[0].c + signatures[0].d, signedPdf.size());
    EXPECT_EQ(signatures[1].c + signatures[1].d, cosigned.size());

    const json verified =
        client.requestJson({{"method", "verify"}, {"args", {{"file", b64((dir / "cosigned.pdf").string())}}}});
    ASSERT_EQ(verified["data"].size(), 2u) << verified.dump();
    EXPECT_EQ(verified["data"][0]["SerialNumber"], kIvanov);
    EXPECT_EQ(verified["data"][1]["SerialNumber"], kPetrova);
    EXPECT_TRUE(verified["data"][0]["Verifyed"] && verified["data"][1]["Verifyed"]);
}

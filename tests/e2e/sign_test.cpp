// "sign" through the module with the CAdES emulator; the results are judged by openssl, qpdf and
// poppler, not by the module itself.

#include "ModuleClient.h"
#include "SignedInputs.h"

#include "support/Process.h"
#include "support/TempHome.h"

#include <gtest/gtest.h>

#include <regex>
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
    json verify(const fs::path& file) { return client.requestJson(verifyRequest(file)); }
    // A signature file of the module: openssl verifies it and finds the signer and its CA in it,
    // not the root; the module verifies it as CAdES-BES, with the subject and a UTC signing time.
    void judge(const fs::path& signature, const fs::path& content, const fs::path& out = "/dev/null") {
        EXPECT_TRUE(opensslVerifies(signature, content, out));
        std::string certificates;
        openssl("pkcs7 -inform DER -print_certs -noout -in " + signature.string(), &certificates);
        const std::regex subject("subject=");
        EXPECT_EQ(std::distance(std::sregex_iterator(certificates.begin(), certificates.end(), subject), {}), 2)
            << certificates;
        std::string logged;
        const json answer = client.requestJson(verifyRequest(signature), logged);
        ASSERT_EQ(answer["data"].size(), 1u) << answer.dump();
        EXPECT_TRUE(answer["data"][0]["Verifyed"]);
        EXPECT_NE(unb64(answer["data"][0]["Subject"]).find("O=ООО «Ромашка»"), std::string::npos);
        EXPECT_TRUE(std::regex_match(answer["data"][0]["SigningTime"].get<std::string>(), std::regex(".+ UTC")));
        EXPECT_NE(logged.find("Message is CADES_BES message type"), std::string::npos) << logged;
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
        const fs::path original = dir / "act.txt";
        writeBytes(original, content);
        EXPECT_EQ(answeredPath(sign(original, original, "Detached", serial)), original.string() + ".sgn");
        judge(original.string() + ".sgn", original);
        EXPECT_EQ(readFile(original), content);
        fs::remove(original.string() + ".sgn");

        // Attached into another folder: the content travels inside, the unsigned input is dropped.
        const fs::path out = makeTempDir("out") / "act.txt.sig";
        EXPECT_EQ(answeredPath(sign(original, out, "Attached", serial)), out.string());
        judge(out, "", dir / "extracted");
        EXPECT_EQ(readFile(dir / "extracted"), content);
        EXPECT_FALSE(fs::exists(original));

        // Co-signing the attached signature keeps the first signer and adds the second.
        const std::string other = serial == kIvanov ? kPetrova : kIvanov;
        const fs::path cosigned = out.parent_path() / "act.txt.p7s";
        json request = signRequest(out.string(), cosigned.string(), "", other, {{"cosign", true}});
        request["args"]["sign_info"].erase("attach_type");
        EXPECT_EQ(answeredPath(client.requestJson(request)), cosigned.string());
        EXPECT_TRUE(opensslVerifies(cosigned));
        const json verified = verify(cosigned);
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
    const fs::path original = dir / "doc.txt";
    writeBytes(original, "content");
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
    const fs::path notAFolder = dir / "not-a-folder";
    writeBytes(notAFolder, "");
    EXPECT_EQ(sign(original, notAFolder / "doc.txt.sgn", "Detached"),
              json::parse(R"({"data":null,"error":["Не удалось сохранить файл"]})"));
    EXPECT_EQ(readFile(original), "content");

    EXPECT_EQ(sign(dir / "missing.txt", dir / "missing.txt.sgn", "Detached"),
              json::parse(R"({"data":null,"error":["Не удалось прочитать файл"]})"));
    EXPECT_EQ(client.request(R"({"method":"sign","args":{}})"),
              R"({"data":null,"error":["tr{Request without sign_info}"]})");
}

// Co-signing and signing refusals with their exact texts, and how the library classifies messages
// made by openssl: through the module with the CAdES emulator.

#include "ModuleClient.h"
#include "SignedInputs.h"

#include "support/TempHome.h"

#include <gtest/gtest.h>

using namespace vesk::test;
using nlohmann::json;
namespace fs = std::filesystem;

namespace {

class CoSignAndClassification : public ::testing::Test {
protected:
    void SetUp() override {
        useCadesLibrary(cadesLibraryUnderTest());
        dir = makeTempDir("cosign");
        writeBytes(dir / "act.txt", "Акт сверки\n");
    }

    // An attached signature of `file` beside it.
    json sign(const fs::path& file, const std::string& serial, bool cosign = false) {
        const fs::path output = file.parent_path() / (cosign ? "cosigned.p7s" : "signed.sig");
        return client.requestJson(
            signRequest(file.string(), output.string(), "Attached", serial, {{"cosign", cosign}}));
    }
    // The answer to "verify" of a file; what the module logged meanwhile lands in `logged`.
    json verify(const fs::path& file) { return client.requestJson(verifyRequest(file), logged); }

    ModuleClient client;
    fs::path dir;
    std::string logged;
};

}  // namespace

TEST_F(CoSignAndClassification, SigningAndCoSigningRefusals) {
    EXPECT_EQ(sign(dir / "act.txt", "nobody"), refusal("tr{Certificate not found}"));
    // An RSA key has no GOST hash: the library refuses, with its own text.
    EXPECT_EQ(sign(dir / "act.txt", "0x5001"), refusal("Invalid algorithm specified."));

    ASSERT_TRUE(sign(dir / "act.txt", kIvanov)["error"].is_null());
    const fs::path signature = dir / "signed.sig";
    EXPECT_EQ(sign(signature, "nobody", true), refusal("tr{Certificate not found}"));
    const json again = sign(signature, kIvanov, true);
    const std::string text = again.at("error").at(0);
    EXPECT_EQ(text.rfind("tr{Документ уже подписан сертификатом} Issuer: ", 0), 0u) << text;
    EXPECT_NE(text.find(std::string("SerialNumber: ") + kIvanov), std::string::npos) << text;

    // Inline co-signing names a file that must exist.
    const fs::path gone = dir / "gone.txt";
    json inlineCosign = signRequest(gone.string(), "", "Attached", kPetrova, {{"cosign", true}});
    inlineCosign["args"]["document"] = b64(readFile(signature));
    EXPECT_EQ(client.requestJson(inlineCosign),
              refusal("tr{File} " + gone.string() + " tr{is not exists, exit with false}"));

    // One changed byte of the content: the signature is bad, and it is not co-signed.
    std::string bytes = readFile(signature);
    bytes[bytes.find("сверки")] ^= 0x01;
    writeBytes(dir / "tampered.sig", bytes);
    const json answer = verify(dir / "tampered.sig");
    EXPECT_FALSE(answer["data"][0]["Verifyed"]) << answer.dump();
    EXPECT_EQ(answer["error"], json::array({"Сообщение содержит неверную подпись."}));
    EXPECT_EQ(sign(dir / "tampered.sig", kPetrova, true),
              refusal("tr{CpSigner::addCoSign CpSigner::addCoSign Signature is not valid}"));

    inlineCosign["args"]["sign_info"]["attach_type"] = "Detached";
    EXPECT_EQ(client.requestJson(inlineCosign), refusal("tr{Соподпись для отсоединённой подписи не поддерживается.}"));
}

TEST_F(CoSignAndClassification, OpensslMessagesAreClassifiedAndVerified) {
    // Signed attributes with the signing certificate (CAdES-BES), without it (plain CMS), none.
    for (const auto& [flags, type, hasTime] :
         {std::tuple{"-cades", "CADES_BES", true}, std::tuple{"", "PKCS7_TYPE", true},
          std::tuple{"-noattr", "PKCS7_TYPE", false}}) {
        SCOPED_TRACE(flags);
        const std::string user = pki("pem/user_gost256"), signature = (dir / "signed.sig").string();
        ASSERT_EQ(openssl("cms -sign -binary -nodetach -outform DER -signer " + user + ".crt -inkey " + user +
                          ".key -in " + (dir / "act.txt").string() + " -out " + signature + " " + flags),
                  0);
        const json answer = verify(signature);
        ASSERT_EQ(answer["data"].size(), 1u) << answer.dump();
        EXPECT_TRUE(answer["data"][0]["Verifyed"]);
        EXPECT_EQ(answer["data"][0]["SigningTime"] != "", hasTime) << answer.dump();
        EXPECT_NE(logged.find(std::string("Message is ") + type + " message type"), std::string::npos) << logged;
    }
    writeBytes(dir / "junk.sig", "not a message");
    EXPECT_EQ(client.requestJson({{"method", "extract"},
                                  {"args", {{"file", b64((dir / "junk.sig").string())}, {"provider", "CryptoPRO"}}}}),
              refusal("ASN1 bad tag value met."));
}

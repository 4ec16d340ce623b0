// Co-signing and signing refusals with their exact texts, what the module's own signatures carry,
// and how the library classifies messages made by openssl: through the module with the CAdES
// emulator, the signatures judged by openssl.

#include "ModuleClient.h"
#include "SignedInputs.h"

#include "support/TempHome.h"

#include <gtest/gtest.h>

#include <regex>

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

    json sign(const fs::path& file, const std::string& attachType, const std::string& serial, bool cosign = false) {
        // A detached signature lies beside its original; an attached one is a file of its own.
        const std::string output = attachType == "Detached"
                                       ? file.string() + ".sgn"
                                       : (file.parent_path() / (cosign ? "cosigned.p7s" : "signed.sig")).string();
        return client.requestJson(signRequest(file.string(), output, attachType, serial, {{"cosign", cosign}}));
    }
    // The answer to "verify" of a file; what the module logged meanwhile lands in `logged`.
    json verify(const fs::path& file) {
        const fs::path log = tempHome() / ".Vesk" / "editor" / "VeskCryptoModule.log";
        const size_t before = readFile(log).size();
        const json answer = client.requestJson({{"method", "verify"}, {"args", {{"file", b64(file.string())}}}});
        logged = readFile(log).substr(before);
        return answer;
    }
    static json refused(const std::string& text) { return {{"data", nullptr}, {"error", {text}}}; }

    ModuleClient client;
    fs::path dir;
    std::string logged;
};

}  // namespace

TEST_F(CoSignAndClassification, ModuleSignaturesCarryTheChainWithoutItsRoot) {
    for (const auto& [serial, attachType] : {std::pair{kIvanov, "Attached"}, std::pair{kPetrova, "Detached"}}) {
        SCOPED_TRACE(attachType);
        writeBytes(dir / "act.txt", "Акт сверки\n");
        const fs::path signature = dir / (attachType == std::string("Attached") ? "signed.sig" : "act.txt.sgn");
        ASSERT_TRUE(sign(dir / "act.txt", attachType, serial)["error"].is_null());
        // The signer and its CA, not the root.
        std::string certificates;
        openssl("pkcs7 -inform DER -print_certs -noout -in " + signature.string(), &certificates);
        const std::regex subject("subject=");
        EXPECT_EQ(std::distance(std::sregex_iterator(certificates.begin(), certificates.end(), subject), {}), 2)
            << certificates;

        const json answer = verify(signature);
        ASSERT_EQ(answer["data"].size(), 1u) << answer.dump();
        EXPECT_TRUE(answer["data"][0]["Verifyed"]);
        EXPECT_NE(unb64(answer["data"][0]["Subject"]).find("O=ООО «Ромашка»"), std::string::npos);
        EXPECT_TRUE(std::regex_match(answer["data"][0]["SigningTime"].get<std::string>(), std::regex(".+ UTC")));
        EXPECT_NE(logged.find("Message is CADES_BES message type"), std::string::npos) << logged;
    }
}

TEST_F(CoSignAndClassification, SigningAndCoSigningRefusals) {
    EXPECT_EQ(sign(dir / "act.txt", "Attached", "nobody"), refused("tr{Certificate not found}"));
    // An RSA key has no GOST hash: the library refuses, with its own text.
    EXPECT_EQ(sign(dir / "act.txt", "Attached", "0x5001"), refused("Invalid algorithm specified."));

    ASSERT_TRUE(sign(dir / "act.txt", "Attached", kIvanov)["error"].is_null());
    const fs::path signature = dir / "signed.sig";
    EXPECT_EQ(sign(signature, "Attached", "nobody", true), refused("tr{Certificate not found}"));
    const json again = sign(signature, "Attached", kIvanov, true);
    const std::string text = again.at("error").at(0);
    EXPECT_EQ(text.rfind("tr{Документ уже подписан сертификатом} Issuer: ", 0), 0u) << text;
    EXPECT_NE(text.find(std::string("SerialNumber: ") + kIvanov), std::string::npos) << text;

    // Inline co-signing names a file that must exist.
    const fs::path gone = dir / "gone.txt";
    json inlineCosign = signRequest(gone.string(), "", "Attached", kPetrova, {{"cosign", true}});
    inlineCosign["args"]["document"] = b64(readFile(signature));
    EXPECT_EQ(client.requestJson(inlineCosign),
              refused("tr{File} " + gone.string() + " tr{is not exists, exit with false}"));

    // One changed byte of the content: the signature is bad, and it is not co-signed.
    std::string bytes = readFile(signature);
    bytes[bytes.find("сверки")] ^= 0x01;
    writeBytes(dir / "tampered.sig", bytes);
    const json answer = verify(dir / "tampered.sig");
    EXPECT_FALSE(answer["data"][0]["Verifyed"]) << answer.dump();
    EXPECT_EQ(answer["error"], json::array({"Сообщение содержит неверную подпись."}));
    EXPECT_EQ(sign(dir / "tampered.sig", "Attached", kPetrova, true),
              refused("tr{CpSigner::addCoSign CpSigner::addCoSign Signature is not valid}"));

    inlineCosign["args"]["sign_info"]["attach_type"] = "Detached";
    EXPECT_EQ(client.requestJson(inlineCosign), refused("tr{Соподпись для отсоединённой подписи не поддерживается.}"));
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
              refused("ASN1 bad tag value met."));
}

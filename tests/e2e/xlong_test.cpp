// "sign" with "cades_type":"CadesXLongType1" through the module, against the local time-stamp and
// OCSP services: judged by openssl cms/ts/ocsp, qpdf and pdfsig; failures leave nothing written.

#include "ModuleClient.h"
#include "SignedInputs.h"

#include "support/LocalServices.h"
#include "support/Process.h"
#include "support/TempHome.h"

#include <gtest/gtest.h>

#include <chrono>

using namespace vesk::test;
using nlohmann::json;
namespace fs = std::filesystem;

namespace {

constexpr const char* kRevokedUser = "0x009001";  // the leading zero keeps the serial positive

class XLong : public ::testing::Test {
protected:
    void SetUp() override {
        useCadesLibrary(cadesLibraryUnderTest());
        dir = makeTempDir("xlong");
    }

    json sign(const fs::path& file, const fs::path& output, const std::string& attachType, const std::string& tsp,
              const std::string& serial = kIvanov, bool cosign = false) {
        const json xlong = {{"cades_type", "CadesXLongType1"}, {"tsp_url", tsp}, {"cosign", cosign}};
        return client.requestJson(signRequest(file.string(), output.string(), attachType, serial, xlong));
    }
    // openssl cms -verify, and the signer's long-term evidence judged by openssl ts and ocsp.
    void judge(const fs::path& signature, const fs::path& content, int signer = 0) {
        EXPECT_TRUE(opensslVerifies(signature, content));
        expectLongTermEvidence(signature, dir, signer);
    }
    // The module verifies every signer of the file and gives its signing time.
    void expectVerifiedWithTime(const fs::path& file, size_t signers) {
        const json answer = client.requestJson(verifyRequest(file));
        ASSERT_TRUE(answer["error"].is_null()) << answer.dump();
        ASSERT_EQ(answer["data"].size(), signers) << answer.dump();
        for (const auto& signer : answer["data"]) {
            EXPECT_TRUE(signer["Verifyed"].get<bool>()) << answer.dump();
            EXPECT_FALSE(signer["SigningTime"].get<std::string>().empty()) << answer.dump();
        }
    }

    ModuleClient client;
    fs::path dir;
};

}  // namespace

TEST_F(XLong, AttachedDetachedCosignedAndPades) {
    const std::string tsa = LocalServices::instance().tsaUrl();
    const auto succeeds = [](const json& answer) { EXPECT_TRUE(answer["error"].is_null()) << answer.dump(); };
    writeBytes(dir / "act.txt", "Акт сверки\n");
    succeeds(sign(dir / "act.txt", dir / "act.txt", "Detached", tsa));
    judge(dir / "act.txt.sgn", dir / "act.txt");
    expectVerifiedWithTime(dir / "act.txt", 1);

    // Attached into another folder (a .sig beside its input would count as a detached signature).
    writeBytes(dir / "letter.txt", "Письмо\n");
    const fs::path out = makeTempDir("attached");
    succeeds(sign(dir / "letter.txt", out / "letter.txt.sig", "Attached", tsa));
    judge(out / "letter.txt.sig", {});
    succeeds(sign(out / "letter.txt.sig", out / "letter.txt.p7s", "Attached", tsa, kPetrova, true));
    for (const int signer : {1, 0}) judge(out / "letter.txt.p7s", {}, signer);
    expectVerifiedWithTime(out / "letter.txt.p7s", 2);
    // The verifier recognised the long-term form.
    const std::string log = readFile(moduleLog());
    EXPECT_NE(log.find("Message is CADES_X_LONG_TYPE_1 message type"), std::string::npos);

    // PAdES: the X-Long signature fits its 65536-byte reserve; qpdf, pdfsig and openssl accept the
    // file, and openssl the time-stamp of the one DER value before the padding.
    makePdf(dir / "contract.pdf");
    succeeds(sign(dir / "contract.pdf", dir / "signed.pdf", "PAdES", tsa));
    judgeSignedPdf(dir / "contract.pdf", dir / "signed.pdf", 1);
    const auto signatures = pdfSignatures(readFile(dir / "signed.pdf"));
    ASSERT_EQ(signatures.size(), 1u);
    EXPECT_EQ(signatures[0].c - signatures[0].b, 2u * 65536 + 2);
    writeBytes(dir / "hole.der", signatures[0].der);
    expectLongTermEvidence(dir / "hole.der", dir);
    expectVerifiedWithTime(dir / "signed.pdf", 1);
}

// Every failure is an error answer with nothing written, within the network bound.
TEST_F(XLong, FailuresAnswerErrorsAndWriteNothing) {
    LocalServices& services = LocalServices::instance();
    const std::string unreachable = unreachableUrl();
    using Case = std::tuple<const char*, std::string, std::string, const char*>;  // what, TSA, OCSP, signer
    const Case cases[] = {
        {"TSA unreachable", unreachable, "", kIvanov},
        {"TSA garbage", services.tsaUrl("/garbage"), "", kIvanov},
        {"TSA wrong imprint", services.tsaUrl("/wrong-imprint"), "", kIvanov},
        {"TSA rejection", services.tsaUrl("/reject"), "", kIvanov},
        {"OCSP unreachable", services.tsaUrl(), unreachable, kIvanov},
        {"revoked", services.tsaUrl(), "", kRevokedUser},
        {"not ASCII", services.tsaUrl("/метка"), "", kIvanov},
        {"no address", "", "", kIvanov},
    };
    int n = 0;
    for (const auto& [what, tsa, ocsp, serial] : cases) {
        SCOPED_TRACE(what);
        std::unique_ptr<LocalServices::OcspRedirect> redirect;
        if (!ocsp.empty()) redirect = std::make_unique<LocalServices::OcspRedirect>(ocsp);
        const fs::path text = dir / ("doc" + std::to_string(++n) + ".txt");
        const fs::path pdf = dir / ("doc" + std::to_string(n) + ".pdf");
        writeBytes(text, "текст");
        makePdf(pdf);
        const std::string pdfBefore = readFile(pdf);
        // An unreachable service costs the whole bound (connection attempts are retried), so
        // those cases run once, on the PDF.
        const bool slow = tsa == unreachable || ocsp == unreachable;
        for (const auto& [input, attach, output] : {std::tuple{text, "Detached", fs::path(text.string() + ".sgn")},
                                                    std::tuple{text, "Attached", dir / "out" / "attached.sig"},
                                                    std::tuple{pdf, "PAdES", dir / "signed.pdf"}}) {
            SCOPED_TRACE(attach);
            if (slow && std::string(attach) != "PAdES") continue;
            // A PDF signing without any address keeps the answer hosts know: success, with a
            // well-formed, unsigned PDF (FileSafety.FailedPadesSigningLeavesAWellFormedPdf).
            if (tsa.empty() && std::string(attach) == "PAdES") continue;
            const auto started = std::chrono::steady_clock::now();
            const json answer = sign(input, output, attach, tsa, serial);
            EXPECT_LT(std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count(), 12.0);
            EXPECT_TRUE(answer["data"].is_null()) << answer.dump();
            EXPECT_FALSE(answer["error"].is_null()) << answer.dump();
            EXPECT_FALSE(fs::exists(output));
        }
        EXPECT_EQ(readFile(text), "текст");
        EXPECT_EQ(readFile(pdf), pdfBefore);
    }
}

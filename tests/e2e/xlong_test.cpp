// "sign" with "cades_type":"CadesXLongType1" through the module, against the local time-stamp and
// OCSP services: judged by openssl cms/ts/ocsp, qpdf and pdfsig; failures leave nothing written.

#include "ModuleClient.h"
#include "SignedInputs.h"

#include "support/LocalServices.h"
#include "support/Process.h"
#include "support/TempHome.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <ctime>
#include <thread>
#include <tuple>

using namespace vesk::test;
using nlohmann::json;
namespace fs = std::filesystem;

namespace {

constexpr const char* kRevokedUser = "0x009001";  // the leading zero keeps the serial positive
constexpr const char* kShortLived = "0x00B001";   // the certificate issueCertificate makes

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
    // A CAdES-BES signing by the module.
    ::testing::AssertionResult signsBes(const fs::path& file, const fs::path& output, const std::string& attachType,
                                        const std::string& serial = kIvanov, const json& extra = json::object()) {
        return succeeded(client.requestJson(signRequest(file.string(), output.string(), attachType, serial, extra)));
    }
    static ::testing::AssertionResult succeeded(const json& answer) {
        if (answer["error"].is_null()) return ::testing::AssertionSuccess();
        return ::testing::AssertionFailure() << answer.dump();
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

    // Whether the module verifies signer 0 of `file`, and the module's log of that request.
    std::pair<bool, std::string> verdictOf(const fs::path& file) {
        std::string logged;
        const json answer = client.requestJson(verifyRequest(file), logged);
        EXPECT_TRUE(answer["data"].is_array()) << answer.dump();
        return {answer["data"].is_array() && answer["data"][0]["Verifyed"] == true, logged};
    }
    // The module does not verify signer 0 of `file`, and logs the library's status `text`.
    void expectNotVerified(const fs::path& file, const std::string& text) {
        const auto [verified, logged] = verdictOf(file);
        EXPECT_FALSE(verified);
        EXPECT_NE(logged.find(text), std::string::npos) << logged;
    }

    ModuleClient client;
    fs::path dir;
};

// The library's status texts for a signer that does not verify.
constexpr const char* kSignerRevocationFailed = "Ошибка проверки конечного сертификата на отзыв.";
constexpr const char* kNoValidSignatureTimeStamp = "В сообщении не найден действительный штамп времени на подпись.";
constexpr const char* kNoChain = "Не удалось построить цепочку для сертификата, на ключе которого подписано сообщение.";

// "openssl ARGS", which must succeed.
void mustRun(const std::string& args) {
    std::string output;
    ASSERT_EQ(openssl(args, &output), 0) << args << "\n" << output;
}

// A GOST key and a certificate for it issued by ISSUER (PEM files), with the extensions of `section`
// in `config` and the validity given, by openssl ca; its index line goes to `index` when given.
void issueCertificate(const fs::path& work, const std::string& name, const std::string& issuer,
                      const std::string& section, const std::string& validity, const fs::path& index = {}) {
    const fs::path config = work / (name + ".cnf");
    writeBytes(config, ".include " + pki("openssl.cnf") +
                           "\n[ca]\ndefault_ca = made\n[made]\ndatabase = " + (work / (name + ".index")).string() +
                           "\nnew_certs_dir = " + work.string() + "\nserial = " + (work / (name + ".serial")).string() +
                           "\ndefault_md = default\npolicy = any\nunique_subject = no\n[any]\ncommonName = supplied\n"
                           "[tsa]\nextendedKeyUsage = critical, timeStamping\nkeyUsage = critical, digitalSignature\n"
                           "[user]\nkeyUsage = critical, digitalSignature, nonRepudiation\n"
                           "authorityInfoAccess = OCSP;URI:http://127.0.0.1:2560/ocsp\n");
    writeBytes(work / (name + ".index"), "");
    writeBytes(work / (name + ".serial"), "B001\n");
    const std::string stem = (work / name).string();
    mustRun("genpkey -algorithm gost2012_256 -pkeyopt paramset:A -out " + q(stem + ".key"));
    mustRun("req -new -key " + q(stem + ".key") + " -subj /CN=" + name + " -out " + q(stem + ".csr"));
    mustRun("ca -config " + q(config) + " -batch -notext -extensions " + section + " " + validity + " -keyfile " +
            q(pki("pem/" + issuer + ".key")) + " -cert " + q(pki("pem/" + issuer + ".crt")) + " -in " +
            q(stem + ".csr") + " -out " + q(stem + ".crt"));
    if (!index.empty()) writeBytes(index, readFile(index) + readFile(work / (name + ".index")));
}

}  // namespace

TEST_F(XLong, AttachedDetachedCosignedAndPades) {
    const std::string tsa = LocalServices::instance().tsaUrl();
    EXPECT_TRUE(succeeded(sign(writeBytes(dir / "act.txt", "Акт сверки\n"), dir / "act.txt", "Detached", tsa)));
    judge(dir / "act.txt.sgn", dir / "act.txt");
    expectVerifiedWithTime(dir / "act.txt", 1);

    // Attached into another folder (a .sig beside its input would count as a detached signature).
    const fs::path out = makeTempDir("attached");
    EXPECT_TRUE(succeeded(sign(writeBytes(dir / "letter.txt", "Письмо\n"), out / "letter.txt.sig", "Attached", tsa)));
    judge(out / "letter.txt.sig", {});
    EXPECT_TRUE(succeeded(sign(out / "letter.txt.sig", out / "letter.txt.p7s", "Attached", tsa, kPetrova, true)));
    for (const int signer : {1, 0}) judge(out / "letter.txt.p7s", {}, signer);
    expectVerifiedWithTime(out / "letter.txt.p7s", 2);
    // The verifier recognised the long-term form.
    EXPECT_NE(readFile(moduleLog()).find("Message is CADES_X_LONG_TYPE_1 message type"), std::string::npos);

    // PAdES: the X-Long signature fits its 65536-byte reserve; qpdf, pdfsig and openssl accept the
    // file, and openssl the time-stamp of the one DER value before the padding.
    makePdf(dir / "contract.pdf");
    EXPECT_TRUE(succeeded(sign(dir / "contract.pdf", dir / "signed.pdf", "PAdES", tsa)));
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

// Evidence anyone can forge after the fact (an OCSP answer swapped, its reference updated and the
// CAdES-C time-stamp renewed at the trusted TSA; a signature time-stamp from a TSA of one's own)
// is refused by the module and by the independent judge alike.
TEST_F(XLong, ForgedEvidenceIsNotVerified) {
    const std::string tsa = LocalServices::instance().tsaUrl();
    writeBytes(dir / "act.txt", "Акт\n");
    ASSERT_TRUE(succeeded(sign(dir / "act.txt", dir / "act.txt", "Detached", tsa)));
    expectLongTermEvidence(dir / "act.txt.sgn", dir);
    ASSERT_TRUE(verdictOf(dir / "act.txt").first);
    // A time-stamping certificate under the PKI's untrusted root.
    issueCertificate(dir, "outside_tsa", "root_orphan", "tsa", "-days 30");
    const std::string good = q(dir / "act.txt.sgn");
    using Case = std::tuple<const char*, std::string, const char*>;  // what, spoiling, status text
    const Case cases[] = {
        {"revoked OCSP answer", "swap-ocsp " + good + " revoked", kSignerRevocationFailed},
        {"broken OCSP signature", "swap-ocsp " + good + " broken", kSignerRevocationFailed},
        {"TSA outside the trusted roots",
         "restamp " + good + " " + q(dir / "outside_tsa.key") + " " + q(dir / "outside_tsa.crt"),
         kNoValidSignatureTimeStamp},
    };
    int n = 0;
    for (const auto& [what, spoiling, text] : cases) {
        SCOPED_TRACE(what);
        const fs::path folder = makeTempDir("forged" + std::to_string(++n));
        fs::copy_file(dir / "act.txt", folder / "act.txt");
        spoilEvidence(spoiling + " " + q(folder / "act.txt.sgn"));
        std::string report;
        EXPECT_FALSE(evidenceHolds(folder / "act.txt.sgn", folder, 0, &report)) << report;
        expectNotVerified(folder / "act.txt", text);
    }
}

// A revoked certificate signs nothing, and a signature made with it elsewhere (openssl) is
// reported not verified when its responder can be asked.
TEST_F(XLong, RevokedCertificateNeitherSignsNorVerifies) {
    LocalServices::instance();
    EXPECT_FALSE(
        signsBes(writeBytes(dir / "memo.txt", "Служебная записка\n"), dir / "memo.txt", "Detached", kRevokedUser));
    EXPECT_FALSE(fs::exists(dir / "memo.txt.sgn"));
    opensslSign(dir / "memo.txt", dir / "memo.txt.sgn", "user_revoked", true);
    expectNotVerified(dir / "memo.txt", kSignerRevocationFailed);
}

// A long-term signature outlives its certificate: judged when it was stamped, it still verifies
// once the certificate has expired; a CAdES-BES signature by the same certificate does not.
TEST_F(XLong, ExpiredCertificateKeepsItsLongTermSignature) {
    // A home of this test's own, so that the short-lived certificate joins no other test's store.
    const fs::path home = makeTempDir("home");
    fs::copy(pki(""), home, fs::copy_options::recursive | fs::copy_options::overwrite_existing);
    ::setenv("CADES_EMULATOR_HOME", home.c_str(), 1);
    constexpr int kLifetimeSeconds = 10;
    const auto stamp = [](std::chrono::system_clock::time_point when) {
        const std::time_t t = std::chrono::system_clock::to_time_t(when);
        char text[32];
        std::strftime(text, sizeof text, "%Y%m%d%H%M%SZ", std::gmtime(&t));
        return std::string(text);
    };
    const auto now = std::chrono::system_clock::now();
    const auto expiry = now + std::chrono::seconds(kLifetimeSeconds);
    issueCertificate(dir, "short_lived", "ca_gost", "user",
                     "-startdate " + stamp(now - std::chrono::minutes(1)) + " -enddate " + stamp(expiry),
                     home / "ocsp" / "ca_gost.index");
    for (const char* file : {"short_lived.crt", "short_lived.key"}) fs::copy_file(dir / file, home / "My" / file);
    const std::string tsa = LocalServices::instance().tsaUrl();

    writeBytes(dir / "lease.txt", "Договор аренды\n");
    const fs::path besDir = makeTempDir("bes");
    fs::copy_file(dir / "lease.txt", besDir / "lease.txt");
    ASSERT_TRUE(succeeded(sign(dir / "lease.txt", dir / "lease.txt", "Detached", tsa, kShortLived)));
    ASSERT_TRUE(signsBes(besDir / "lease.txt", besDir / "lease.txt", "Detached", kShortLived));
    ASSERT_LT(std::chrono::system_clock::now(), expiry) << "signing took longer than the certificate lived";
    EXPECT_TRUE(verdictOf(besDir / "lease.txt").first);
    std::this_thread::sleep_until(expiry + std::chrono::seconds(2));

    EXPECT_TRUE(verdictOf(dir / "lease.txt").first);
    expectLongTermEvidence(dir / "lease.txt.sgn", dir);
    expectNotVerified(besDir / "lease.txt", kNoChain);
}

// "enhance" upgrades what was signed offline: files signed CAdES-BES by the module and by openssl
// become X Long Type 1 with their signed parts untouched, accepted by openssl and the evidence
// judge; a signer already X Long Type 1 stays as it is; a signed PDF is refused.
TEST_F(XLong, EnhanceUpgradesBesSignatures) {
    const std::string tsa = LocalServices::instance().tsaUrl();
    const auto enhance = [&](const fs::path& file, const fs::path& output) {
        return client.call("enhance", {{"file", b64(file.string())},
                                       {"output_file", b64(output.string())},
                                       {"sign_info", {{"provider", "CryptoPRO"}, {"tsp_url", tsa}}}});
    };
    const fs::path out = makeTempDir("attached");
    writeBytes(dir / "order.txt", "Приказ\n");
    ASSERT_TRUE(signsBes(writeBytes(dir / "act.txt", "Акт\n"), dir / "act.txt", "Detached"));
    ASSERT_TRUE(signsBes(writeBytes(dir / "letter.txt", "Письмо\n"), out / "letter.sig", "Attached"));
    ASSERT_TRUE(signsBes(out / "letter.sig", out / "letter.p7s", "Attached", kPetrova, {{"cosign", true}}));
    mustRun("cms -sign -cades -binary -nodetach -md md_gost12_512 -in " + q(dir / "order.txt") + " -signer " +
            q(pki("pem/user_gost512.crt")) + " -inkey " + q(pki("pem/user_gost512.key")) + " -outform DER -out " +
            q(out / "order.p7s"));

    using Case = std::tuple<fs::path, fs::path, fs::path, int>;  // asked, written, detached content, signers
    for (const auto& [asked, written, content, signers] :
         {Case{dir / "act.txt", dir / "act.txt.sgn", dir / "act.txt", 1},
          Case{out / "letter.p7s", out / "letter-xl.p7s", {}, 2}, Case{out / "order.p7s", out / "order.p7s", {}, 1}}) {
        SCOPED_TRACE(asked.string());
        const fs::path source = content.empty() ? asked : written;
        std::vector<std::string> before;
        for (int i = 0; i < signers; ++i) before.push_back(signedPartOf(source, i));
        EXPECT_EQ(enhance(asked, written), answerWith(written));
        EXPECT_TRUE(opensslVerifies(written, content));
        for (int i = 0; i < signers; ++i) {
            EXPECT_EQ(signedPartOf(written, i), before[static_cast<size_t>(i)]);
            expectLongTermEvidence(written, dir, i);
        }
        EXPECT_TRUE(verdictOf(content.empty() ? written : content).first);
    }
    EXPECT_EQ(readFile(dir / "act.txt"), "Акт\n");

    // Enhanced again: nothing changes.
    const std::string once = readFile(out / "order.p7s");
    EXPECT_EQ(enhance(out / "order.p7s", out / "again.p7s"), answerWith(out / "again.p7s"));
    EXPECT_EQ(readFile(out / "again.p7s"), once);

    makePdf(dir / "contract.pdf");
    ASSERT_TRUE(signsBes(dir / "contract.pdf", dir / "signed.pdf", "PAdES"));
    const std::string pdf = readFile(dir / "signed.pdf");
    EXPECT_EQ(enhance(dir / "signed.pdf", dir / "signed.pdf"),
              failed("tr{Подписанный PDF не усовершенствуется: укажите файл подписи CAdES.}"));
    EXPECT_EQ(readFile(dir / "signed.pdf"), pdf);

    // What it cannot serve is refused, with nothing written.
    EXPECT_EQ(client.request(R"({"method":"enhance","args":{}})"),
              R"({"data":null,"error":["tr{Request without sign_info}"]})");
    EXPECT_EQ(client.call("enhance", {{"sign_info", {{"tsp_url", tsa}}}}),
              refusal("tr{Param 'file' in 'args' is not exists}"));
    EXPECT_EQ(enhance(dir / "missing.sgn", dir / "out.sgn"), failed("Не удалось прочитать файл"));
    const json notSigned = enhance(writeBytes(dir / "plain.sig", "не подпись"), dir / "out.sgn");
    EXPECT_TRUE(notSigned["data"].is_null() && !notSigned["error"].is_null()) << notSigned.dump();
    EXPECT_FALSE(fs::exists(dir / "out.sgn"));
}

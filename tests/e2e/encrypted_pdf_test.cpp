// Encrypted PDFs with an empty user password (permissions only), made by qpdf at test time: each
// encryption kind is stamped and signed, as PAdES and into signature files, and the results are
// judged by the readers users have, qpdf, pdfsig and openssl.

#include "RealWorldCorpus.h"

#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/provider.h>

using namespace vesk::test;
using nlohmann::json;
namespace fs = std::filesystem;

namespace {

// A name, qpdf's options, and the revision qpdf --show-encryption shows first. RC4 and its weak key
// lengths are what old producers wrote, and AES-256 revision 5 what Acrobat 9 wrote; qpdf makes
// them only when asked. Each is made with a classic cross-reference table, and with object streams,
// which make qpdf write a cross-reference stream; the update follows suit.
struct Encryption {
    std::string name, options, revision;
};
std::vector<Encryption> encryptions() {
    const Encryption kinds[] = {
        {"rc4_40", "--encrypt \"\" ownerpw 40", "R = 2"},
        {"rc4_128", "--encrypt \"\" ownerpw 128 --use-aes=n", "R = 3"},
        {"aes128", "--encrypt \"\" ownerpw 128 --use-aes=y", "R = 4"},
        {"aes256_r5", "--encrypt \"\" ownerpw 256 --force-R5", "R = 5"},
        {"aes256_r6", "--encrypt \"\" ownerpw 256", "R = 6"},
    };
    std::vector<Encryption> all;
    for (const auto& kind : kinds) {
        all.push_back({kind.name + "_xref_table", "--object-streams=disable " + kind.options, kind.revision});
        all.push_back({kind.name + "_xref_stream", "--object-streams=generate " + kind.options, kind.revision});
    }
    return all;
}

const json kStamp = {{"watermark", {{"strings", {{{"text", "Подписано: <sign_date: 21.11.2026>"}}}}, {"page", -1}}}};
// The co-signer's stamp, beside the first.
const json kCosignStamp = {
    {"cosign", true}, {"watermark", {{"x", 55}, {"x2", 95}, {"strings", {{{"text", "Согласовано"}}}}, {"page", -1}}}};
const StampSeen kStampSeen = stampOf(kStamp["watermark"], "Подписано: 21.11.2026");

class EncryptedPdf : public ::testing::Test {
protected:
    void SetUp() override {
        useCadesLibrary(CADES_EMULATOR_PATH);
        dir = makeTempDir("encrypted");
        makePdf(dir / "plain.pdf", 2);
    }

    // The sample PDF encrypted by qpdf.
    fs::path encrypted(const std::string& name, const std::string& options) {
        produce("qpdf --allow-weak-crypto " + options + " -- " + q(dir / "plain.pdf") + " " + q(dir / (name + ".pdf")));
        return dir / (name + ".pdf");
    }

    json sign(const fs::path& file, const fs::path& output, const std::string& attachType, const std::string& serial,
              const json& extra = kStamp) {
        return client.requestJson(signRequest(file.string(), output.string(), attachType, serial, extra));
    }

    // The file is still encrypted as `original` was: same revision, the empty user password, the
    // owner password still the owner's, and the same /Encrypt and /ID in the last trailer.
    void expectSameEncryption(const fs::path& original, const fs::path& file, const std::string& revision) {
        const std::string shown = runCommand("qpdf --show-encryption --password=ownerpw " + q(file) + " 2>&1").output;
        EXPECT_EQ(shown.rfind(revision + "\n", 0), 0u) << shown;
        EXPECT_TRUE(has(shown, "Supplied password is owner password")) << shown;
        EXPECT_TRUE(has(runCommand("qpdf --show-encryption " + q(file)).output, "User password = \n"));
        const auto trailerKeys = [](const fs::path& pdf) {
            const std::string trailer = runCommand("qpdf --show-object=trailer " + q(pdf) + " 2>&1").output;
            const size_t encrypt = trailer.find("/Encrypt"), id = trailer.find("/ID");
            EXPECT_TRUE(encrypt != std::string::npos && id != std::string::npos) << trailer;
            return trailer.substr(encrypt, trailer.find('R', encrypt) - encrypt) +
                   trailer.substr(id, trailer.find(']', id) - id);
        };
        EXPECT_EQ(trailerKeys(file), trailerKeys(original));
    }

    ModuleClient client;
    fs::path dir;
};

void expectAnswered(const json& answer, const fs::path& output) {
    EXPECT_TRUE(answer["error"].is_null()) << answer.dump();
    EXPECT_EQ(answer["data"], b64(output.string())) << answer.dump();
}

class EachEncryption : public EncryptedPdf, public ::testing::WithParamInterface<Encryption> {};
void PrintTo(const Encryption& encryption, std::ostream* out) { *out << encryption.options; }

}  // namespace

// Each encryption kind, with either kind of cross-reference section, signed as PAdES with a stamp,
// then co-signed with another: two honest incremental updates whose new objects are encrypted with
// the document's key while the signatures' Contents stay plain hex. And signed into detached and
// attached signature files with a stamp: the stamp goes in as an incremental update under the
// document's own encryption, and the signature covers that PDF. Every PDF written is judged as
// viewers read it.
TEST_P(EachEncryption, IsKeptBySignaturesAndSignatureFiles) {
    const auto& [name, options, revision] = GetParam();
    const fs::path input = encrypted(name, options), kept = dir / (name + "-original.pdf");
    const fs::path signedPdf = dir / (name + "-signed.pdf"), cosigned = dir / (name + "-cosigned.pdf");
    fs::copy_file(input, kept);
    expectAnswered(sign(input, signedPdf, "PAdES", kIvanov), signedPdf);
    judgeSignedPdf(input, signedPdf, 1, kStampSeen);
    expectAnswered(sign(signedPdf, cosigned, "PAdES", kPetrova, kCosignStamp), cosigned);
    expectSameEncryption(kept, cosigned, revision);
    // The field name is a string of a new object: it is in the file only encrypted.
    EXPECT_FALSE(has(readFile(cosigned), "Sign_0x"));
    const std::string listing = judgeSignedPdf(signedPdf, cosigned, 2, stampOf(kCosignStamp["watermark"]));
    for (const std::string serial : {kIvanov, kPetrova})
        EXPECT_TRUE(has(listing, "Signature Field Name: Sign_" + serial)) << listing;

    expectAnswered(sign(input, input, "Detached", kIvanov), input.string() + ".sgn");
    EXPECT_TRUE(opensslVerifies(input.string() + ".sgn", input));
    judgeWrittenPdf(kept, input, kStampSeen);
    expectQpdfClean(input);
    expectSameEncryption(kept, input, revision);

    // Into another folder: beside its PDF, NAME.pdf.sig would pass for a detached signature. The
    // signed PDF itself goes into the signature file.
    const fs::path attached = makeTempDir("attached") / (name + ".pdf.sig"), content = dir / (name + "-content.pdf");
    fs::copy_file(kept, dir / (name + "-attach.pdf"));
    expectAnswered(sign(dir / (name + "-attach.pdf"), attached, "Attached", kPetrova), attached);
    EXPECT_TRUE(opensslVerifies(attached, "", content));
    judgeWrittenPdf(kept, content, kStampSeen);
    expectQpdfClean(content);
    EXPECT_EQ(runCommand("qpdf --show-encryption " + q(content)).output.rfind(revision, 0), 0u);
}

INSTANTIATE_TEST_SUITE_P(EncryptedPdf, EachEncryption, ::testing::ValuesIn(encryptions()),
                         [](const auto& test) { return test.param.name; });

// RC4 needs OpenSSL's legacy provider; after a signing of an RC4 file the host's default
// algorithms and its error queue are as they were.
TEST_F(EncryptedPdf, Rc4LeavesTheHostsAlgorithmsAlone) {
    const fs::path input = encrypted("rc4", "--encrypt \"\" ownerpw 40");
    expectAnswered(sign(input, dir / "signed.pdf", "PAdES", kIvanov), dir / "signed.pdf");
    EXPECT_EQ(OSSL_PROVIDER_available(nullptr, "default"), 1);
    EVP_MD* sha256 = EVP_MD_fetch(nullptr, "SHA2-256", nullptr);
    EVP_CIPHER* aes = EVP_CIPHER_fetch(nullptr, "AES-256-CBC", nullptr);
    EXPECT_NE(sha256, nullptr);
    EXPECT_NE(aes, nullptr);
    EVP_MD_free(sha256);
    EVP_CIPHER_free(aes);
    EXPECT_EQ(ERR_peek_error(), 0u);
}

// What cannot be changed honestly is refused with its reason, and nothing is written; with
// annotations forbidden there is no new signature field, but the page itself may be stamped.
TEST_F(EncryptedPdf, PasswordsAndForbiddingPermissionsAreRefused) {
    const std::string password = "tr{The PDF is protected by a password}",
                      noSignature = "tr{The PDF's permissions forbid adding a signature}";
    const std::string rows[][3] = {
        {"--encrypt secret ownerpw 256", "PAdES", password},
        {"--encrypt secret ownerpw 256", "Detached", password},
        {"--encrypt \"\" ownerpw 256 --modify=none", "PAdES", noSignature},
        {"--encrypt \"\" ownerpw 256 --modify=none", "Detached", "tr{The PDF's permissions forbid changing its pages}"},
        {"--encrypt \"\" ownerpw 256 --annotate=n --form=n", "PAdES", noSignature},
    };
    for (const auto& [encryption, attachType, message] : rows) {
        SCOPED_TRACE(encryption + " " + attachType);
        const fs::path input = encrypted("refused", encryption);
        const fs::path output = attachType == "PAdES" ? dir / "refused-signed.pdf" : fs::path(input.string() + ".sgn");
        const std::string before = readFile(input);
        EXPECT_EQ(sign(input, output, attachType, kIvanov), refusal(message));
        EXPECT_EQ(readFile(input), before);
        EXPECT_FALSE(fs::exists(output)) << output;
    }

    const fs::path noForms = encrypted("no-forms", "--encrypt \"\" ownerpw 256 --annotate=n --form=n");
    fs::copy_file(noForms, dir / "no-forms-kept.pdf");
    expectAnswered(sign(noForms, noForms, "Detached", kIvanov), noForms.string() + ".sgn");
    EXPECT_TRUE(opensslVerifies(noForms.string() + ".sgn", noForms));
    judgeWrittenPdf(dir / "no-forms-kept.pdf", noForms, kStampSeen);
}

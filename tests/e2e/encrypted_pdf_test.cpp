// Encrypted PDFs with an empty user password (permissions only), made by qpdf at test time: each
// encryption kind is stamped and signed, as PAdES and into signature files, and the results are
// judged by qpdf, pdfsig, pdftotext and openssl.

#include "RealWorldCorpus.h"

#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/provider.h>

using namespace vesk::test;
using nlohmann::json;
namespace fs = std::filesystem;

namespace {

// A name, qpdf's options, and the revision qpdf --show-encryption shows first. RC4 and its weak key
// lengths are what old producers wrote; qpdf makes them only when asked. Object streams make qpdf
// write a cross-reference stream; the update follows suit.
const std::string kEncryptions[][3] = {
    {"aes128", "--encrypt \"\" ownerpw 128 --use-aes=y", "R = 4"},
    {"aes256", "--encrypt \"\" ownerpw 256", "R = 6"},
    {"rc4-128", "--encrypt \"\" ownerpw 128 --use-aes=n", "R = 3"},
    {"rc4-40", "--encrypt \"\" ownerpw 40", "R = 2"},
    {"aes128-objstm", "--object-streams=generate --encrypt \"\" ownerpw 128 --use-aes=y", "R = 4"},
};

const json kStamp = {{"watermark", {{"strings", {{{"text", "Подписано: <sign_date: 21.11.2026>"}}}}, {"page", -1}}}};

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

    // The page text and the stamp, its date put in, as pdftotext reads them.
    void expectStamped(const fs::path& file) {
        const std::string text = runCommand("pdftotext " + q(file) + " - 2>/dev/null").output;
        for (const char* part : {"Подписано:", "21.11.2026", "Договор"}) EXPECT_TRUE(has(text, part)) << part << text;
    }

    ModuleClient client;
    fs::path dir;
};

void expectAnswered(const json& answer, const fs::path& output) {
    EXPECT_TRUE(answer["error"].is_null()) << answer.dump();
    EXPECT_EQ(answer["data"], b64(output.string())) << answer.dump();
}

}  // namespace

// Each encryption kind signed as PAdES, then co-signed: two honest incremental updates whose new
// objects are encrypted with the document's key while the signatures' Contents stay plain hex. And
// signed into detached and attached signature files with a stamp: the stamp goes in as an
// incremental update under the document's own encryption, and the signature covers that PDF.
TEST_F(EncryptedPdf, EachEncryptionIsKeptBySignaturesAndSignatureFiles) {
    for (const auto& [name, options, revision] : kEncryptions) {
        SCOPED_TRACE(name);
        const fs::path input = encrypted(name, options), kept = dir / (name + "-original.pdf");
        const fs::path signedPdf = dir / (name + "-signed.pdf"), cosigned = dir / (name + "-cosigned.pdf");
        fs::copy_file(input, kept);
        expectAnswered(sign(input, signedPdf, "PAdES", kIvanov), signedPdf);
        expectAnswered(sign(signedPdf, cosigned, "PAdES", kPetrova, {{"cosign", true}}), cosigned);
        const std::string original = readFile(input), first = readFile(signedPdf), second = readFile(cosigned);
        EXPECT_TRUE(extends(first, original)) << "the encrypted original changed";
        EXPECT_TRUE(extends(second, first)) << "the first signed revision changed";
        expectSameEncryption(kept, cosigned, revision);
        expectStamped(cosigned);
        // The field name is a string of a new object: it is in the file only encrypted.
        EXPECT_FALSE(has(second, "Sign_0x"));
        const std::string listing = judgeSignedPdf(cosigned, 2);
        for (const std::string serial : {kIvanov, kPetrova})
            EXPECT_TRUE(has(listing, "Signature Field Name: Sign_" + serial)) << listing;
        const json verified = client.requestJson(verifyRequest(cosigned));
        ASSERT_EQ(verified["data"].size(), 2u) << verified.dump();
        EXPECT_TRUE(verified["data"][0]["Verifyed"] && verified["data"][1]["Verifyed"]) << verified.dump();

        expectAnswered(sign(input, input, "Detached", kIvanov), input.string() + ".sgn");
        EXPECT_TRUE(opensslVerifies(input.string() + ".sgn", input));
        EXPECT_TRUE(extends(readFile(input), original)) << "the encrypted original changed";
        expectQpdfClean(input);
        expectSameEncryption(kept, input, revision);
        expectStamped(input);

        // Into another folder: beside its PDF, NAME.pdf.sig would pass for a detached signature.
        const fs::path attached = makeTempDir("attached") / (name + ".pdf.sig"),
                       content = dir / (name + "-content.pdf");
        expectAnswered(sign(kept, attached, "Attached", kPetrova), attached);
        EXPECT_TRUE(opensslVerifies(attached, "", content));
        expectQpdfClean(content);
        expectStamped(content);
        EXPECT_EQ(runCommand("qpdf --show-encryption " + q(content)).output.rfind(revision, 0), 0u);
    }

    // RC4 needed OpenSSL's legacy provider; the host's default algorithms and its error queue are
    // as they were.
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
    expectAnswered(sign(noForms, noForms, "Detached", kIvanov), noForms.string() + ".sgn");
    EXPECT_TRUE(opensslVerifies(noForms.string() + ".sgn", noForms));
    expectStamped(noForms);
}

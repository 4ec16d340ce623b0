// Encrypted PDFs with an empty user password (permissions only), made by qpdf at test time: each
// encryption kind is stamped and signed, as PAdES and into signature files, and the results are
// judged by qpdf, pdfsig, pdftotext and openssl.

#include "ModuleClient.h"
#include "SignedInputs.h"

#include "support/Process.h"
#include "support/TempHome.h"

#include <gtest/gtest.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/provider.h>

#include <cstdio>

using namespace vesk::test;
using nlohmann::json;
namespace fs = std::filesystem;

namespace {

std::string q(const fs::path& path) { return shellQuote(path.string()); }

struct Encryption {
    const char* name;
    const char* qpdfArguments;  // between --encrypt and --
    const char* revision;       // qpdf --show-encryption's first line
};

// RC4 and its weak key lengths are what old producers wrote; qpdf makes them only when asked.
const Encryption kEncryptions[] = {
    {"aes128", "\"\" ownerpw 128 --use-aes=y", "R = 4"},
    {"aes256", "\"\" ownerpw 256", "R = 6"},
    {"rc4-128", "\"\" ownerpw 128 --use-aes=n", "R = 3"},
    {"rc4-40", "\"\" ownerpw 40", "R = 2"},
};

const json kStamp = {{"watermark", {{"strings", {{{"text", "Подписано: <sign_date: 21.11.2026>"}}}}, {"page", -1}}}};

class EncryptedPdf : public ::testing::Test {
protected:
    void SetUp() override {
        useCadesLibrary(CADES_EMULATOR_PATH);
        dir = makeTempDir("encrypted");
        makePdf(dir / "plain.pdf", 2);
    }

    // The sample PDF encrypted by qpdf; extra qpdf options (object streams) come first.
    fs::path encrypted(const std::string& name, const std::string& arguments, const std::string& extra = "") {
        const fs::path out = dir / (name + ".pdf");
        const auto made = runCommand("qpdf --allow-weak-crypto " + extra + " --encrypt " + arguments + " -- " +
                                     q(dir / "plain.pdf") + " " + q(out) + " 2>&1");
        EXPECT_EQ(made.exitCode, 0) << made.output;
        return out;
    }

    json sign(const fs::path& file, const fs::path& output, const std::string& attachType,
              const std::string& serial = kIvanov, const json& extra = json::object()) {
        return client.requestJson(signRequest(file.string(), output.string(), attachType, serial, extra));
    }

    // The file is still encrypted as `original` was: same revision, the empty user password, the
    // owner password still the owner's, and the same /Encrypt and /ID in the last trailer.
    void expectSameEncryption(const fs::path& original, const fs::path& file, const std::string& revision) {
        const std::string shown = runCommand("qpdf --show-encryption --password=ownerpw " + q(file) + " 2>&1").output;
        EXPECT_EQ(shown.rfind(revision + "\n", 0), 0u) << shown;
        EXPECT_NE(shown.find("Supplied password is owner password"), std::string::npos) << shown;
        EXPECT_NE(runCommand("qpdf --show-encryption " + q(file)).output.find("User password = \n"), std::string::npos);
        const auto trailerKeys = [](const fs::path& pdf) {
            const std::string trailer = runCommand("qpdf --show-object=trailer " + q(pdf) + " 2>&1").output;
            const size_t encrypt = trailer.find("/Encrypt"), id = trailer.find("/ID");
            EXPECT_NE(encrypt, std::string::npos) << trailer;
            EXPECT_NE(id, std::string::npos) << trailer;
            return trailer.substr(encrypt, trailer.find('R', encrypt) - encrypt) +
                   trailer.substr(id, trailer.find(']', id) - id);
        };
        EXPECT_EQ(trailerKeys(file), trailerKeys(original));
    }

    void expectQpdfCheckClean(const fs::path& file) {
        const auto checked = runCommand("qpdf --check " + q(file) + " 2>&1");
        EXPECT_EQ(checked.exitCode, 0) << checked.output;
        EXPECT_NE(checked.output.find("No syntax or stream encoding errors"), std::string::npos) << checked.output;
    }

    void expectStamped(const fs::path& file) {
        const std::string text = runCommand("pdftotext " + q(file) + " - 2>/dev/null").output;
        EXPECT_NE(text.find("Подписано:"), std::string::npos) << text;
        EXPECT_NE(text.find("21.11.2026"), std::string::npos) << text;
        EXPECT_NE(text.find("Договор"), std::string::npos) << text;
    }

    // Each signature's hole holds a CMS signature that openssl verifies over its ByteRange.
    int expectByteRangesVerify(const fs::path& file) {
        const std::string pdf = readFile(file);
        int signatures = 0;
        for (size_t at = pdf.find("/ByteRange"); at != std::string::npos; at = pdf.find("/ByteRange", at + 1)) {
            size_t a = 0, b = 0, c = 0, d = 0;
            if (std::sscanf(pdf.c_str() + at, "/ByteRange [%zu %zu %zu %zu]", &a, &b, &c, &d) != 4 &&
                std::sscanf(pdf.c_str() + at, "/ByteRange[ %zu %zu %zu %zu]", &a, &b, &c, &d) != 4) {
                ADD_FAILURE() << pdf.substr(at, 60);
                continue;
            }
            ++signatures;
            EXPECT_EQ(pdf[b], '<');
            EXPECT_EQ(pdf[c - 1], '>');
            writeBytes(dir / "ranges.bin", pdf.substr(a, b) + pdf.substr(c, d));
            const std::string hex = pdf.substr(b + 1, c - b - 2);
            std::string der;
            for (size_t i = 0; i + 1 < hex.size(); i += 2)
                der += static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16));
            writeBytes(dir / "hole.der", der);
            EXPECT_TRUE(opensslVerifies(dir / "hole.der", dir / "ranges.bin"));
        }
        return signatures;
    }

    ModuleClient client;
    fs::path dir;
};

std::string errorOf(const json& answer) {
    EXPECT_TRUE(answer["data"].is_null()) << answer.dump();
    const json& error = answer["error"];
    return error.is_array() && !error.empty() ? error[0].get<std::string>() : error.dump();
}

void expectAnswered(const json& answer, const fs::path& output) {
    EXPECT_TRUE(answer["error"].is_null()) << answer.dump();
    EXPECT_EQ(answer["data"], b64(output.string())) << answer.dump();
}

}  // namespace

// PAdES into each encryption kind, then a co-signature: two honest incremental updates whose new
// objects are encrypted with the document's key while the signatures' Contents stay plain hex.
TEST_F(EncryptedPdf, PadesSignaturesAndCosignaturesKeepTheEncryption) {
    std::vector<std::pair<Encryption, fs::path>> inputs;
    for (const Encryption& kind : kEncryptions) inputs.emplace_back(kind, encrypted(kind.name, kind.qpdfArguments));
    // Object streams make qpdf write a cross-reference stream; the update follows suit.
    inputs.emplace_back(Encryption{"aes128-objstm", "", "R = 4"},
                        encrypted("aes128-objstm", kEncryptions[0].qpdfArguments, "--object-streams=generate"));

    for (const auto& [kind, input] : inputs) {
        SCOPED_TRACE(kind.name);
        const fs::path signedPdf = dir / (std::string(kind.name) + "-signed.pdf");
        const fs::path cosigned = dir / (std::string(kind.name) + "-cosigned.pdf");
        expectAnswered(sign(input, signedPdf, "PAdES", kIvanov, kStamp), signedPdf);
        expectAnswered(sign(signedPdf, cosigned, "PAdES", kPetrova, {{"cosign", true}}), cosigned);

        const std::string original = readFile(input), first = readFile(signedPdf), second = readFile(cosigned);
        EXPECT_EQ(first.compare(0, original.size(), original), 0) << "the encrypted original changed";
        EXPECT_EQ(second.compare(0, first.size(), first), 0) << "the first signed revision changed";
        expectQpdfCheckClean(cosigned);
        expectSameEncryption(input, cosigned, kind.revision);
        expectStamped(cosigned);
        // The field name is a string of a new object: it is in the file only encrypted.
        EXPECT_EQ(second.find("Sign_0x"), std::string::npos);

        const std::string listing = runCommand("pdfsig " + q(cosigned) + " 2>&1").output;
        EXPECT_NE(listing.find("Signature Field Name: Sign_0x0123456789ABCDEF01"), std::string::npos) << listing;
        EXPECT_NE(listing.find("Signature Field Name: Sign_0x4512"), std::string::npos) << listing;
        EXPECT_NE(listing.find("Total document signed"), std::string::npos) << listing;
        EXPECT_EQ(expectByteRangesVerify(cosigned), 2);

        const json verified = client.requestJson({{"method", "verify"}, {"args", {{"file", b64(cosigned.string())}}}});
        ASSERT_EQ(verified["data"].size(), 2u) << verified.dump();
        EXPECT_TRUE(verified["data"][0]["Verifyed"] && verified["data"][1]["Verifyed"]) << verified.dump();
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

// Attached and detached signature files of a stamped encrypted PDF: the stamp goes in as an
// incremental update under the document's own encryption, and the signature covers that PDF.
TEST_F(EncryptedPdf, StampedPdfsSignedIntoSignatureFiles) {
    for (const Encryption& kind : kEncryptions) {
        SCOPED_TRACE(kind.name);
        const fs::path input = encrypted(kind.name, kind.qpdfArguments);
        const std::string original = readFile(input);
        const fs::path kept = dir / (std::string(kind.name) + "-original.pdf");
        fs::copy_file(input, kept);

        expectAnswered(sign(input, input, "Detached", kIvanov, kStamp), input.string() + ".sgn");
        EXPECT_TRUE(opensslVerifies(input.string() + ".sgn", input));
        EXPECT_EQ(readFile(input).compare(0, original.size(), original), 0) << "the encrypted original changed";
        expectQpdfCheckClean(input);
        expectSameEncryption(kept, input, kind.revision);
        expectStamped(input);

        const fs::path again = encrypted(std::string(kind.name) + "-attached", kind.qpdfArguments);
        // Into another folder: beside its PDF, NAME.pdf.sig would pass for a detached signature.
        const fs::path attached = makeTempDir("attached") / (std::string(kind.name) + ".pdf.sig");
        expectAnswered(sign(again, attached, "Attached", kPetrova, kStamp), attached);
        const fs::path content = dir / (std::string(kind.name) + "-content.pdf");
        EXPECT_TRUE(opensslVerifies(attached, "", content));
        expectQpdfCheckClean(content);
        expectStamped(content);
        EXPECT_NE(runCommand("qpdf --show-encryption " + q(content)).output.rfind(kind.revision, 0), std::string::npos);
    }
}

// What cannot be changed honestly is refused with its reason, and nothing is written.
TEST_F(EncryptedPdf, PasswordsAndForbiddingPermissionsAreRefused) {
    const auto refused = [&](const fs::path& input, const std::string& attachType, const fs::path& output,
                             const std::string& message) {
        const std::string before = readFile(input);
        EXPECT_EQ(errorOf(sign(input, output, attachType, kIvanov, kStamp)), message);
        EXPECT_EQ(readFile(input), before);
        EXPECT_FALSE(fs::exists(output)) << output;
    };
    const fs::path locked = encrypted("locked", "secret ownerpw 256");
    refused(locked, "PAdES", dir / "locked-signed.pdf", "tr{The PDF is protected by a password}");
    refused(locked, "Detached", locked.string() + ".sgn", "tr{The PDF is protected by a password}");

    const fs::path readOnly = encrypted("read-only", "\"\" ownerpw 256 --modify=none");
    refused(readOnly, "PAdES", dir / "read-only-signed.pdf", "tr{The PDF's permissions forbid adding a signature}");
    refused(readOnly, "Detached", readOnly.string() + ".sgn", "tr{The PDF's permissions forbid changing its pages}");

    // Annotations forbidden: no new signature field, but the page itself may be stamped.
    const fs::path noForms = encrypted("no-forms", "\"\" ownerpw 256 --annotate=n --form=n");
    refused(noForms, "PAdES", dir / "no-forms-signed.pdf", "tr{The PDF's permissions forbid adding a signature}");
    expectAnswered(sign(noForms, noForms, "Detached", kIvanov, kStamp), noForms.string() + ".sgn");
    EXPECT_TRUE(opensslVerifies(noForms.string() + ".sgn", noForms));
    expectStamped(noForms);
}

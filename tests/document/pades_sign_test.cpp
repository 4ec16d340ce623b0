// PAdES signing of PDFs: incremental update, byte ranges, co-signing, field names and refusals,
// judged by openssl, qpdf and pdfsig.
#include "pdf_support.h"

#include "crypto/CryptoProviderFactory.h"
#include "document/PAdESTypeSigner.h"
#include "document/PdfSignVerifycator.h"
#include "support/LocalServices.h"
#include "support/TempHome.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace Vesk::Crypto;
using namespace pdftest;

namespace {

RequestApiResultPtr signPdf(const SignOptions& options) {
    InternalSignOptions internal;
    return PAdESTypeSigner(CryptoProviderFactory::getSigner(CryptoProvider::CryptoPro),
                           CryptoProviderFactory::getVerifycator(CryptoProvider::CryptoPro))
        .sign(options, internal);
}

std::string firstError(const RequestApiResultPtr& result) {
    return result && !result->errors.empty() ? result->errors.front() : "";
}

// Signs `in` into `out` and checks the file the way a reader of it would: qpdf finds it sound,
// the earlier revision is untouched, the new ByteRange spans the whole file but its hole, and
// openssl accepts every signature. The signatures found.
std::vector<EmbeddedSignature> signAndCheck(SignOptions options) {
    const auto result = signPdf(options);
    EXPECT_TRUE(result && result->success) << firstError(result);
    EXPECT_TRUE(result && result->errors.empty());

    int code = -1;
    const std::string check = run("qpdf --check " + quote(options.output_file), &code);
    EXPECT_EQ(0, code) << check;
    const Bytes input = cptest::readFile(options.file);
    const Bytes output = cptest::readFile(options.output_file);
    EXPECT_TRUE(startsWith(output, input)) << "the earlier revision changed";

    const auto signatures = embeddedSignatures(options.output_file);
    if (signatures.empty()) {
        ADD_FAILURE() << "no ByteRange";
        return signatures;
    }
    const auto& last = signatures.back();
    EXPECT_EQ(0, last.a);
    EXPECT_EQ(static_cast<int64_t>(output.size()), last.c + last.d);
    EXPECT_GT(last.b, static_cast<int64_t>(input.size())) << "the hole lies in the update";
    EXPECT_EQ(2 * 16344 + 2, last.c - last.b) << "CAdES-BES reserve";
    for (const auto& signature : signatures)
        EXPECT_TRUE(cptest::opensslVerifies(signature.signature, &signature.signedData));
    return signatures;
}

// The signature field names pdfsig reports, in its order.
std::vector<std::string> pdfsigFieldNames(const fs::path& pdf) {
    const std::string output = run("pdfsig -nocert " + quote(pdf));
    std::vector<std::string> names;
    const std::string label = "Signature Field Name: ";
    for (size_t at = output.find(label); at != std::string::npos; at = output.find(label, at + 1)) {
        const size_t start = at + label.size();
        names.push_back(output.substr(start, output.find('\n', start) - start));
    }
    return names;
}

}  // namespace

TEST(PadesSign, SignsAsIncrementalUpdateAndCosignsBesideTheFirstSignature) {
    const fs::path pdf = makePdf("contract.pdf");
    const fs::path signedPdf = pdf.parent_path() / "signed.pdf";
    ASSERT_EQ(1u, signAndCheck(padesOptions(pdf, signedPdf)).size());
    EXPECT_EQ(std::vector<std::string>{kFieldName}, pdfsigFieldNames(signedPdf));
    const Bytes signedBytes = cptest::readFile(signedPdf);
    const std::string signedText(signedBytes.begin(), signedBytes.end());
    EXPECT_NE(std::string::npos, signedText.find("/Filter/CryptoPro#20PDF"));
    EXPECT_NE(std::string::npos, signedText.find("/SigFlags 2"));

    SignOptions cosign = padesOptions(signedPdf, pdf.parent_path() / "cosigned.pdf");
    cosign.cosign = true;
    ASSERT_EQ(2u, signAndCheck(cosign).size());
    EXPECT_EQ((std::vector<std::string>{kFieldName, kFieldName + "_1"}), pdfsigFieldNames(cosign.output_file));

    const auto verified =
        PdfSignVerifycator(CryptoProviderFactory::getVerifycator(CryptoProvider::CryptoPro)).verify(cosign.output_file);
    ASSERT_TRUE(verified && verified->signers);
    ASSERT_EQ(2u, verified->signers->size());
    for (const auto& info : *verified->signers) EXPECT_TRUE(info->verified);
}

TEST(PadesSign, SignsObjectStreamLinearizedAndLargeFiles) {
    const fs::path plain = makePdf("plain.pdf");
    const fs::path inputs[] = {rewriteWithQpdf(plain, "--object-streams=generate"),
                               rewriteWithQpdf(plain, "--linearize"), makePdf("large.pdf", {2, "", 17})};
    ASSERT_GT(fs::file_size(inputs[2]), 16u << 20);
    for (const auto& input : inputs) {
        SCOPED_TRACE(input.filename().string());
        EXPECT_EQ(1u, signAndCheck(padesOptions(input, input.string() + ".signed.pdf")).size());
    }
}

TEST(PadesSign, CosignRequiresValidSignaturesUnlessForced) {
    const fs::path pdf = makePdf("unsigned.pdf");
    SignOptions options = padesOptions(pdf, pdf.parent_path() / "out.pdf");
    options.cosign = true;
    auto result = signPdf(options);
    ASSERT_FALSE(result->success);
    EXPECT_EQ(std::vector<std::string>{"tr{PAdESTypeSigner::sign verifyAttachedSign signInfoList is empty}"},
              result->errors);
    EXPECT_FALSE(fs::exists(options.output_file));

    options.cosign_force = true;
    EXPECT_EQ(1u, signAndCheck(options).size());

    // One changed byte inside the signed range (the binary comment after the header).
    Bytes tampered = cptest::readFile(options.output_file);
    tampered[11] ^= 0x01;
    SignOptions again = padesOptions(cptest::writeTemp("tampered.pdf", tampered), pdf.parent_path() / "again.pdf");
    again.cosign = true;
    result = signPdf(again);
    ASSERT_FALSE(result->success);
    EXPECT_EQ("tr{PAdESTypeSigner::sign CpSigner::addCoSign Signature is not valid}", result->errors.back());
    EXPECT_FALSE(fs::exists(again.output_file));
}

TEST(PadesSign, NamesNewFieldsAfterExistingSignatureFieldsOnly) {
    const fs::path pdf = makePdf("names.pdf", {1, "", 0});
    fs::path current = pdf;
    for (int i = 0; i < 3; ++i) {
        SignOptions options = padesOptions(current, pdf.parent_path() / ("signed" + std::to_string(i) + ".pdf"));
        options.cosign = i > 0;
        signAndCheck(options);
        current = options.output_file;
    }
    EXPECT_EQ((std::vector<std::string>{kFieldName, kFieldName + "_1", kFieldName + "_2"}), pdfsigFieldNames(current));

    // A text field of that name does not take the name.
    const fs::path form = makePdf("form.pdf", {1, kFieldName, 0});
    const SignOptions options = padesOptions(form, pdf.parent_path() / "form-signed.pdf");
    signAndCheck(options);
    EXPECT_EQ(std::vector<std::string>{kFieldName}, pdfsigFieldNames(options.output_file));
}

TEST(PadesSign, RefusalsLeaveFilesAloneAndReserveFollowsCadesType) {
    const fs::path folder = vesk::test::makeTempDir("refusals");
    SignOptions missing = padesOptions(folder / "missing.pdf", folder / "out.pdf");
    EXPECT_EQ(std::vector<std::string>{"tr{Файл не существет!}"}, signPdf(missing)->errors);

    const fs::path empty = makePdf("empty.pdf", {0, "", 0});
    const Bytes emptyBytes = cptest::readFile(empty);
    auto result = signPdf(padesOptions(empty, folder / "out.pdf"));
    EXPECT_FALSE(result->success);
    EXPECT_EQ(std::vector<std::string>{"tr{File} " + empty.string() + " tr{not contains pages}"}, result->errors);
    EXPECT_EQ(emptyBytes, cptest::readFile(empty));

    result = signPdf(padesOptions(cptest::writeTemp("text.pdf", cptest::toBytes("not a PDF")), folder / "out.pdf"));
    EXPECT_FALSE(result->success);
    EXPECT_EQ(0u, firstError(result).rfind("tr{Error on load file:} ", 0)) << firstError(result);
    EXPECT_FALSE(fs::exists(folder / "out.pdf"));

    // Kept as the program has it: without save_with_errors nothing is written, yet success is reported.
    const fs::path pdf = makePdf("doc.pdf");
    SignOptions noSave = padesOptions(pdf, folder / "out.pdf");
    noSave.save_with_errors = false;
    EXPECT_TRUE(signPdf(noSave)->success);
    EXPECT_FALSE(fs::exists(noSave.output_file));

    // CAdES-X Long Type 1 gets the larger reserve. Without a time-stamp address the answer stays
    // success, as hosts know it, and the hole holds zeros: a well-formed PDF no one takes for signed.
    SignOptions xlong = padesOptions(pdf, folder / "xlong.pdf");
    xlong.cades_type = CadesType::CadesXLongType1;
    xlong.tsp_url = vesk::test::LocalServices::instance().tsaUrl();
    EXPECT_TRUE(signPdf(xlong)->success);
    const auto holes = embeddedSignatures(xlong.output_file);
    ASSERT_EQ(1u, holes.size());
    EXPECT_EQ(2 * 65536 + 2, holes[0].c - holes[0].b);
    xlong.tsp_url.clear();
    xlong.output_file = folder / "no-tsa.pdf";
    EXPECT_TRUE(signPdf(xlong)->success);
    const auto unsigned_ = embeddedSignatures(xlong.output_file);
    ASSERT_EQ(1u, unsigned_.size());
    EXPECT_TRUE(std::all_of(unsigned_[0].signature.begin(), unsigned_[0].signature.end(),
                            [](unsigned char byte) { return byte == 0; }));
    // A named service that fails is different: no X-Long signature can be made, nothing is written.
    xlong.tsp_url = vesk::test::LocalServices::instance().tsaUrl("/reject");
    xlong.output_file = folder / "rejected.pdf";
    const auto refused = signPdf(xlong);
    EXPECT_FALSE(refused->success);
    EXPECT_FALSE(fs::exists(xlong.output_file));
}

// Shown to the user as it stands, without tr{}.
TEST(PadesSign, PdfWithoutSignaturesIsReportedUntranslated) {
    const auto verified = PdfSignVerifycator(CryptoProviderFactory::getVerifycator(CryptoProvider::CryptoPro))
                              .verify(makePdf("unsigned.pdf"));
    ASSERT_TRUE(verified && verified->signers);
    EXPECT_TRUE(verified->signers->empty());
    EXPECT_EQ(std::vector<std::string>{"Файл не содержит подписей"}, verified->errors);
}

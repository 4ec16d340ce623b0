// Co-signing of attached signatures through the CryptoPro back-end.
#include "support.h"

#include "cryptopro/CpSigner.h"
#include "cryptopro/CpVerifySign.h"

#include <gtest/gtest.h>

using namespace Vesk::Crypto;
using namespace Vesk::Crypto::CryptoPro;
using namespace cptest;

namespace {

// An attached signature by the 2012-256 user and the file it names.
struct Signed {
    Bytes data = toBytes("Акт сверки\n");
    Bytes signature;
    std::filesystem::path file = writeTemp("act.txt", data);
};

Signed signedByUser256(CpSigner& signer) {
    Signed result;
    InternalSignOptions internal;
    const auto outcome =
        signer.signMessage(result.data, result.signature, signOptions(kUser256, SignAttachType::Attached), internal);
    if (!outcome || !outcome->success) throw std::runtime_error("signing failed");
    return result;
}

SignOptions cosignOptions(const std::string& user, const Signed& original, SignAttachType attachType) {
    SignOptions options = signOptions(user, attachType);
    options.file = original.file;
    options.cosign = true;
    return options;
}

}  // namespace

TEST(CoSign, SecondSignerIsAddedAndAcceptedByOpenssl) {
    CpSigner signer;
    const Signed original = signedByUser256(signer);
    Bytes cosigned;
    InternalSignOptions internal;
    const auto outcome = signer.addCoSign(original.signature, cosigned,
                                          cosignOptions(kUser512, original, SignAttachType::Attached), internal);
    ASSERT_NE(nullptr, outcome);
    ASSERT_TRUE(outcome->success) << (outcome->errors.empty() ? "" : outcome->errors.front());

    Bytes content;
    EXPECT_TRUE(opensslVerifies(cosigned, nullptr, &content));
    EXPECT_EQ(original.data, content);

    const auto result = CpVerifySign().verifyAttachedSign(cosigned);
    ASSERT_TRUE(result && result->signers);
    ASSERT_EQ(2u, result->signers->size());
    EXPECT_EQ(kUser256, result->signers->at(0)->certificate->serialNumber);
    EXPECT_EQ(kUser512, result->signers->at(1)->certificate->serialNumber);
    EXPECT_TRUE(result->signers->at(0)->verified);
    EXPECT_TRUE(result->signers->at(1)->verified);
}

TEST(CoSign, RefusalsComeWithTheirTexts) {
    CpSigner signer;
    const Signed original = signedByUser256(signer);
    Bytes cosigned;
    InternalSignOptions internal;
    const auto refusal = [&](const SignOptions& options, const Bytes& signature) {
        const auto outcome = signer.addCoSign(signature, cosigned, options, internal);
        EXPECT_NE(nullptr, outcome);
        if (!outcome) return std::string();
        EXPECT_FALSE(outcome->success);
        EXPECT_EQ(1u, outcome->errors.size());
        return outcome->errors.empty() ? std::string() : outcome->errors.front();
    };

    EXPECT_EQ("tr{Соподпись для отсоединённой подписи не поддерживается.}",
              refusal(cosignOptions(kUser512, original, SignAttachType::Detached), original.signature));

    SignOptions noFile = cosignOptions(kUser512, original, SignAttachType::Attached);
    noFile.file = original.file.parent_path() / "gone.txt";
    EXPECT_EQ("tr{File} " + noFile.file.string() + " tr{is not exists, exit with false}",
              refusal(noFile, original.signature));

    EXPECT_EQ("tr{Certificate not found}",
              refusal(cosignOptions("nobody", original, SignAttachType::Attached), original.signature));

    const std::string again = refusal(cosignOptions(kUser256, original, SignAttachType::Attached), original.signature);
    EXPECT_EQ(0u, again.rfind("tr{Документ уже подписан сертификатом} Issuer: ", 0)) << again;
    EXPECT_NE(std::string::npos, again.find(std::string("SerialNumber: ") + kUser256)) << again;

    Bytes tampered = original.signature;
    const auto at = std::search(tampered.begin(), tampered.end(), original.data.begin(), original.data.end());
    ASSERT_NE(tampered.end(), at);
    *at ^= 0x01;
    EXPECT_EQ("tr{CpSigner::addCoSign CpSigner::addCoSign Signature is not valid}",
              refusal(cosignOptions(kUser512, original, SignAttachType::Attached), tampered));
}

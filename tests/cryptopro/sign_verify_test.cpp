// Signing, verification and extraction through the CryptoPro back-end, judged by openssl.
#include "support.h"

#include "cryptopro/CpExtract.h"
#include "cryptopro/CpSigner.h"
#include "cryptopro/CpStatusTexts.h"
#include "cryptopro/CpVerifySign.h"
#include "cryptopro/CryptoProLibApi.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <tuple>

using namespace Vesk::Crypto;
using namespace Vesk::Crypto::CryptoPro;
using namespace cptest;

namespace {

constexpr const char* kBadSignature = "Сообщение содержит неверную подпись.";

bool contains(const std::vector<std::string>& texts, const std::string& text) {
    return std::find(texts.begin(), texts.end(), text) != texts.end();
}

// A copy of an attached signature with one byte of its embedded content changed.
Bytes withContentByteFlipped(Bytes signature, const Bytes& content) {
    auto at = std::search(signature.begin(), signature.end(), content.begin(), content.end());
    if (at == signature.end()) throw std::runtime_error("content not found in the signature");
    at[content.size() / 2] ^= 0x01;
    return signature;
}

// Signs, checks with openssl and the verifier, then breaks the content; one user and attach type.
void signAndVerify(const char* user, SignAttachType attachType) {
    const bool detached = attachType != SignAttachType::Attached;
    const Bytes data = toBytes("Договор поставки № 17\nподписывает " + std::string(user) + "\n");

    CpSigner signer;
    Bytes signature;
    InternalSignOptions internal;
    const auto signed_ = signer.signMessage(data, signature, signOptions(user, attachType), internal);
    ASSERT_NE(nullptr, signed_);
    ASSERT_TRUE(signed_->success) << (signed_->errors.empty() ? "" : signed_->errors.front());
    EXPECT_TRUE(signed_->errors.empty());

    Bytes verifiedContent;
    EXPECT_TRUE(opensslVerifies(signature, detached ? &data : nullptr, &verifiedContent));
    EXPECT_EQ(data, verifiedContent);
    EXPECT_EQ(2, carriedCertificates(signature)) << "the signer and its CA, without the root";
    const auto params = CpVerifySign::getSignParams(signature, detached);
    EXPECT_TRUE(params.recognized);
    EXPECT_EQ(CADES_BES, params.type);

    CpVerifySign verifier;
    const auto result =
        detached ? verifier.verifyDetachedSign(signature, data) : verifier.verifyAttachedSign(signature);
    ASSERT_TRUE(result && result->signers);
    ASSERT_EQ(1u, result->signers->size());
    const auto& info = *result->signers->front();
    EXPECT_TRUE(info.verified);
    EXPECT_TRUE(result->errors.empty());
    ASSERT_NE(nullptr, info.certificate);
    EXPECT_EQ(user, info.certificate->serialNumber);
    EXPECT_NE(std::string::npos, info.certificate->subject.find("ООО «Ромашка»"));
    EXPECT_NE(kNoSigningTime, info.certificate->signingTime);
    EXPECT_NE(std::string::npos, info.certificate->signingTime.find(" UTC"));

    // One changed byte of the content breaks the signature.
    VerifySignResultPtr broken;
    if (detached) {
        Bytes tampered = data;
        tampered[3] ^= 0x01;
        broken = verifier.verifyDetachedSign(signature, tampered);
    } else {
        Bytes extracted;
        const auto extraction = CpExtract().extractMessage(signature, extracted);
        ASSERT_TRUE(extraction && extraction->success);
        EXPECT_EQ(data, extracted);
        broken = verifier.verifyAttachedSign(withContentByteFlipped(signature, data));
    }
    ASSERT_TRUE(broken && broken->signers);
    ASSERT_EQ(1u, broken->signers->size());
    EXPECT_FALSE(broken->signers->front()->verified);
    EXPECT_TRUE(contains(broken->errors, kBadSignature));
}

}  // namespace

TEST(SignVerify, GostUsersSignAttachedAndDetached) {
    // PAdES signs detached, exactly like Detached.
    for (const auto& [user, attachType] :
         {std::make_tuple(kUser256, SignAttachType::Attached), std::make_tuple(kUser256, SignAttachType::Detached),
          std::make_tuple(kUser512, SignAttachType::Attached), std::make_tuple(kUser512, SignAttachType::PAdES)}) {
        SCOPED_TRACE(std::string(user) + " attach type " + std::to_string(static_cast<int>(attachType)));
        signAndVerify(user, attachType);
    }
}

TEST(Sign, RefusalsComeWithTheirTexts) {
    CpSigner signer;
    Bytes signature;
    InternalSignOptions internal;
    const Bytes data = toBytes("data");

    const auto missing =
        signer.signMessage(data, signature, signOptions("no such user", SignAttachType::Attached), internal);
    ASSERT_NE(nullptr, missing);
    EXPECT_FALSE(missing->success);
    EXPECT_EQ(std::vector<std::string>{"tr{Certificate not found}"}, missing->errors);

    // An RSA key has no GOST hash: the library refuses, and its own text is reported.
    const auto rsa = signer.signMessage(data, signature, signOptions(kUserRsa, SignAttachType::Attached), internal);
    ASSERT_NE(nullptr, rsa);
    EXPECT_FALSE(rsa->success);
    ASSERT_EQ(1u, rsa->errors.size());
    const DWORD code = CryptoProLibApi::instance().GetLastError();
    EXPECT_NE(0u, code);
    const std::string text = GetLastErrorMessage();
    EXPECT_FALSE(text.empty()) << "the emulator has a text for 0x" << std::hex << code;
    EXPECT_EQ(text, rsa->errors.front());
}

TEST(Verify, MessagesMadeByOpensslAreClassifiedAndVerified) {
    const Bytes data = toBytes("сделано openssl\n");
    const std::string input = writeTemp("data.txt", data).string();
    const auto opensslSign = [&](const std::string& flags) {
        const std::string out = input + std::to_string(flags.size()) + ".p7s";
        std::string output;
        EXPECT_EQ(0, openssl("cms -sign -binary -nodetach -outform DER -md md_gost12_256 -signer " +
                                 pki("pem/user_gost256.crt") + " -inkey " + pki("pem/user_gost256.key") + " -in " +
                                 input + " -out " + out + " " + flags,
                             &output))
            << output;
        return readFile(out);
    };

    const Bytes cades = opensslSign("-cades");
    const Bytes pkcs7 = opensslSign("");
    const Bytes bare = opensslSign("-noattr");
    EXPECT_EQ(CADES_BES, CpVerifySign::getSignParams(cades, false).type);
    const auto pkcs7Params = CpVerifySign::getSignParams(pkcs7, false);
    EXPECT_TRUE(pkcs7Params.recognized);
    EXPECT_EQ(PKCS7_TYPE, pkcs7Params.type);

    CpVerifySign verifier;
    for (const Bytes* message : {&cades, &pkcs7}) {
        const auto result = verifier.verifyAttachedSign(*message);
        ASSERT_TRUE(result && result->signers);
        ASSERT_EQ(1u, result->signers->size());
        EXPECT_TRUE(result->signers->front()->verified);
        EXPECT_NE(kNoSigningTime, result->signers->front()->certificate->signingTime);
    }
    // Without signed attributes there is no signing time to report.
    const auto bareResult = verifier.verifyAttachedSign(bare);
    ASSERT_TRUE(bareResult && bareResult->signers && bareResult->signers->size() == 1u);
    EXPECT_EQ(kNoSigningTime, bareResult->signers->front()->certificate->signingTime);

    Bytes extracted;
    ASSERT_TRUE(CpExtract().extractMessage(pkcs7, extracted)->success);
    EXPECT_EQ(data, extracted);
    const auto garbage = CpExtract().extractMessage(toBytes("not a message"), extracted);
    ASSERT_NE(nullptr, garbage);
    EXPECT_FALSE(garbage->success);
}

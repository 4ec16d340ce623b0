// CAdES-X Long Type 1 made by the emulator against the local time-stamp and OCSP services,
// judged by openssl ts / ocsp / cms; the evidence spoilt, judged by the emulator's statuses.
#include "support.h"
#include "support/LocalServices.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <ctime>

using namespace cadestest;
using vesk::test::cadesEvidence;
using vesk::test::LocalServices;

namespace {

constexpr const char* kSignatureTimeStamp = "1.2.840.113549.1.9.16.2.14";
constexpr const char* kCertificateRefs = "1.2.840.113549.1.9.16.2.21";
constexpr const char* kCertificateValues = "1.2.840.113549.1.9.16.2.23";
constexpr const char* kCadesCTimeStamp = "1.2.840.113549.1.9.16.2.25";

const Bytes& Data() {
    static const Bytes data = ToBytes("Акт сверки взаиморасчётов за 2024 год\n");
    return data;
}

std::string Hex(DWORD v) {
    char buf[16];
    snprintf(buf, sizeof buf, "0x%08X", v);
    return buf;
}

struct Tsp {
    std::wstring url;
    CADES_SERVICE_CONNECTION_PARA para{};
    explicit Tsp(const std::string& address) : url(address.begin(), address.end()) {
        para.dwSize = sizeof para;
        para.wszUri = url.c_str();
    }
};

SignOutcome SignXLong(const std::string& user, const char* hash, bool detached, const std::string& tsaUrl) {
    CertPtr cert = FindInMy(user);
    EXPECT_TRUE(cert) << user;
    if (!cert) return {};
    Tsp tsp(tsaUrl);
    return Sign(cert.get(), hash, detached, Data(), CADES_X_LONG_TYPE_1, &tsp.para);
}

Bytes BlobBytes(const SignOutcome& s) {
    return s.blob ? Bytes(s.blob->pbData, s.blob->pbData + s.blob->cbData) : Bytes{};
}

BOOL IsType(const Bytes& signature, DWORD type) {
    MsgPtr msg = OpenDecoded(signature);
    BOOL answer = -1;
    EXPECT_TRUE(msg && CadesMsgIsType(msg.get(), 0, type, &answer)) << Hex(GetLastError());
    return answer;
}

// openssl ts -verify of the token in attribute OID over DATAFILE, against the test roots.
int TokenVerifies(const std::string& sig, const char* oid, const std::string& dataFile, std::string* log) {
    const std::string token = sig + "." + oid + ".tst";
    if (cadesEvidence("attr " + sig + " " + oid + " " + token, log) != 0) return -1;
    return openssl("ts -verify -token_in -in " + token + " -data " + dataFile + " -CAfile " + pki("pem/trusted.pem") +
                       " -untrusted " + pki("pem/tsa_gost.crt"),
                   log);
}

DWORD StatusOf(const Bytes& signature, const Bytes* detached = nullptr) {
    VerifyOutcome v = Verify(signature, 0, detached);
    EXPECT_TRUE(v.ok && v.info) << Hex(GetLastError());
    return v.info ? v.info->dwStatus : 0xFFFFFFFFu;
}

}  // namespace

TEST(EmulatorXLong, SignaturesCarryEvidenceThatOpensslAccepts) {
    LocalServices& services = LocalServices::instance();
    const struct {
        const char* user;
        const char* hash;
        bool detached;
    } cases[] = {{"user_gost256", kHash256, false}, {"user_gost512", kHash512, true}};
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.user) + (c.detached ? " detached" : " attached"));
        const SignOutcome signed_ = SignXLong(c.user, c.hash, c.detached, services.tsaUrl());
        ASSERT_TRUE(signed_.ok) << Hex(signed_.error);
        const Bytes signature = BlobBytes(signed_);
        const std::string sig = TempPath(std::string(c.user) + "-xlong.p7s");
        WriteFile(sig, signature);
        const std::string dataFile = TempPath("xlong-data.txt");
        WriteFile(dataFile, Data());

        // The signature itself, as any CMS verifier sees it.
        std::string log;
        EXPECT_EQ(0, openssl("cms -verify -binary -inform DER -in " + sig + " -CAfile " + pki("pem/trusted.pem") +
                                 (c.detached ? " -content " + dataFile : "") + " -out /dev/null",
                             &log))
            << log;

        // The signature time-stamp stamps the signature value; the CAdES-C one the value and references.
        const std::string sigValue = sig + ".value";
        const std::string cescData = sig + ".cesc";
        ASSERT_EQ(0, cadesEvidence("sigvalue " + sig + " " + sigValue, &log)) << log;
        ASSERT_EQ(0, cadesEvidence("cesc-data " + sig + " " + cescData, &log)) << log;
        EXPECT_EQ(0, TokenVerifies(sig, kSignatureTimeStamp, sigValue, &log)) << log;
        EXPECT_EQ(0, TokenVerifies(sig, kCadesCTimeStamp, cescData, &log)) << log;
        EXPECT_NE(0, TokenVerifies(sig, kSignatureTimeStamp, cescData, &log)) << "an imprint over other data verified";

        // The embedded OCSP answer: signed by the delegated responder, "good" for the signer.
        std::string count;
        ASSERT_EQ(0, cadesEvidence("ocsp " + sig + " " + sig + ".ocsp", &count)) << count;
        ASSERT_EQ("1\n", count);
        EXPECT_EQ(
            0, openssl("ocsp -no_nonce -respin " + sig + ".ocsp-0.der -CAfile " + pki("pem/trusted.pem") + " -issuer " +
                           pki("pem/ca_gost.crt") + " -cert " + pki(std::string("pem/") + c.user + ".crt"),
                       &log))
            << log;
        EXPECT_NE(std::string::npos, log.find("Response verify OK")) << log;
        EXPECT_NE(std::string::npos, log.find(": good")) << log;

        // The emulator's own reading: type 93 only, valid, with the time-stamp's time.
        EXPECT_TRUE(IsType(signature, CADES_X_LONG_TYPE_1));
        EXPECT_FALSE(IsType(signature, CADES_BES));
        VerifyOutcome v = Verify(signature, 0, c.detached ? &Data() : nullptr);
        ASSERT_TRUE(v.ok && v.info);
        EXPECT_EQ(CADES_VERIFY_SUCCESS, v.info->dwStatus);
        ASSERT_NE(nullptr, v.info->pSignatureTimeStampTime);
        EXPECT_NEAR(static_cast<double>(std::time(nullptr)), UnixTime(*v.info->pSignatureTimeStampTime), 120.0);
    }
}

// Each kind of spoilt evidence gives its own status.
TEST(EmulatorXLong, SpoiltEvidenceGivesItsStatus) {
    const SignOutcome signed_ = SignXLong("user_gost256", kHash256, false, LocalServices::instance().tsaUrl());
    ASSERT_TRUE(signed_.ok) << Hex(signed_.error);
    const std::string sig = TempPath("spoil.p7s");
    WriteFile(sig, BlobBytes(signed_));
    ASSERT_EQ(CADES_VERIFY_SUCCESS, StatusOf(ReadFile(sig)));

    const struct {
        const char* action;
        const char* oid;
        DWORD status;
    } cases[] = {
        {"flip", kSignatureTimeStamp, CADES_VERIFY_NO_VALID_SIGNATURE_TIMESTAMP},
        {"drop", kSignatureTimeStamp, CADES_VERIFY_NO_VALID_SIGNATURE_TIMESTAMP},
        {"drop", kCertificateValues, CADES_VERIFY_INVALID_REFS_AND_VALUES},
        {"flip", kCertificateRefs, CADES_VERIFY_REFS_AND_VALUES_NO_MATCH},
        {"flip", kCadesCTimeStamp, CADES_VERIFY_NO_VALID_CADES_C_TIMESTAMP},
        {"drop", kCadesCTimeStamp, CADES_VERIFY_NO_VALID_CADES_C_TIMESTAMP},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.action) + " " + c.oid);
        const std::string spoilt = sig + "." + c.action + "." + c.oid;
        std::string log;
        ASSERT_EQ(0, cadesEvidence(std::string(c.action) + " " + sig + " " + c.oid + " " + spoilt, &log)) << log;
        EXPECT_EQ(c.status, StatusOf(ReadFile(spoilt)));
        // The signed part is untouched, so any CMS verifier still accepts it.
        EXPECT_EQ(0, openssl("cms -verify -binary -inform DER -in " + spoilt + " -CAfile " + pki("pem/trusted.pem") +
                                 " -out /dev/null",
                             &log))
            << log;
    }
}

TEST(EmulatorXLong, CosignAndEnhance) {
    LocalServices& services = LocalServices::instance();
    Tsp tsp(services.tsaUrl());
    CertPtr first = FindInMy("user_gost256");
    CertPtr second = FindInMy("user_gost512");
    ASSERT_TRUE(first && second);
    SignOutcome bes = Sign(first.get(), kHash256, false, Data());
    ASSERT_TRUE(bes.ok);
    const Bytes besSignature = BlobBytes(bes);

    // A second signer, X Long Type 1, beside the BES one.
    MsgPtr msg = OpenDecoded(besSignature);
    KeyHandle key(second.get());
    ASSERT_TRUE(msg && key.ok());
    CMSG_SIGNER_ENCODE_INFO signer = SignerInfo(second.get(), key, kHash512);
    CADES_SIGN_PARA cades{};
    cades.dwSize = sizeof cades;
    cades.dwCadesType = CADES_X_LONG_TYPE_1;
    cades.pTspConnectionPara = &tsp.para;
    CADES_COSIGN_PARA cosign{sizeof cosign, &signer, &cades};
    ASSERT_TRUE(CadesMsgAddEnhancedSignature(msg.get(), &cosign)) << Hex(GetLastError());
    // The BES signer becomes X Long Type 1 in the same message.
    ASSERT_TRUE(CadesMsgEnhanceSignature(msg.get(), 0, &cades)) << Hex(GetLastError());
    EXPECT_FALSE(CadesMsgEnhanceSignature(msg.get(), 0, &cades)) << "enhanced twice";
    DWORD size = 0;
    ASSERT_TRUE(CryptMsgGetParam(msg.get(), CMSG_ENCODED_MESSAGE, 0, nullptr, &size));
    Bytes both(size);
    ASSERT_TRUE(CryptMsgGetParam(msg.get(), CMSG_ENCODED_MESSAGE, 0, both.data(), &size));
    for (DWORD index : {0u, 1u}) {
        MsgPtr decoded = OpenDecoded(both);
        BOOL answer = FALSE;
        ASSERT_TRUE(CadesMsgIsType(decoded.get(), index, CADES_X_LONG_TYPE_1, &answer));
        EXPECT_TRUE(answer) << "signer " << index;
        VerifyOutcome v = Verify(both, index);
        ASSERT_TRUE(v.info);
        EXPECT_EQ(CADES_VERIFY_SUCCESS, v.info->dwStatus) << "signer " << index;
    }

    // CadesEnhanceMessage: the same upgrade on an encoded message.
    CADES_ENHANCE_MESSAGE_PARA enhance{sizeof enhance, X509_ASN_ENCODING | PKCS_7_ASN_ENCODING, &cades};
    CRYPT_DATA_BLOB* enhanced = nullptr;
    ASSERT_TRUE(
        CadesEnhanceMessage(&enhance, 0, besSignature.data(), static_cast<DWORD>(besSignature.size()), &enhanced))
        << Hex(GetLastError());
    BlobPtr owned(enhanced);
    const Bytes enhancedBytes(enhanced->pbData, enhanced->pbData + enhanced->cbData);
    EXPECT_TRUE(IsType(enhancedBytes, CADES_X_LONG_TYPE_1));
    EXPECT_EQ(CADES_VERIFY_SUCCESS, StatusOf(enhancedBytes));
}

// Services that fail, misbehave or say "revoked": an error, no signature, within the bound.
TEST(EmulatorXLong, ServiceFailuresAreErrors) {
    LocalServices& services = LocalServices::instance();
    const std::string unreachable = vesk::test::unreachableUrl();
    const struct {
        const char* what;
        const char* user;
        std::string tsa;
        std::string ocsp;  // empty: the services' own responder
        DWORD error;
    } cases[] = {
        {"TSA unreachable", "user_gost256", unreachable, "", 0xC2100100u},
        {"TSA garbage", "user_gost256", services.tsaUrl("/garbage"), "", 0xC2100124u},
        {"TSA text", "user_gost256", services.tsaUrl("/text"), "", 0xC2100100u},
        {"TSA rejection", "user_gost256", services.tsaUrl("/reject"), "", 0xC2100124u},
        {"TSA wrong imprint", "user_gost256", services.tsaUrl("/wrong-imprint"), "", 0x80091007u},
        {"TSA silent", "user_gost256", services.tsaUrl("/silent"), "", 0xC2100100u},
        {"TSA not ASCII", "user_gost256", services.tsaUrl("/штамп"), "", 0x80070057u},
        {"TSA not http", "user_gost256", "ftp://127.0.0.1/tsa", "", 0x80070057u},
        {"OCSP unreachable", "user_gost256", services.tsaUrl(), unreachable, 0x80092013u},
        {"OCSP garbage", "user_gost256", services.tsaUrl(), services.ocspUrl("/garbage"), 0x80092012u},
        {"OCSP silent", "user_gost256", services.tsaUrl(), services.ocspUrl("/silent"), 0x80092013u},
        {"revoked", "user_revoked", services.tsaUrl(), "", 0x80092010u},
        {"issuer unknown to the responder", "user_dup_b", services.tsaUrl(), "", 0x80092012u},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        std::unique_ptr<LocalServices::OcspRedirect> redirect;
        if (!c.ocsp.empty()) redirect = std::make_unique<LocalServices::OcspRedirect>(c.ocsp);
        const auto started = std::chrono::steady_clock::now();
        const SignOutcome s = SignXLong(c.user, kHash256, false, c.tsa);
        const auto seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
        EXPECT_FALSE(s.ok);
        EXPECT_FALSE(s.blob);
        EXPECT_EQ(Hex(c.error), Hex(s.error));
        EXPECT_LT(seconds, 8.0) << "the wait is bounded";
    }
}

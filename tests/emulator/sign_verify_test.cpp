// Signatures made by the emulator are checked by the openssl command, and
// signatures made by the openssl command are checked by the emulator.
#include "support.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <ctime>

using namespace cadestest;

namespace {

Bytes TestData() {
    Bytes data = ToBytes("Договор поставки № 17 от 01.02.2024\r\n");
    for (int i = 0; i < 512; ++i) data.push_back(static_cast<unsigned char>(i * 7));
    return data;
}

const Bytes& Data() {
    static const Bytes data = TestData();
    return data;
}

std::string DataFile() {
    static const std::string path = [] {
        WriteFile(TempPath("data.bin"), Data());
        return TempPath("data.bin");
    }();
    return path;
}

std::string Hex(DWORD v) {
    char buf[16];
    snprintf(buf, sizeof buf, "0x%08X", v);
    return buf;
}

// Signs Data() with the openssl command as user NAME; FLAGS are extra cms options.
Bytes OpensslSign(const std::string& name, bool detached, const std::string& flags) {
    static int n = 0;
    const std::string out = TempPath("openssl-" + std::to_string(++n) + ".p7s");
    std::string log;
    const int rc = openssl("cms -sign -binary " + flags + (detached ? "" : " -nodetach") + " -in " + DataFile() +
                               " -signer " + pki("pem/" + name + ".crt") + " -inkey " + pki("pem/" + name + ".key") +
                               " -outform DER -out " + out,
                           &log);
    if (rc != 0) ADD_FAILURE() << "openssl cms -sign failed: " << log;
    return rc == 0 ? ReadFile(out) : Bytes{};
}

// Runs openssl cms -verify against the trusted roots and intermediates; for an attached
// signature the extracted content is returned in *content.
int OpensslVerify(const Bytes& signature, bool detached, std::string* log, Bytes* content = nullptr,
                  const std::string& flags = "") {
    static int n = 0;
    const std::string base = TempPath("verify-" + std::to_string(++n));
    WriteFile(base + ".p7s", signature);
    const int rc =
        openssl("cms -verify -cades -binary -inform DER -in " + base + ".p7s -CAfile " + pki("pem/trusted.pem") +
                    (detached ? " -content " + DataFile() : "") + " -out " + base + ".out " + flags,
                log);
    if (rc == 0 && content) *content = ReadFile(base + ".out");
    return rc;
}

std::string CmsPrint(const Bytes& signature) {
    const std::string path = TempPath("print.p7s");
    WriteFile(path, signature);
    std::string text;
    EXPECT_EQ(0, openssl("cms -cmsout -print -inform DER -in " + path, &text)) << text;
    return text;
}

Bytes Encoded(PCCERT_CONTEXT cert) {
    return cert ? Bytes(cert->pbCertEncoded, cert->pbCertEncoded + cert->cbCertEncoded) : Bytes{};
}

BOOL IsType(const Bytes& signature, DWORD type) {
    MsgPtr msg = OpenDecoded(signature);
    EXPECT_TRUE(msg) << "CryptMsgOpenToDecode/CryptMsgUpdate failed: " << Hex(GetLastError());
    BOOL answer = -1;
    EXPECT_TRUE(msg && CadesMsgIsType(msg.get(), 0, type, &answer)) << "CadesMsgIsType failed: " << Hex(GetLastError());
    return answer;
}

struct GostUser {
    const char* name;
    const char* hashOid;
};
const GostUser kGostUsers[] = {{"user_gost256", kHash256}, {"user_gost512", kHash512}};

}  // namespace

TEST(EmulatorSign, GostBesSignaturesVerifyWithOpenssl) {
    for (const GostUser& user : kGostUsers) {
        CertPtr cert = FindInMy(user.name);
        ASSERT_TRUE(cert) << user.name << " is not listed in My";
        for (bool detached : {false, true}) {
            SCOPED_TRACE(std::string(user.name) + (detached ? " detached" : " attached"));
            SignOutcome signed_ = Sign(cert.get(), user.hashOid, detached, Data());
            ASSERT_TRUE(signed_.ok && signed_.blob) << "CadesSignMessage: " << Hex(signed_.error);
            const Bytes sig(signed_.blob->pbData, signed_.blob->pbData + signed_.blob->cbData);

            std::string log;
            Bytes content;
            EXPECT_EQ(0, OpensslVerify(sig, detached, &log, &content)) << log;
            if (!detached) {
                EXPECT_EQ(Data(), content);
            }

            const std::string print = CmsPrint(sig);
            EXPECT_NE(std::string::npos, print.find("(1.2.840.113549.1.9.16.2.47)"))
                << "no signing-certificate-v2 attribute";
            EXPECT_NE(std::string::npos, print.find(std::string("(") + user.hashOid + ")"));
            EXPECT_EQ(detached, print.find("eContent: <ABSENT>") != std::string::npos);
            EXPECT_TRUE(IsType(sig, CADES_BES));
        }
    }
}

TEST(EmulatorVerify, AcceptsOpensslSignatures) {
    const struct {
        const char* name;
        bool detached;
        const char* flags;
    } cases[] = {{"user_gost256", false, "-cades"},
                 {"user_gost512", true, "-cades"},
                 {"user_gost256", true, ""},  // plain PKCS#7, no CAdES attribute
                 {"user_rsa", false, "-cades"}};
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.name) + (c.detached ? " detached " : " attached ") + c.flags);
        const Bytes sig = OpensslSign(c.name, c.detached, c.flags);
        ASSERT_FALSE(sig.empty());
        const std::time_t signedAt = std::time(nullptr);

        VerifyOutcome v = Verify(sig, 0, c.detached ? &Data() : nullptr);
        ASSERT_TRUE(v.info) << "no verification info, error " << Hex(GetLastError());
        EXPECT_TRUE(v.ok);
        EXPECT_EQ(0u, v.info->dwStatus);
        EXPECT_EQ(CertDer(c.name), Encoded(v.info->pSignerCert));
        ASSERT_TRUE(v.info->pSigningTime);
        EXPECT_NEAR(static_cast<double>(signedAt), UnixTime(*v.info->pSigningTime), 120.0);
        if (!c.detached) {
            EXPECT_EQ(Data(), v.content);
        }
    }
}

// Only the status is checked: whether the call itself answers FALSE for a failed
// signature is not pinned down (the module reads the status).
TEST(EmulatorVerify, ReportsFailureStatuses) {
    // One content byte changed, attached and detached: bad signature (8).
    Bytes attached = OpensslSign("user_gost256", false, "-cades");
    auto at = std::search(attached.begin(), attached.end(), Data().begin(), Data().end());
    ASSERT_NE(attached.end(), at);
    at[5] ^= 0x01;
    VerifyOutcome v = Verify(attached);
    ASSERT_TRUE(v.info);
    EXPECT_EQ(8u, v.info->dwStatus);

    Bytes changed = Data();
    changed.back() ^= 0x80;
    v = Verify(OpensslSign("user_gost512", true, "-cades"), 0, &changed);
    ASSERT_TRUE(v.info);
    EXPECT_EQ(8u, v.info->dwStatus);

    // Signer certificate neither in the message nor in any store (2).
    v = Verify(OpensslSign("root_orphan", false, "-cades -nocerts"));
    ASSERT_TRUE(v.info) << Hex(GetLastError());
    EXPECT_EQ(2u, v.info->dwStatus);

    // Signer known, but no valid chain: untrusted root, or expired certificate (5).
    for (const char* name : {"user_orphan", "user_expired"}) {
        v = Verify(OpensslSign(name, false, "-cades"));
        ASSERT_TRUE(v.info) << name << ": " << Hex(GetLastError());
        EXPECT_EQ(5u, v.info->dwStatus) << name;
    }
}

TEST(EmulatorCoSign, BothSignersVerifyWithOpenssl) {
    CertPtr first = FindInMy("user_gost256");
    CertPtr second = FindInMy("user_gost512");
    ASSERT_TRUE(first && second);
    SignOutcome original = Sign(first.get(), kHash256, false, Data());
    ASSERT_TRUE(original.ok) << Hex(original.error);

    MsgPtr msg = OpenDecoded(Bytes(original.blob->pbData, original.blob->pbData + original.blob->cbData));
    ASSERT_TRUE(msg) << Hex(GetLastError());
    KeyHandle key(second.get());
    ASSERT_TRUE(key.ok()) << "CryptAcquireCertificatePrivateKey: " << Hex(GetLastError());

    CMSG_SIGNER_ENCODE_INFO signer = SignerInfo(second.get(), key, kHash512);
    CADES_SIGN_PARA cades{};
    cades.dwSize = sizeof cades;
    cades.dwCadesType = CADES_BES;
    CADES_COSIGN_PARA cosign{};
    cosign.dwSize = sizeof cosign;
    cosign.pSigner = &signer;
    cosign.pCadesSignPara = &cades;
    ASSERT_TRUE(CadesMsgAddEnhancedSignature(msg.get(), &cosign)) << Hex(GetLastError());

    DWORD size = 0;
    ASSERT_TRUE(CryptMsgGetParam(msg.get(), CMSG_ENCODED_MESSAGE, 0, nullptr, &size));
    Bytes cosigned(size);
    ASSERT_TRUE(CryptMsgGetParam(msg.get(), CMSG_ENCODED_MESSAGE, 0, cosigned.data(), &size));
    cosigned.resize(size);

    std::string log;
    Bytes content;
    const std::string signers = TempPath("cosigners.pem");
    ASSERT_EQ(0, OpensslVerify(cosigned, false, &log, &content, "-signer " + signers)) << log;
    EXPECT_EQ(Data(), content);
    const Bytes pem = ReadFile(signers);
    const std::string begin = "-----BEGIN CERTIFICATE-----";
    size_t count = 0;
    for (auto it = pem.begin(); (it = std::search(it, pem.end(), begin.begin(), begin.end())) != pem.end(); ++it)
        ++count;
    EXPECT_EQ(2u, count) << "openssl did not report two signers";

    for (DWORD i = 0; i < 2; ++i) {
        VerifyOutcome v = Verify(cosigned, i);
        ASSERT_TRUE(v.info) << "signer " << i;
        EXPECT_EQ(0u, v.info->dwStatus) << "signer " << i;
        EXPECT_EQ(Encoded(i == 0 ? first.get() : second.get()), Encoded(v.info->pSignerCert));
    }
}

TEST(EmulatorMsgType, TellsBesFromPlainPkcs7) {
    const Bytes plain = OpensslSign("user_gost256", false, "");
    EXPECT_FALSE(IsType(plain, CADES_BES));
    EXPECT_TRUE(IsType(plain, PKCS7_TYPE));
    EXPECT_TRUE(IsType(OpensslSign("user_gost256", false, "-cades"), CADES_BES));
    EXPECT_FALSE(IsType(OpensslSign("user_gost256", false, "-cades"), CADES_X_LONG_TYPE_1));
}

// A message given whole in its final update and one given in pieces decode alike, and neither keeps
// pointing into the caller's buffer: the content, the encoding and the verification survive it.
TEST(EmulatorDecode, WholeOrPiecewiseMessagesOutliveTheCallersBuffer) {
    CertPtr cert = FindInMy("user_gost256");
    ASSERT_TRUE(cert);
    SignOutcome signed_ = Sign(cert.get(), kHash256, false, Data());
    ASSERT_TRUE(signed_.ok && signed_.blob) << "CadesSignMessage: " << Hex(signed_.error);
    const Bytes sig(signed_.blob->pbData, signed_.blob->pbData + signed_.blob->cbData);

    for (const bool whole : {true, false}) {
        SCOPED_TRACE(whole ? "whole" : "in pieces");
        Bytes given = sig;
        MsgPtr msg(CryptMsgOpenToDecode(X509_ASN_ENCODING | PKCS_7_ASN_ENCODING, 0, 0, 0, nullptr, nullptr));
        ASSERT_TRUE(msg);
        if (whole) {
            ASSERT_TRUE(CryptMsgUpdate(msg.get(), given.data(), static_cast<DWORD>(given.size()), TRUE));
        } else {
            const DWORD half = static_cast<DWORD>(given.size() / 2);
            ASSERT_TRUE(CryptMsgUpdate(msg.get(), given.data(), half, FALSE));
            ASSERT_TRUE(CryptMsgUpdate(msg.get(), given.data() + half, static_cast<DWORD>(given.size()) - half, TRUE));
        }
        std::fill(given.begin(), given.end(), 0xA5);
        given.clear();
        given.shrink_to_fit();

        for (const DWORD param : {static_cast<DWORD>(CMSG_CONTENT_PARAM), static_cast<DWORD>(CMSG_ENCODED_MESSAGE)}) {
            DWORD size = 0;
            ASSERT_TRUE(CryptMsgGetParam(msg.get(), param, 0, nullptr, &size));
            Bytes value(size);
            DWORD shortSize = size - 1;
            EXPECT_FALSE(CryptMsgGetParam(msg.get(), param, 0, value.data(), &shortSize));
            EXPECT_EQ(static_cast<DWORD>(ERROR_MORE_DATA), GetLastError());
            ASSERT_TRUE(CryptMsgGetParam(msg.get(), param, 0, value.data(), &size));
            value.resize(size);
            EXPECT_EQ(param == CMSG_CONTENT_PARAM ? Data() : sig, value);
        }
        PCADES_VERIFICATION_INFO rawInfo = nullptr;
        EXPECT_TRUE(CadesMsgVerifySignature(msg.get(), 0, nullptr, &rawInfo)) << Hex(GetLastError());
        InfoPtr info(rawInfo);
        ASSERT_TRUE(info);
        EXPECT_EQ(static_cast<DWORD>(CADES_VERIFY_SUCCESS), info->dwStatus);
    }
}

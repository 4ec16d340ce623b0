#include "support/TestPki.h"

#include "support/Process.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <utility>

namespace vesk::test {

std::string pki(const std::string& relative) {
    const char* home = std::getenv("CADES_EMULATOR_HOME");
    return std::string(home != nullptr ? home : "") + "/" + relative;
}

int openssl(const std::string& args, std::string* output) {
    const auto result = runCommand("OPENSSL_CONF=" + shellQuote(pki("openssl.cnf")) + " openssl " + args + " 2>&1");
    if (output != nullptr) *output = result.output;
    return result.exitCode;
}

bool opensslVerifies(const std::filesystem::path& signature, const std::filesystem::path& content,
                     const std::filesystem::path& out) {
    std::string output;
    const int status = openssl("cms -verify -binary -inform DER -in " + shellQuote(signature.string()) + " -CAfile " +
                                   shellQuote(pki("pem/trusted.pem")) + " -out " + shellQuote(out.string()) +
                                   (content.empty() ? "" : " -content " + shellQuote(content.string())),
                               &output);
    EXPECT_EQ(status, 0) << output;
    return status == 0;
}

void expectLongTermEvidence(const std::filesystem::path& signature, const std::filesystem::path& work, int signer) {
    const std::string index = " " + std::to_string(signer) + " 2>&1";
    const auto evidence = [&](const std::string& args) {
        const auto result = runCommand("python3 " + q(VESK_TEST_SUPPORT_DIR "/cades-evidence.py") + " " + args + index);
        EXPECT_EQ(result.exitCode, 0) << args << "\n" << result.output;
        return result.output;
    };
    const auto tokenVerifies = [&](const char* oid, const std::filesystem::path& data) {
        evidence("attr " + q(signature) + " " + oid + " " + q(work / "token.der"));
        std::string log;
        const int status =
            openssl("ts -verify -token_in -in " + q(work / "token.der") + " -data " + q(data) + " -CAfile " +
                        q(pki("pem/trusted.pem")) + " -untrusted " + q(pki("pem/tsa_gost.crt")),
                    &log);
        return std::make_pair(status == 0, log);
    };
    evidence("sigvalue " + q(signature) + " " + q(work / "value.bin"));
    evidence("cesc-data " + q(signature) + " " + q(work / "cesc.bin"));
    // The signature time-stamp covers the signature value, the CAdES-C one the value and references.
    const auto [signatureStamp, log1] = tokenVerifies("1.2.840.113549.1.9.16.2.14", work / "value.bin");
    EXPECT_TRUE(signatureStamp) << log1;
    const auto [cadesCStamp, log2] = tokenVerifies("1.2.840.113549.1.9.16.2.25", work / "cesc.bin");
    EXPECT_TRUE(cadesCStamp) << log2;
    EXPECT_FALSE(tokenVerifies("1.2.840.113549.1.9.16.2.14", work / "cesc.bin").first) << "an imprint of other data";
    // The one OCSP answer kept in the revocation values: signed by the delegated responder, "good".
    EXPECT_EQ(evidence("ocsp " + q(signature) + " " + q(work / "ocsp")), "1\n");
    std::string log;
    EXPECT_EQ(
        openssl("ocsp -no_nonce -resp_text -respin " + q(work / "ocsp-0.der") + " -CAfile " + q(pki("pem/trusted.pem")),
                &log),
        0)
        << log;
    EXPECT_NE(log.find("Response verify OK"), std::string::npos) << log;
    EXPECT_NE(log.find("Cert Status: good"), std::string::npos) << log;
}

std::string cadesLibraryUnderTest() {
    const char* chosen = std::getenv("VESK_TEST_CADES_LIBRARY");
    if (chosen != nullptr && *chosen != '\0') return chosen;
#ifdef CADES_EMULATOR_PATH
    return CADES_EMULATOR_PATH;
#else
    return {};
#endif
}

bool usesEmulator() {
#ifdef CADES_EMULATOR_PATH
    return cadesLibraryUnderTest() == CADES_EMULATOR_PATH;
#else
    return false;
#endif
}

}  // namespace vesk::test

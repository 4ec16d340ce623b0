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

namespace {

CommandResult runEvidence(const std::string& args) {
    return runCommand("python3 " + q(VESK_TEST_SUPPORT_DIR "/cades-evidence.py") + " " + args + " 2>&1");
}

}  // namespace

bool evidenceHolds(const std::filesystem::path& signature, const std::filesystem::path& work, int signer,
                   std::string* report) {
    const auto result = runEvidence("check " + q(signature) + " " + q(work) + " " + std::to_string(signer));
    if (report != nullptr) *report = result.output;
    return result.exitCode == 0;
}

void expectLongTermEvidence(const std::filesystem::path& signature, const std::filesystem::path& work, int signer) {
    std::string report;
    EXPECT_TRUE(evidenceHolds(signature, work, signer, &report)) << report;
}

std::string signedPartOf(const std::filesystem::path& signature, int signer) {
    const auto result = runEvidence("signed " + q(signature) + " " + std::to_string(signer));
    EXPECT_EQ(result.exitCode, 0) << result.output;
    return result.output;
}

void spoilEvidence(const std::string& args) {
    const auto result = runEvidence(args);
    EXPECT_EQ(result.exitCode, 0) << args << "\n" << result.output;
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

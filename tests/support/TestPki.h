#pragma once
// The one test PKI every suite uses (scripts/make-test-pki.sh, built once by the ctest fixture
// "test_pki"), and the CAdES library under test.

#include <filesystem>
#include <string>

namespace vesk::test {

// A file of the test PKI, e.g. pki("pem/trusted.pem"); the PKI's folder comes from
// CADES_EMULATOR_HOME, which ctest sets for every suite.
std::string pki(const std::string& relative);

// "openssl ARGS" with the PKI's GOST engine configuration; the exit status, and stdout+stderr
// in *output when given.
int openssl(const std::string& args, std::string* output = nullptr);

// openssl's verdict on a DER signature, trusting the test PKI; a detached one is checked against
// `content`, and the signed content lands in `out`.
bool opensslVerifies(const std::filesystem::path& signature, const std::filesystem::path& content = {},
                     const std::filesystem::path& out = "/dev/null");

// The CAdES-X Long Type 1 evidence of signer `signer` of a CMS signature file, judged by openssl
// after tests/support/cades-evidence.py takes it out (into `work`): the signature time-stamp over
// the signature value, the CAdES-C time-stamp over the value and the references, and the one OCSP
// answer, verified and "good".
void expectLongTermEvidence(const std::filesystem::path& signature, const std::filesystem::path& work, int signer = 0);

// The CAdES library the module is pointed at: VESK_TEST_CADES_LIBRARY when set, else the
// project's emulator.
std::string cadesLibraryUnderTest();

// True while the library under test is the emulator, whose extra exports some tests read.
bool usesEmulator();

}  // namespace vesk::test

// Skips the current test when another CAdES library is under test.
#define VESK_SKIP_UNLESS_EMULATOR(reason)                                                            \
    do {                                                                                             \
        if (!::vesk::test::usesEmulator()) GTEST_SKIP() << "needs the CAdES emulator: " << (reason); \
    } while (false)

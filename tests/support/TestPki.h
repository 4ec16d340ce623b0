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

// The CAdES-X Long Type 1 evidence of signer `signer` of a CMS signature file, judged by
// tests/support/cades-evidence.py (working in `work`) from the standards' text: both time-stamps'
// imprints recomputed and their tokens verified by openssl ts, every reference paired with its value
// by position and hash, every kept OCSP answer verified by openssl ocsp and "good". The judge's
// report lands in *report.
bool evidenceHolds(const std::filesystem::path& signature, const std::filesystem::path& work, int signer = 0,
                   std::string* report = nullptr);
void expectLongTermEvidence(const std::filesystem::path& signature, const std::filesystem::path& work, int signer = 0);

// A digest of signer `signer`'s signed part (its SignerInfo without unsigned attributes).
std::string signedPartOf(const std::filesystem::path& signature, int signer = 0);

// Runs "cades-evidence.py ARGS" to spoil a signature's evidence (swap-ocsp, restamp); fails the
// current test when it fails.
void spoilEvidence(const std::string& args);

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

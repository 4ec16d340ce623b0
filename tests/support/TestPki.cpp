#include "support/TestPki.h"

#include "support/Process.h"

#include <cstdlib>

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

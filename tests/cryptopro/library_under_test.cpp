// The CryptoPro back-end tests bind the CAdES library under test as the module does: through the
// settings' "cades" path, written before anything reads them.

#include "common/Logging.h"
#include "support/TempHome.h"
#include "support/TestPki.h"

#include <gtest/gtest.h>

#include <fstream>

namespace fs = std::filesystem;

namespace {

class LibraryUnderTest : public ::testing::Environment {
public:
    void SetUp() override {
        const fs::path folder = vesk::test::tempHome() / ".Vesk" / "editor";
        fs::create_directories(folder);
        std::ofstream(folder / "settings.json")
            << R"({"logLevel":"verbose","cades":")" << vesk::test::cadesLibraryUnderTest() << R"(","cryptoPro":""})";
        Vesk::Crypto::initLogger();
    }
};

const bool kRegistered = (::testing::AddGlobalTestEnvironment(new LibraryUnderTest), true);

}  // namespace

#include "common/Settings.h"

#include "support/TempHome.h"

#include <gtest/gtest.h>

#include <fstream>

using namespace Vesk::Crypto;
using vesk::test::readFile;

TEST(Settings, DefaultsAreWrittenAndPartialFilesAreNotRewritten) {
    const auto folder = vesk::test::makeTempDir("settings");
    const auto missing = folder / "sub" / "settings.json";
    EXPECT_EQ(VeskCryptoSettings(missing).logLevel(), LogLevel::Info);
    EXPECT_EQ(readFile(missing), R"({"cades":"","cryptoPro":"","logLevel":"info"})");

    const auto partial = folder / "partial.json";
    std::ofstream(partial) << R"({"logLevel":"debug"})";
    VeskCryptoSettings debug(partial);
    EXPECT_EQ(debug.logLevel(), LogLevel::Debug);
    EXPECT_EQ(debug.cades(), "");
    EXPECT_EQ(readFile(partial), R"({"logLevel":"debug"})");

    // Level names are exact: anything else silences the log.
    for (const char* text : {R"({"logLevel":"Debug"})", R"({"logLevel":4})", R"({"logLevel":"trace"})"}) {
        std::ofstream(partial) << text;
        EXPECT_EQ(VeskCryptoSettings(partial).logLevel(), LogLevel::None) << text;
    }

    std::ofstream(partial)
        << R"({"logLevel":"verbose","cades":"/opt/x/libcades.so","cryptoPro":"/opt/cprocsp/bin/certmgr"})";
    VeskCryptoSettings full(partial);
    EXPECT_EQ(full.logLevel(), LogLevel::Verbose);
    EXPECT_EQ(full.cades(), "/opt/x/libcades.so");
    full.setCryptoPro("");
    full.save();
    EXPECT_EQ(readFile(partial), R"({"cades":"/opt/x/libcades.so","cryptoPro":"","logLevel":"verbose"})");

    std::ofstream(partial) << "{not json";
    EXPECT_THROW(VeskCryptoSettings{partial}, nlohmann::json::parse_error);
}

#include "common/Settings.h"
#include "cryptopro/CryptoProInstallation.h"

#include "support/TempHome.h"

#include <gtest/gtest.h>

using namespace Vesk::Crypto;
namespace fs = std::filesystem;

TEST(CryptoProInstallation, SearchRootsStoredPathAndStalePath) {
    auto& settings = VeskCryptoSettings::instance();
    const auto root = vesk::test::makeTempDir("opt");
    fs::create_directories(root / "cprocsp" / "bin" / "amd64" / "certmgr");  // a folder counts as found too

    // The first root missing ends the whole search, although the second holds the tool.
    EXPECT_FALSE(fstools::findCryptoProTool({root / "absent", root}, {"cptools", "certmgr"}));
    EXPECT_EQ(settings.cryptoPro(), "");

    EXPECT_TRUE(fstools::findCryptoProTool({root / "cprocsp"}, {"cptools", "certmgr"}));
    EXPECT_EQ(settings.cryptoPro(), (root / "cprocsp" / "bin" / "amd64" / "certmgr").string());
    EXPECT_EQ(nlohmann::json::parse(vesk::test::readFile(settings.settingsFile())).at("cryptoPro"),
              settings.cryptoPro());

    // A stored path that still exists answers at once, without searching.
    const auto empty = vesk::test::makeTempDir("empty");
    EXPECT_TRUE(fstools::cryptoproIsInstalledUnder({empty}));
    // A stale one is cleared, then the roots are searched.
    fs::remove_all(root / "cprocsp");
    EXPECT_FALSE(fstools::cryptoproIsInstalledUnder({empty}));
    EXPECT_EQ(settings.cryptoPro(), "");
    fs::create_directories(empty / "x" / "cptools");
    EXPECT_TRUE(fstools::cryptoproIsInstalledUnder({empty}));
    EXPECT_EQ(settings.cryptoPro(), (empty / "x" / "cptools").string());
}

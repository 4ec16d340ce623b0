#include "common/Base64.h"
#include "common/FileTools.h"

#include "support/TempHome.h"

#include <gtest/gtest.h>

#include <fstream>

using namespace Vesk::Crypto;
namespace fs = std::filesystem;

namespace {

size_t entriesIn(const fs::path& folder) {
    return static_cast<size_t>(std::distance(fs::directory_iterator(folder), fs::directory_iterator()));
}

}  // namespace

TEST(FileTools, ReadAndSaveVectors) {
    const auto folder = vesk::test::makeTempDir("files");
    std::vector<unsigned char> bytes = {9, 9};
    EXPECT_FALSE(fstools::readFileToVector(folder / "missing", bytes));
    EXPECT_EQ(bytes, (std::vector<unsigned char>{9, 9}));
    EXPECT_FALSE(fstools::readFileToVector(folder, bytes));  // a folder is no file

    EXPECT_FALSE(fstools::saveVectorToFile(folder / "empty", std::vector<char>{}));
    EXPECT_FALSE(fs::exists(folder / "empty"));

    const std::vector<unsigned char> content = {0, 1, 2, 0xFF, 0};
    ASSERT_TRUE(fstools::saveVectorToFile(folder / "data.bin", content));
    ASSERT_TRUE(fstools::readFileToVector(folder / "data.bin", bytes));
    EXPECT_EQ(bytes, content);

    std::vector<char> empty;
    std::ofstream(folder / "zero.bin").close();
    ASSERT_TRUE(fstools::readFileToVector(folder / "zero.bin", empty));
    EXPECT_TRUE(empty.empty());
}

TEST(FileTools, AtomicWritesReplaceWholeOrNothing) {
    const auto folder = vesk::test::makeTempDir("atomic");
    const auto target = folder / "Документ.txt";
    std::ofstream(target) << "old content that is longer";
    fs::permissions(target, fs::perms::owner_read | fs::perms::owner_write);

    ASSERT_TRUE(fstools::writeFileAtomically(target, "new", 3));
    std::vector<char> read;
    ASSERT_TRUE(fstools::readFileToVector(target, read));
    EXPECT_EQ(std::string(read.begin(), read.end()), "new");
    EXPECT_EQ(fs::status(target).permissions() & fs::perms::all, fs::perms::owner_read | fs::perms::owner_write);
    EXPECT_EQ(entriesIn(folder), 1u);  // no temporary file left behind

    // A folder that does not exist: nothing is written and nothing is left.
    EXPECT_FALSE(fstools::writeFileAtomically(folder / "absent" / "x.txt", "x", 1));
    // A target that is a folder: the folder stays as it was.
    fs::create_directory(folder / "sub");
    EXPECT_FALSE(fstools::writeFileAtomically(folder / "sub", "x", 1));
    EXPECT_TRUE(fs::is_directory(folder / "sub"));
    EXPECT_EQ(entriesIn(folder), 2u);
}

TEST(FileTools, Base64ExportAndImport) {
    const auto folder = vesk::test::makeTempDir("b64");
    std::string bytes;
    for (int i = 0; i < 200000; ++i) bytes += static_cast<char>(i * 7);
    ASSERT_TRUE(fstools::saveFileFromBase64(folder / "in.bin", base64::encode(bytes)));

    std::string text;
    ASSERT_TRUE(fstools::readFileAsBase64(folder / "in.bin", text));
    EXPECT_EQ(text, base64::encode(bytes));

    std::string none;
    EXPECT_FALSE(fstools::readFileAsBase64(folder / "missing.bin", none));
    std::ofstream(folder / "empty.bin").close();
    ASSERT_TRUE(fstools::readFileAsBase64(folder / "empty.bin", none));
    EXPECT_EQ(none, "");
}

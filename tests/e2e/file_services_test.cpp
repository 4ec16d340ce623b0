#include "ModuleClient.h"

#include "support/TempHome.h"

#include <gtest/gtest.h>

#include <fstream>

using namespace vesk::test;
using nlohmann::json;
namespace fs = std::filesystem;

namespace {

json fileRequest(const std::string& method, const fs::path& path) {
    return {{"method", method}, {"args", {{"file", b64(path.string())}}}};
}
json saveRequest(const fs::path& path, const std::string& data) {
    return {{"method", "save_file"}, {"args", {{"file", b64(path.string())}, {"data", data}}}};
}

}  // namespace

TEST(FileServices, SaveExistsAndReadBackACyrillicNamedBinaryFile) {
    ModuleClient client;
    const auto folder = makeTempDir("files");
    const auto target = folder / "Отчёт №1.bin";
    std::string content;
    for (int i = 0; i < 100000; ++i) content += static_cast<char>((i * 31) ^ (i >> 8));

    EXPECT_EQ(client.requestJson(fileRequest("exists", target)), json::parse(R"({"data":false,"error":null})"));
    EXPECT_EQ(client.requestJson(saveRequest(target, b64(content))), json::parse(R"({"data":true,"error":null})"));
    EXPECT_EQ(readFile(target), content);

    EXPECT_EQ(client.requestJson(fileRequest("exists", target)).at("data"), true);
    EXPECT_EQ(client.requestJson(fileRequest("exists", folder)).at("data"), true);
    EXPECT_EQ(client.requestJson(fileRequest("get_file_on_base64", target)),
              (json{{"data", b64(content)}, {"error", nullptr}}));

    // Overwriting replaces the file whole and leaves no temporary file beside it.
    EXPECT_EQ(client.requestJson(saveRequest(target, b64("short"))).at("data"), true);
    EXPECT_EQ(readFile(target), "short");
    EXPECT_EQ(std::distance(fs::directory_iterator(folder), fs::directory_iterator()), 1);

    // An empty file is a file too.
    const auto empty = folder / "empty.txt";
    EXPECT_EQ(client.requestJson(saveRequest(empty, "")).at("data"), true);
    EXPECT_EQ(client.requestJson(fileRequest("get_file_on_base64", empty)), json::parse(R"({"data":"","error":null})"));
}

TEST(FileServices, FailuresAnswerErrorsAndLeaveFilesIntact) {
    ModuleClient client;
    const auto folder = makeTempDir("failures");
    for (const fs::path& unreadable : {folder / "missing.pdf", folder})
        EXPECT_EQ(client.request(fileRequest("get_file_on_base64", unreadable).dump()),
                  R"({"data":null,"error":["tr{Error convert to base64}"]})")
            << unreadable;

    EXPECT_EQ(client.requestJson(saveRequest(folder / "no such folder" / "a.txt", b64("x"))).at("data"), nullptr);
    EXPECT_FALSE(fs::exists(folder / "no such folder"));

    // Saving over a folder fails and the folder with its content survives.
    fs::create_directory(folder / "keep");
    std::ofstream(folder / "keep" / "inside.txt") << "kept";
    EXPECT_EQ(client.requestJson(saveRequest(folder / "keep", b64("x"))).at("data"), nullptr);
    EXPECT_EQ(readFile(folder / "keep" / "inside.txt"), "kept");

    EXPECT_EQ(client.request(R"({"method":"save_file","args":{"file":"eA=="}})"),
              R"({"data":null,"error":["tr{Param 'data' in 'args' is not exists}"]})");
    EXPECT_EQ(client.request(R"({"method":"save_file","args":{"file":"eA==","data":5}})"),
              R"({"data":null,"error":["tr{parseSaveFileFromBase64 internal unhandled error}"]})");
    EXPECT_EQ(client.request(R"({"method":"get_file_on_base64","args":{"file":[]}})"),
              R"({"data":null,"error":["tr{parseGetFileOnBase64 internal unhandled error}"]})");
}

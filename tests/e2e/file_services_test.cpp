#include "ModuleClient.h"

#include "support/TempHome.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

using namespace vesk::test;
using nlohmann::json;
namespace fs = std::filesystem;

namespace {

json fileRequest(const std::string& method, const fs::path& path) {
    return {{"method", method}, {"args", {{"file", b64(path.string())}}}};
}

}  // namespace

TEST(FileServices, SaveExistsAndReadBackACyrillicNamedBinaryFile) {
    ModuleClient client;
    const auto folder = makeTempDir("files");
    const auto target = folder / "Отчёт №1.bin";
    std::string content;
    for (int i = 0; i < 100000; ++i) content += static_cast<char>((i * 31) ^ (i >> 8));

    EXPECT_EQ(client.requestJson(fileRequest("exists", target)), json::parse(R"({"data":false,"error":null})"));
    auto save = fileRequest("save_file", target);
    save["args"]["data"] = b64(content);
    EXPECT_EQ(client.requestJson(save), json::parse(R"({"data":true,"error":null})"));
    EXPECT_EQ(readFile(target), content);

    EXPECT_EQ(client.requestJson(fileRequest("exists", target)).at("data"), true);
    EXPECT_EQ(client.requestJson(fileRequest("exists", folder)).at("data"), true);
    EXPECT_EQ(client.requestJson(fileRequest("get_file_on_base64", target)),
              (json{{"data", b64(content)}, {"error", nullptr}}));

    // Overwriting replaces the file whole and leaves no temporary file beside it.
    save["args"]["data"] = b64("short");
    EXPECT_EQ(client.requestJson(save).at("data"), true);
    EXPECT_EQ(readFile(target), "short");
    EXPECT_EQ(std::distance(fs::directory_iterator(folder), fs::directory_iterator()), 1);

    // An empty file is a file too.
    const auto empty = folder / "empty.txt";
    auto saveEmpty = fileRequest("save_file", empty);
    saveEmpty["args"]["data"] = "";
    EXPECT_EQ(client.requestJson(saveEmpty).at("data"), true);
    EXPECT_EQ(client.requestJson(fileRequest("get_file_on_base64", empty)), json::parse(R"({"data":"","error":null})"));
}

TEST(FileServices, FailuresAnswerErrorsAndLeaveFilesIntact) {
    ModuleClient client;
    const auto folder = makeTempDir("failures");
    EXPECT_EQ(client.request(fileRequest("get_file_on_base64", folder / "missing.pdf").dump()),
              R"({"data":null,"error":["tr{Error convert to base64}"]})");
    EXPECT_EQ(client.request(fileRequest("get_file_on_base64", folder).dump()),
              R"({"data":null,"error":["tr{Error convert to base64}"]})");

    auto intoMissingFolder = fileRequest("save_file", folder / "no such folder" / "a.txt");
    intoMissingFolder["args"]["data"] = b64("x");
    EXPECT_EQ(client.requestJson(intoMissingFolder).at("data"), nullptr);
    EXPECT_FALSE(fs::exists(folder / "no such folder"));

    // Saving over a folder fails and the folder with its content survives.
    fs::create_directory(folder / "keep");
    std::ofstream(folder / "keep" / "inside.txt") << "kept";
    auto overFolder = fileRequest("save_file", folder / "keep");
    overFolder["args"]["data"] = b64("x");
    EXPECT_EQ(client.requestJson(overFolder).at("data"), nullptr);
    EXPECT_EQ(readFile(folder / "keep" / "inside.txt"), "kept");

    EXPECT_EQ(client.request(R"({"method":"save_file","args":{"file":"eA=="}})"),
              R"({"data":null,"error":["tr{Param 'data' in 'args' is not exists}"]})");
    EXPECT_EQ(client.request(R"({"method":"save_file","args":{"file":"eA==","data":5}})"),
              R"({"data":null,"error":["tr{parseSaveFileFromBase64 internal unhandled error}"]})");
    EXPECT_EQ(client.request(R"({"method":"get_file_on_base64","args":{"file":[]}})"),
              R"({"data":null,"error":["tr{parseGetFileOnBase64 internal unhandled error}"]})");
}

#include "ModuleClient.h"
#include "common/Version.h"

#include "support/Process.h"
#include "support/TempHome.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

using namespace vesk::test;
namespace fs = std::filesystem;

namespace {

// Runs the command-line host with its own HOME, so each run starts a fresh module.
CommandResult cli(const fs::path& home, const std::string& arguments, const std::string& input = "") {
    std::string command = "HOME=" + shellQuote(home.string()) + " " + shellQuote(VESK_CLI_PATH) + " " + arguments;
    if (!input.empty()) command = "printf '%s' " + shellQuote(input) + " | " + command;
    return runCommand(command + " 2>/dev/null");
}

fs::path homeWithLevel(const std::string& level) {
    const auto home = makeTempDir("home");
    fs::create_directories(home / ".Vesk" / "editor");
    std::ofstream(home / ".Vesk" / "editor" / "settings.json") << R"({"logLevel":")" << level << R"("})";
    return home;
}

const std::string kVersion = R"({"method":"version","args":{}})";
const std::string kVersionAnswer = R"({"data":")" VESK_VERSION_TEXT R"(","error":null})";

}  // namespace

TEST(Cli, RequestBatchStdinAndExitStatus) {
    const auto home = makeTempDir("home");
    auto result = cli(home, shellQuote(kVersion));
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.output, kVersionAnswer + "\n");

    result = cli(home, shellQuote(R"({"method":"nope","args":{}})"));
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.output, "{\"data\":null,\"error\":[\"tr{Unknown input JSON method:} nope\"]}\n");

    const auto commands = home / "commands.txt";
    std::ofstream(commands) << "// version twice\n" << kVersion << "\n\n" << kVersion << "\n";
    result = cli(home, "--batch " + shellQuote(commands.string()));
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.output, kVersionAnswer + "\n\n" + kVersionAnswer + "\n\n");

    result = cli(home, "", kVersion + "\n{}\n");
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.output.substr(0, kVersionAnswer.size()), kVersionAnswer);

    result = cli(home, "--library " + shellQuote(VESK_MODULE_PATH) + " " + shellQuote(kVersion));
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(cli(home, "--library /nonexistent/libVeskCrypto.so " + shellQuote(kVersion)).exitCode, 2);

    result = cli(home, "--help");
    EXPECT_EQ(result.exitCode, 0);
    for (const char* word : {"--batch", "--library", "standard input", "Exit status"}) {
        EXPECT_NE(result.output.find(word), std::string::npos) << word;
    }
}

TEST(Cli, LogLevelDecidesWhatIsWrittenButNotTheAnswers) {
    const auto quiet = homeWithLevel("none");
    const auto chatty = homeWithLevel("info");
    const auto verbose = homeWithLevel("verbose");
    const std::string log = ".Vesk/editor/VeskCryptoModule.log";
    const std::string request = R"({"method":"log","args":{"note":"проверка"}})";
    for (const auto& home : {quiet, chatty, verbose}) {
        EXPECT_EQ(cli(home, shellQuote(request)).output, "{\"data\":null,\"error\":null}\n");
        EXPECT_EQ(cli(home, shellQuote(kVersion)).output, kVersionAnswer + "\n");
    }
    EXPECT_EQ(readFile(quiet / log), "");
    EXPECT_EQ(readFile(quiet / ".Vesk/editor/settings.json"), R"({"logLevel":"none"})");

    const auto infoLog = readFile(chatty / log);
    EXPECT_NE(infoLog.find("[F] executeJsonRequest: " + kVersion), std::string::npos);
    EXPECT_NE(infoLog.find("Exit with result: " + kVersionAnswer), std::string::npos);
    EXPECT_NE(infoLog.find("\"note\": \"проверка\""), std::string::npos);  // the args, indented
    EXPECT_EQ(infoLog.find("[F] parseVersion"), std::string::npos);
    // Appended across runs, never rolled.
    const auto firstRun = infoLog.find("[F] executeJsonRequest: " + request);
    ASSERT_NE(firstRun, std::string::npos);
    EXPECT_EQ(firstRun, infoLog.rfind("[F] executeJsonRequest: " + request));
    EXPECT_NE(readFile(verbose / log).find("[F] parseVersion"), std::string::npos);

    // A first run makes the folder and the default settings, and logs the creation.
    const auto fresh = makeTempDir("fresh");
    EXPECT_EQ(cli(fresh, shellQuote(kVersion)).exitCode, 0);
    EXPECT_EQ(readFile(fresh / ".Vesk/editor/settings.json"), R"({"cades":"","cryptoPro":"","logLevel":"info"})");
    EXPECT_NE(readFile(fresh / log).find("Error create Vesk home path: Success"), std::string::npos);
}

TEST(Cli, SettingsThatAreNotJsonAreAnsweredAsAJsonException) {
    const auto home = makeTempDir("home");
    fs::create_directories(home / ".Vesk" / "editor");
    std::ofstream(home / ".Vesk" / "editor" / "settings.json") << R"({"logLevel":)";
    const auto result = cli(home, shellQuote(kVersion));
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.output.rfind(
                  R"({"data":null,"error":["tr{JSON Exception:} [json.exception.parse_error.101] parse error)", 0),
              0u)
        << result.output;
}

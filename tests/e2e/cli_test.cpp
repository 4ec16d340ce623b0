#include "ModuleClient.h"
#include "common/Version.h"

#include "support/Process.h"
#include "support/TempHome.h"

#include <gtest/gtest.h>

#include <fstream>
#include <utility>

using namespace vesk::test;
namespace fs = std::filesystem;

namespace {

using Outcome = std::pair<int, std::string>;  // exit status, standard output

// Runs the command-line host with its own HOME, so each run starts a fresh module.
Outcome cli(const fs::path& home, const std::string& arguments, const std::string& input = "") {
    std::string command = "HOME=" + shellQuote(home.string()) + " " + shellQuote(VESK_CLI_PATH) + " " + arguments;
    if (!input.empty()) command = "printf '%s' " + shellQuote(input) + " | " + command;
    const auto result = runCommand(command + " 2>/dev/null");
    return {result.exitCode, result.output};
}

fs::path homeWithSettings(const std::string& settings) {
    const auto home = makeTempDir("home");
    fs::create_directories(home / ".Vesk" / "editor");
    std::ofstream(home / ".Vesk" / "editor" / "settings.json") << settings;
    return home;
}

const std::string kVersion = R"({"method":"version","args":{}})";
const std::string kVersionAnswer = R"({"data":")" VESK_VERSION_TEXT R"(","error":null})";

}  // namespace

TEST(Cli, RequestBatchStdinAndExitStatus) {
    const auto home = makeTempDir("home");
    EXPECT_EQ(cli(home, shellQuote(kVersion)), Outcome(0, kVersionAnswer + "\n"));
    EXPECT_EQ(cli(home, shellQuote(R"({"method":"nope","args":{}})")),
              Outcome(1, "{\"data\":null,\"error\":[\"tr{Unknown input JSON method:} nope\"]}\n"));

    const auto commands = home / "commands.txt";
    std::ofstream(commands) << "// version twice\n" << kVersion << "\n\n" << kVersion << "\n";
    EXPECT_EQ(cli(home, "--batch " + shellQuote(commands.string())),
              Outcome(0, kVersionAnswer + "\n\n" + kVersionAnswer + "\n\n"));

    const std::string missing = R"({"data":null,"error":["tr{Request not contains param 'method' or 'args'}"]})";
    EXPECT_EQ(cli(home, "", kVersion + "\n{}\n"), Outcome(1, kVersionAnswer + "\n\n" + missing + "\n\n"));

    EXPECT_EQ(cli(home, "--library " + shellQuote(VESK_MODULE_PATH) + " " + shellQuote(kVersion)).first, 0);
    EXPECT_EQ(cli(home, "--library /nonexistent/libVeskCrypto.so " + shellQuote(kVersion)).first, 2);

    const auto help = cli(home, "--help");
    EXPECT_EQ(help.first, 0);
    for (const char* word : {"--batch", "--library", "standard input", "Exit status"})
        EXPECT_NE(help.second.find(word), std::string::npos) << word;
}

TEST(Cli, LogLevelDecidesWhatIsWrittenButNotTheAnswers) {
    const auto quiet = homeWithSettings(R"({"logLevel":"none"})");
    const auto chatty = homeWithSettings(R"({"logLevel":"info"})");
    const auto verbose = homeWithSettings(R"({"logLevel":"verbose"})");
    const std::string log = ".Vesk/editor/VeskCryptoModule.log";
    const std::string request = R"({"method":"log","args":{"note":"проверка"}})";
    for (const auto& home : {quiet, chatty, verbose}) {
        EXPECT_EQ(cli(home, shellQuote(request)).second, "{\"data\":null,\"error\":null}\n");
        EXPECT_EQ(cli(home, shellQuote(kVersion)).second, kVersionAnswer + "\n");
    }
    EXPECT_EQ(readFile(quiet / log), "");
    EXPECT_EQ(readFile(quiet / ".Vesk/editor/settings.json"), R"({"logLevel":"none"})");

    const auto infoLog = readFile(chatty / log);
    const std::string logged = "[F] executeJsonRequest: " + request;
    for (const std::string& line :
         {logged, "[F] executeJsonRequest: " + kVersion, "Exit with result: " + kVersionAnswer,
          std::string("\"note\": \"проверка\"")})  // the args, indented
        EXPECT_NE(infoLog.find(line), std::string::npos) << line;
    EXPECT_EQ(infoLog.find(logged), infoLog.rfind(logged));  // appended across runs, never rolled
    EXPECT_EQ(infoLog.find("[F] parseVersion"), std::string::npos);
    EXPECT_NE(readFile(verbose / log).find("[F] parseVersion"), std::string::npos);

    // A first run makes the folder and the default settings, and logs the creation.
    const auto fresh = makeTempDir("fresh");
    EXPECT_EQ(cli(fresh, shellQuote(kVersion)).first, 0);
    EXPECT_EQ(readFile(fresh / ".Vesk/editor/settings.json"), R"({"cades":"","cryptoPro":"","logLevel":"info"})");
    EXPECT_NE(readFile(fresh / log).find("Error create Vesk home path: Success"), std::string::npos);
}

TEST(Cli, SettingsThatAreNotJsonAreAnsweredAsAJsonException) {
    EXPECT_EQ(
        cli(homeWithSettings(R"({"logLevel":)"), shellQuote(kVersion)),
        Outcome(1, R"({"data":null,"error":["tr{JSON Exception:} [json.exception.parse_error.101] parse error at )"
                   R"(line 1, column 13: syntax error while parsing value - unexpected end of input; expected )"
                   "'[', '{', or a literal\"]}\n"));
}

// The module's console log stays out of the command line's output unless -v asks for it; its
// file log is written either way. A batch says on standard error how many requests failed, and
// shows its progress there only on a terminal.
TEST(Cli, ModuleConsoleLogOnlyWhenVerbose) {
    const auto home = homeWithSettings(R"({"logLevel":"info"})");
    const auto errors = [&](const std::string& arguments) {
        const std::string command = "HOME=" + q(home) + " " + shellQuote(VESK_CLI_PATH) + " " + arguments;
        return runCommand(command + " 2>&1 >/dev/null").output;
    };
    const std::string logged = "[F] executeJsonRequest: " + kVersion;
    EXPECT_EQ(errors(shellQuote(kVersion)), "");
    EXPECT_NE(readFile(home / ".Vesk/editor/VeskCryptoModule.log").find(logged), std::string::npos);
    for (const char* flag : {"-v ", "--verbose "})
        EXPECT_NE(errors(flag + shellQuote(kVersion)).find(logged), std::string::npos);

    const auto commands = home / "commands.txt";
    std::ofstream(commands) << kVersion + "\n// skipped\n" + R"({"method":"nope","args":{}})" + "\n" + kVersion;
    EXPECT_EQ(errors("--batch " + q(commands)), "vesk-crypto: 1 of 3 requests failed\n");
    // On a terminal (script(1) gives one), the progress comes first.
    const auto onTerminal =
        runCommand("HOME=" + q(home) + " script -qec " +
                   shellQuote(shellQuote(VESK_CLI_PATH) + " --batch " + q(commands)) + " /dev/null");
    EXPECT_NE(onTerminal.output.find("request 3 of 3, 1 failed"), std::string::npos) << onTerminal.output;
    EXPECT_NE(onTerminal.output.find("1 of 3 requests failed"), std::string::npos);
}

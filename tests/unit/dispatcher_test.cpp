#include "common/Settings.h"
#include "common/Version.h"
#include "plugin/RequestDispatcher.h"

#include "support/TempHome.h"

#include <gtest/gtest.h>

#include <fstream>
#include <regex>

using namespace Vesk::Crypto;

namespace {

std::string run(const std::string& request) {
    std::string answer;
    EXPECT_TRUE(executeJsonRequest(request, answer));
    return answer;
}

}  // namespace

TEST(Dispatcher, EnvelopeAndDispatcherErrors) {
    const auto error = [](const std::string& text) { return R"({"data":null,"error":[")" + text + R"("]})"; };
    EXPECT_EQ(run(R"({"method":"version","args":{}})"), R"({"data":")" VESK_VERSION_TEXT R"(","error":null})");
    EXPECT_EQ(run(R"({"method":"kzn_version","args":{}})"), R"({"data":")" VESK_VERSION_TEXT R"(","error":null})");
    EXPECT_EQ(run(R"({"method":"log","args":{"a":1}})"), R"({"data":null,"error":null})");
    EXPECT_EQ(run(R"({"method":"version"})"), error("tr{Request not contains param 'method' or 'args'}"));
    EXPECT_EQ(run(R"({"args":{}})"), error("tr{Request not contains param 'method' or 'args'}"));
    EXPECT_EQ(run(R"({"method":"Version","args":{}})"), error("tr{Unknown input JSON method:} Version"));
    EXPECT_EQ(run(R"({"method":"сверить","args":{}})"), error("tr{Unknown input JSON method:} сверить"));
    EXPECT_EQ(run(""),
              error("tr{JSON Exception:} [json.exception.parse_error.101] parse error at line 1, column 1: "
                    "syntax error while parsing value - unexpected end of input; expected '[', '{', or a literal"));
    EXPECT_EQ(run(R"({"method":5,"args":{}})"),
              error("tr{JSON Exception:} [json.exception.type_error.302] type must be string, but is number"));
    EXPECT_EQ(run(R"({"method":"exists","args":{}})"), error("tr{Param 'file' in 'args' is not exists}"));
}

TEST(Dispatcher, LogHoldsWholeRequestAndAnswerOnceTheAnswerIsGiven) {
    // The answer line is flushed as the request ends, so the log on disk already holds the
    // request and the answer whole, each as one record of the usual layout.
    const std::string note(100000, 'n');
    const std::string request = R"({"method":"log","args":{"note":")" + note + R"("}})";
    EXPECT_EQ(run(request), R"({"data":null,"error":null})");
    const std::string unknown = R"({"method":"nothing","args":{"q":")" + note + R"("}})";
    const std::string answer = run(unknown);

    const auto log = vesk::test::readFile(getLogFilePath());
    const std::regex layout(R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} INFO  \[\d+\] \[.*executeJsonRequest.*@\d+\] )");
    for (const auto& line : {"[F] executeJsonRequest: " + request + "\n", "[F] executeJsonRequest: " + unknown + "\n",
                             "Exit with result: " + answer + "\n"}) {
        const size_t at = log.rfind(line);
        ASSERT_NE(at, std::string::npos) << line.substr(0, 60);
        const size_t start = log.rfind('\n', at) + 1;
        const std::string head = log.substr(start, at - start);
        EXPECT_TRUE(std::regex_match(head, layout)) << head;
    }
}

TEST(Dispatcher, CommandFileRunsEachRequestLine) {
    const auto file = vesk::test::makeTempDir("batch") / "commands.txt";
    std::ofstream(file)
        << "// a comment\n\n{\"method\":\"version\",\"args\":{}}\n\r\n{\"method\":\"nope\",\"args\":{}}\n";
    EXPECT_EQ(executeCommandsFromFile(file.string()),
              "{\"data\":\"" VESK_VERSION_TEXT
              "\",\"error\":null}\n\n"
              "{\"data\":null,\"error\":[\"tr{Unknown input JSON method:} nope\"]}\n\n");
    EXPECT_EQ(executeCommandsFromFile((file.parent_path() / "missing.txt").string()), "");
}

#include "ModuleClient.h"
#include "common/Version.h"

#include <gtest/gtest.h>

using namespace vesk::test;
using nlohmann::json;

// Every request of this corpus must get an answer whose "error" is set and whose "data" is
// null, and the process must survive all of them.
TEST(MalformedRequests, EveryEntryGetsAnErrorAnswer) {
    const std::string huge(10 * 1024 * 1024, 'A');
    const std::string invalidUtf8Path = b64("/tmp/\xff\xfe\xc3(.pdf");
    std::vector<std::string> corpus = {
        "",
        "not json",
        "{",
        R"({"method":"version","args":{})",
        R"({"method":"vers)",
        "[]",
        "null",
        "42",
        R"("version")",
        R"({})",
        R"({"method":"version"})",
        R"({"args":{}})",
        R"({"method":null,"args":{}})",
        R"({"method":["version"],"args":{}})",
        R"({"method":{"a":1},"args":{}})",
        R"({"method":"","args":{}})",
        R"({"method":"GET_LIST","args":{}})",
        R"({"method":"exists","args":[]})",
        R"({"method":"exists","args":"file"})",
        R"({"method":"exists","args":{"file":5}})",
        R"({"method":"exists","args":{"file":null}})",
        R"({"method":"exists","args":{}})",
        R"({"method":"get_file_on_base64","args":{}})",
        R"({"method":"get_file_on_base64","args":{"file":")" + invalidUtf8Path + R"("}})",
        R"({"method":"get_file_on_base64","args":{"file":")" + huge + R"("}})",
        R"({"method":"save_file","args":{}})",
        R"({"method":"save_file","args":{"data":"eA=="}})",
        R"({"method":"save_file","args":{"file":{},"data":"eA=="}})",
        R"({"method":"save_file","args":{"file":"eA==","data":[1,2]}})",
        R"({"method":"save_file","args":{"file":")" + b64("/nonexistent/dir/x") + R"(","data":")" + huge + R"("}})",
        R"({"method":"unknown)" + huge + R"(","args":{}})",
        std::string("{\"method\":\"version\"\0,\"args\":{}}", 30),
        std::string("\0\0\0", 3),
        "{\"method\":\"\xff\xfe\",\"args\":{}}",
        "{\"method\":\"version\",\"args\":{},\"x\":\"\xc3\"}",
        R"({"method":"\ud800","args":{}})",
        std::string(100000, '[')};
    ModuleClient client;
    for (const auto& request : corpus) {
        const auto text = client.request(request);
        const auto answer = json::parse(text, nullptr, false);
        const auto shown = request.substr(0, 80);
        ASSERT_TRUE(answer.is_object()) << shown << " -> " << text.substr(0, 200);
        EXPECT_EQ(answer.size(), 2u) << shown;
        EXPECT_TRUE(answer.at("data").is_null()) << shown;
        EXPECT_FALSE(answer.at("error").is_null()) << shown << " -> " << text.substr(0, 200);
    }
    EXPECT_EQ(client.request(R"({"method":"version","args":{}})"),
              R"({"data":")" VESK_VERSION_TEXT R"(","error":null})");
}

// A parser's failure keeps the policy hosts know from it: the file services answer with their
// own text, verify and extract leave the answer empty, and sign passes JSON errors on.
TEST(MalformedRequests, ParsersKeepTheirFailurePolicies) {
    ModuleClient client;
    EXPECT_EQ(client.request(R"({"method":"get_file_on_base64","args":{"file":true}})"),
              R"({"data":null,"error":["tr{parseGetFileOnBase64 internal unhandled error}"]})");
    for (const char* method : {"verify", "extract"}) {
        EXPECT_EQ(client.request(std::string(R"({"method":")") + method + R"(","args":{"file":5}})"),
                  R"({"data":null,"error":["tr{Nothing for do.}"]})")
            << method;
    }
    const auto signed_ = client.request(R"({"method":"sign","args":{"sign_info":{"cosign":"yes"}}})");
    EXPECT_EQ(signed_.rfind(R"({"data":null,"error":["tr{JSON Exception:} [json.exception.type_error.)", 0), 0u)
        << signed_;
}

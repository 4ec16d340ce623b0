// The document of a save_file request is read in place instead of through the JSON document,
// and get_file_on_base64 writes its answer around the base64 text. Both must give exactly the
// answers (and files) of the plain JSON path, for every request, including awkward ones.

#include "common/Base64.h"
#include "crypto/FileRequests.h"
#include "model/Answer.h"
#include "plugin/RequestDispatcher.h"
#include "plugin/RequestSkeleton.h"

#include "support/TempHome.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <optional>
#include <random>

using namespace Vesk::Crypto;
namespace fs = std::filesystem;

namespace {

// Runs the request both ways and expects the same answer and the same file, or none either way.
void expectSameBothWays(const std::string& request, const fs::path& target) {
    std::pair<std::string, std::optional<std::string>> outcomes[2];
    for (const LargeStrings mode : {LargeStrings::ReadInPlace, LargeStrings::ParseIntoDocument}) {
        auto& [answer, written] = outcomes[mode == LargeStrings::ReadInPlace ? 0 : 1];
        fs::remove(target);
        EXPECT_TRUE(executeJsonRequestText(request, answer, mode));
        if (fs::exists(target)) written = vesk::test::readFile(target);
    }
    EXPECT_EQ(outcomes[0], outcomes[1]) << request;
}

std::string randomBytes(size_t size, unsigned seed) {
    std::mt19937 generator(seed);
    std::string bytes(size, '\0');
    for (auto& byte : bytes) byte = static_cast<char>(generator() & 0xff);
    return bytes;
}

}  // namespace

TEST(LargeStrings, SaveFileReadInPlaceAnswersAsTheJsonDocument) {
    const auto target = vesk::test::makeTempDir("in-place") / "out.bin";
    const std::string file = "\"" + base64::encode(target.string()) + "\"";
    const std::string data = "\"" + base64::encode(randomBytes(3000, 1)) + "\"";
    const std::string fileData = R"("file":)" + file + R"(,"data":)";
    const auto request = [&](const std::string& args, const std::string& method = R"("method":"save_file")") {
        return "{" + method + R"(,"args":{)" + args + "}}";
    };

    // Cut in place: what the document path must agree with.
    const std::vector<std::string> cut = {
        request(fileData + data),
        " {\n\t\"method\" : \"save_file\" ,\r\n \"args\" : { \"data\" : " + data + " , \"file\" : " + file + " } } ",
        request(R"("file":)" + file +
                R"(,"note":"a\"b\\c\u0041\ud83d\ude00","x":{"data":"zz"},"y":[1,{"data":2}],"data":)" + data),
        request(fileData + R"("")"),
        request(fileData + R"("QUJD")") + " trailing",
        request(fileData + data + R"(,"z":tru)"),
        request(fileData + R"("QUJD@@@ not base64")"),
        request(R"("file":7,"data":)" + data),
        request(fileData + data, R"("x":{"method":"sign"},"method":"save_file")")};

    // Left to the document path: duplicates, escapes on the way, characters that are not themselves.
    const std::vector<std::string> whole = {
        request(fileData + R"("QUJD","data":)" + data),
        request(fileData + data + R"(},"args":{"file":)" + file + R"(,"data":"QUJD")"),
        request(fileData + data + R"(,"z":[1,2)"),
        request(fileData + data, R"("method":"save_file","method":"version")"),
        request(fileData + R"("QUJD\u0044RUY=")"),
        request(fileData + R"("QU\/JD")"),
        request(R"("file":)" + file + R"(,"d\u0061ta":"QUJD")"),
        request(fileData + R"("QUJDкириллица")"),
        request(R"("file":)" + file + "\t,\"data\":\"QU\tJD\""),
        request(fileData + "123"),
        request(fileData + "null"),
        request(R"("data":)" + data),
        request(fileData + data, R"("method":"save\u005ffile")"),
        R"({"method":"save_file","args":[)" + file + "," + data + "]}",
        request(fileData + data).substr(0, 40 + data.size())};
    for (const bool inPlace : {true, false})
        for (const auto& text : inPlace ? cut : whole) {
            EXPECT_EQ(cutSaveFileData(text).has_value(), inPlace) << text.substr(text.size() - 30);
            expectSameBothWays(text, target);
        }

    // Nesting as deep as a hostile request makes it, beside the document.
    const std::string deep = std::string(600, '[') + std::string(600, ']');
    expectSameBothWays(request(R"("file":)" + file + R"(,"deep":)" + deep + R"(,"data":)" + data), target);

    // Random damage anywhere but in the file name: both paths still agree.
    const std::string base = request(R"("file":)" + file + R"(,"q":"\"x\\",)" + R"("data":)" + data);
    const size_t fileAt = base.find(file);
    const std::string pieces[] = {"\"", "\\", "{", "}", "[", "]", ",", ":", " ", "\\u0041", "\xd0\xb6", "\x01", "data"};
    std::mt19937 generator(7);
    for (int round = 0; round < 300; ++round) {
        std::string text = base;
        for (int change = 0; change < 2; ++change) {
            size_t at = generator() % text.size();
            if (at >= fileAt && at <= fileAt + file.size()) at = text.size() - 1;
            generator() % 2 == 0 ? text.erase(at, 1) : text.insert(at, pieces[generator() % std::size(pieces)]);
        }
        expectSameBothWays(text, target);
    }
}

TEST(LargeStrings, FileAnswerIsTheJsonLibrarysText) {
    const auto folder = vesk::test::makeTempDir("answer");
    for (const size_t size : {0, 1, 2, 3, 4, 5, 65535, 65536, 65537, 200001}) {
        const std::string bytes = randomBytes(size, static_cast<unsigned>(size));
        std::ofstream(folder / "file", std::ios::binary) << bytes;
        EXPECT_EQ(getFileAsBase64(folder / "file"), makeAnswer(base64::encode(bytes), nullptr)) << size;
    }
    EXPECT_EQ(getFileAsBase64(folder / "missing"), makeErrorAnswer("tr{Error convert to base64}"));
}

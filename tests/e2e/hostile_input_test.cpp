// Hostile requests and files through the module, each run on a thread with a 512 KiB stack, the
// kind many hosts give their workers: every one must be answered, in bounded time.

#include "RealWorldCorpus.h"

#include "common/Version.h"

#include <pthread.h>
#include <sys/stat.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <future>
#include <thread>

using namespace vesk::test;
using nlohmann::json;
namespace fs = std::filesystem;

namespace {

const json kWatermark = {{"page", -1}, {"strings", {{{"text", "Подписано: Петрова М. С."}}}}};

#if defined(__SANITIZE_ADDRESS__)
// AddressSanitizer surrounds every local with guard zones, which makes the module's recursive frames
// several times larger (the JSON serializer's grow to about 3 KB a level), so the stack grows with
// them; PoDoFo itself is not instrumented.
constexpr size_t kWorkerStack = 4 * 512 * 1024;
#else
constexpr size_t kWorkerStack = 512 * 1024;
#endif

// Runs `work` on a thread with a 512 KiB stack. A run that does not end within `limit` stops the
// test program: a hang must fail, not stall the suite.
void onSmallStack(const std::function<void()>& work, std::chrono::seconds limit = std::chrono::seconds(120)) {
    std::packaged_task<void()> task(work);
    auto finished = task.get_future();
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, kWorkerStack);
    pthread_t thread;
    const auto run = [](void* job) -> void* {
        (*static_cast<std::packaged_task<void()>*>(job))();
        return nullptr;
    };
    const int created = pthread_create(&thread, &attributes, run, &task);
    pthread_attr_destroy(&attributes);
    ASSERT_EQ(created, 0);
    if (finished.wait_for(limit) != std::future_status::ready) {
        std::fprintf(stderr, "a request did not end within %lld s\n", static_cast<long long>(limit.count()));
        std::abort();
    }
    pthread_join(thread, nullptr);
    finished.get();  // the work's exception, if any, fails the test
}

std::string times(int count, const std::string& text) {
    std::string all;
    for (int i = 0; i < count; ++i) all += text;
    return all;
}

// "/Deep" and a value nested `levels` deep, in dictionaries or arrays.
std::string nested(int levels, bool arrays = false) {
    return "/Deep " + times(levels, arrays ? "[ " : "<< /A ") + "1" + times(levels, arrays ? " ]" : " >>");
}

class Hostile : public ::testing::Test {
protected:
    void SetUp() override {
        useCadesLibrary(CADES_EMULATOR_PATH);
        dir = makeTempDir("hostile");
    }

    std::string askText(const std::string& request, ModuleClient* module = nullptr) {
        std::string answer;
        onSmallStack([&] { answer = (module != nullptr ? *module : client).request(request); });
        return answer;
    }
    json sign(const fs::path& file, const fs::path& output, const std::string& searchString,
              const std::string& attachType = "PAdES", int page = -1, ModuleClient* module = nullptr) {
        json watermark = kWatermark;
        watermark["page"] = page;
        return json::parse(askText(
            signRequest(file.string(), output.string(), attachType, searchString, {{"watermark", watermark}}).dump(),
            module));
    }
    json verify(const fs::path& file) { return json::parse(askText(verifyRequest(file).dump())); }
    // A file nested too deeply is not taken for a signed PDF, not signed in any form, and stays; one
    // within the limits is signed as PAdES, verified, and judged by qpdf, pdfsig and openssl.
    void expectDeepRefusedAndFineSigned(const fs::path& deep, const fs::path& fine) {
        EXPECT_EQ(verify(deep), refusal("tr{This PDF file does not contain a signature.}"));
        const json loadError = refusal("tr{Error on load file:} ePdfError_BrokenFile");
        EXPECT_EQ(sign(deep, dir / "signed.pdf", kPetrova, "PAdES"), loadError);
        EXPECT_EQ(sign(deep, dir / "attached.sig", kPetrova, "Attached"), loadError);
        EXPECT_EQ(sign(deep, deep.string() + ".sgn", kPetrova, "Detached"), loadError);
        EXPECT_FALSE(fs::exists(dir / "signed.pdf"));
        EXPECT_TRUE(fs::exists(deep));

        const json answer = sign(fine, dir / "fine-signed.pdf", kPetrova);
        EXPECT_TRUE(answer["error"].is_null()) << answer.dump();
        EXPECT_EQ(verify(dir / "fine-signed.pdf")["data"][0]["SerialNumber"], kPetrova);
        judgeSignedPdf(fine, dir / "fine-signed.pdf", 1, stampOf(kWatermark));
        fs::remove(dir / "fine-signed.pdf");
    }

    // A sample PDF rewritten by qpdf in its editable form, the first `from` in it replaced by `to`,
    // and made whole again (offsets, lengths) by qpdf's fix-qdf.
    fs::path editedPdf(const std::string& name, const std::string& from, const std::string& to) {
        const fs::path plain = dir / (name + ".plain.pdf"), qdf = dir / (name + ".qdf"), out = dir / (name + ".pdf");
        makePdf(plain);
        produce("qpdf --qdf --object-streams=disable " + q(plain) + " " + q(qdf));
        std::string text = readFile(qdf);
        const auto at = text.find(from);
        EXPECT_NE(at, std::string::npos) << from;
        if (at != std::string::npos) writeBytes(qdf, text.replace(at, from.size(), to));
        EXPECT_EQ(runCommand("fix-qdf " + q(qdf) + " > " + q(out)).exitCode, 0);
        return out;
    }
    // A file of hidden-deep-object-pdf.py: LEVELS and MODE as that script says.
    fs::path scriptedPdf(int levels, const std::string& mode) {
        const fs::path pdf = dir / (mode + std::to_string(levels) + ".pdf");
        produce("python3 " + q(VESK_E2E_DIR "/hidden-deep-object-pdf.py") + " " + std::to_string(levels) + " " + mode +
                " " + q(pdf));
        return pdf;
    }
    // Adds `entries` to the first page's dictionary.
    fs::path pdfWithPageEntries(const std::string& name, const std::string& entries) {
        return editedPdf(name, "  /Type /Page\n", "  " + entries + "\n  /Type /Page\n");
    }

    ModuleClient client;
    fs::path dir;
};

}  // namespace

// A FIFO where the module opens its log or its CAdES library would wait for a peer that never
// comes. The first request (it sets both up) is answered at once all the same, on a small stack
// and on the main thread: without a file log, or without the library; the FIFO stays a FIFO.
// One case per process: the module sets itself up once.
class FifoAtPath : public Hostile, public ::testing::WithParamInterface<std::string> {};

TEST_P(FifoAtPath, IsAnsweredAtOnce) {
    const fs::path fifo = dir / "fifo";
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0644), 0);
    if (GetParam() == "library") {
        useCadesLibrary(fifo.string());
    } else {
        fs::remove(moduleLog());
        if (GetParam() == "log")
            fs::rename(fifo, moduleLog());
        else
            fs::create_symlink(fifo, moduleLog());
    }
    std::string answer;
    onSmallStack([&] { answer = client.request(R"({"method":"get_providers","args":{}})"); }, std::chrono::seconds(30));
    EXPECT_EQ(answer, GetParam() == "library" ? R"({"data":["Native"],"error":null})"
                                              : R"({"data":["CryptoPRO","Native"],"error":null})");
    EXPECT_EQ(json::parse(client.request(R"({"method":"version","args":{}})"))["error"], nullptr);
    EXPECT_TRUE(fs::is_fifo(GetParam() == "library" ? fifo : moduleLog()));
}
INSTANTIATE_TEST_SUITE_P(Hostile, FifoAtPath, ::testing::Values("log", "linkToLog", "library"));

// The search string names the signature field; bytes that are not UTF-8 (CP1251, a UTF-16 byte
// order mark) made PoDoFo read past its buffer. They are refused before the PDF is touched.
TEST_F(Hostile, SearchStringThatIsNotUtf8IsRefused) {
    const fs::path pdf = dir / "doc.pdf";
    makePdf(pdf);
    const std::string original = readFile(pdf);
    for (const std::string bad : {"\xcf\xe5\xf2\xf0\xee\xe2\xe0", "\xff\xfe", "0x4512\xc0\xaf"}) {
        for (const int page : {0, -2}) {
            EXPECT_EQ(sign(pdf, dir / "out.pdf", bad, "PAdES", page), refusal("tr{Text is not UTF-8:} search_string"));
            EXPECT_FALSE(fs::exists(dir / "out.pdf"));
            EXPECT_EQ(readFile(pdf), original);
        }
    }
    // The reason and the stamp lines are JSON strings, which the request reader already requires to
    // be UTF-8: such bytes there are refused with the reader's own error.
    const json refused = json::parse(askText(R"({"method":"sign","args":{"file":")" + b64(pdf.string()) +
                                             R"(","reason":"\xcf\xe5\xf2","sign_info":{"attach_type":"PAdES"}}})"));
    EXPECT_EQ(refused["error"][0].get<std::string>().rfind("tr{JSON Exception:} [json.exception.parse_error.101]", 0),
              0u)
        << refused.dump();
    EXPECT_EQ(readFile(pdf), original);

    // UTF-8 Cyrillic names the field as before, and the signature verifies.
    const json answer = sign(pdf, dir / "ok.pdf", "Петрова");
    ASSERT_TRUE(answer["error"].is_null()) << answer.dump();
    EXPECT_EQ(verify(dir / "ok.pdf")["data"][0]["SerialNumber"], kPetrova);
    EXPECT_TRUE(has(runCommand("pdfsig " + q(dir / "ok.pdf") + " 2>&1").output, "Sign_Петрова"));
}

// Deep nesting overflowed the stack in the copies and dumps of "args"; it is refused while
// parsing, and requests within the limit answer as before, in bounded time.
TEST_F(Hostile, JsonNestedDeeperThan512LevelsIsRefused) {
    const auto log = [](int arrays, const std::string& inside) {
        return R"({"method":"log","args":{"a":)" + std::string(arrays, '[') + inside + std::string(arrays, ']') + "}}";
    };
    const std::string ok = R"({"data":null,"error":null})";
    const std::string refused = R"({"data":null,"error":["tr{JSON Exception:} [json.exception.parse_error.101] parse )"
                                R"(error: nesting deeper than 512 levels"]})";
    // The envelope and "args" are two levels: 510 arrays make 512. 510 levels of arrays around
    // many numbers: the indented log record stays bounded.
    const std::pair<std::string, std::string> cases[] = {
        {log(510, ""), ok},
        {log(511, ""), refused},
        {log(100000, ""), refused},
        {R"({"method":"verify","args":{"document":"QQ==","x":)" + times(100000, R"({"k":)") + "1" +
             std::string(100000, '}') + "}}",
         refused},
        {log(510, times(20000, "1,") + "1"), ok},
        {R"({"method":"version","args":{"a":[[[{"b":[1]}]]]}})", R"({"data":")" VESK_VERSION_TEXT R"(","error":null})"},
    };
    for (const auto& [request, answer] : cases) {
        SCOPED_TRACE(request.substr(0, 60));
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(askText(request), answer);
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(30));
    }
}

// PoDoFo reads nested dictionaries by recursion; a file nested 20,000 levels deep overflowed any
// worker's stack in verification, format detection and every signing path. 200 levels are within
// the limit.
TEST_F(Hostile, DeeplyNestedPdfIsRefusedByEveryPath) {
    for (const bool arrays : {false, true}) {
        SCOPED_TRACE(arrays ? "arrays" : "dictionaries");
        expectDeepRefusedAndFineSigned(pdfWithPageEntries("deep", nested(20000, arrays)),
                                       pdfWithPageEntries("fine", nested(200, arrays)));
    }
}

// PoDoFo parses objects where the cross-reference data points, a scan of the file's bytes in order
// notwithstanding: out of an object stream's decoded body (here 1.7 KB of Flate data hold 20,000
// levels), or at an offset inside a stream body or a comment. Each overflowed the stack. The files
// are written by python3 (zlib for the Flate data); at 100 levels qpdf reads them.
TEST_F(Hostile, DeepObjectsOutOfSightOfAByteScanAreRefused) {
    for (const std::string mode : {"flate", "plain", "stream", "comment"}) {
        SCOPED_TRACE(mode);
        const fs::path fine = scriptedPdf(100, mode);
        expectQpdfClean(fine);
        expectDeepRefusedAndFineSigned(scriptedPdf(20000, mode), fine);
    }
}

// Stream data is no object: a stream holding 600 "<<" and no ">>" (a compressed image may) was
// refused as nested too deeply. Its /Length, direct or in an object of its own, skips it.
TEST_F(Hostile, StreamDataFullOfDictionaryMarksIsSigned) {
    for (const std::string mode : {"data", "data-indirect"}) {
        SCOPED_TRACE(mode);
        const fs::path pdf = scriptedPdf(600, mode);
        expectQpdfClean(pdf);
        const json answer = sign(pdf, dir / "signed.pdf", kPetrova);
        EXPECT_TRUE(answer["error"].is_null()) << answer.dump();
        EXPECT_EQ(verify(dir / "signed.pdf")["data"][0]["Verifyed"], true);
        judgeSignedPdf(pdf, dir / "signed.pdf", 1, stampOf(kWatermark));
        fs::remove(dir / "signed.pdf");
    }
}

// In a PDF encrypted with the empty user password the object streams are encrypted too: they are
// decrypted with the document's key and checked like any other. qpdf, which writes the files, keeps
// at most 499 levels; 450 are beyond the limit, 100 within it.
TEST_F(Hostile, DeepObjectInAnEncryptedObjectStreamIsRefused) {
    const auto encrypted = [&](int levels, const std::string& encryption) {
        const fs::path plain = pdfWithPageEntries("plain" + std::to_string(levels), nested(levels));
        const fs::path out = dir / ("encrypted" + std::to_string(levels) + ".pdf");
        produce("qpdf --object-streams=generate --encrypt '' owner " + encryption + " -- " + q(plain) + " " + q(out));
        // The page, and its nesting, are only inside an encrypted object stream.
        EXPECT_FALSE(has(readFile(out), "/Deep"));
        EXPECT_TRUE(has(runCommand("qpdf --show-xref " + q(out)).output, "compressed"));
        return out;
    };
    for (const std::string encryption : {"128 --use-aes=y", "256"}) {
        SCOPED_TRACE(encryption);
        expectDeepRefusedAndFineSigned(encrypted(450, encryption), encrypted(100, encryption));
    }
}

// A page tree whose /Count claims 2147483647 pages: stamping "every page" ran without end.
TEST_F(Hostile, PageCountTheTreeDoesNotHoldIsRefused) {
    const fs::path pdf = editedPdf("count", "/Count 2\n", "/Count 2147483647\n");
    const json refused = refusal("tr{Error on load file:} ePdfError_PageNotFound");
    EXPECT_EQ(sign(pdf, dir / "signed.pdf", kPetrova, "PAdES", -2), refused);
    EXPECT_EQ(sign(pdf, dir / "attached.sig", kPetrova, "Attached", -2), refused);
    EXPECT_FALSE(fs::exists(dir / "signed.pdf"));
}

// ByteRange values at the ends of the 64-bit range overflowed the verifier's arithmetic. They
// lie outside the file: nothing is read from them, and the answer says the signature is bad.
TEST_F(Hostile, ByteRangeNearTheIntegerLimitsIsAnsweredSafely) {
    for (const std::string range :
         {"0 9223372036854775807 9223372036854775807 9223372036854775807",
          "-9223372036854775808 -9223372036854775808 -9223372036854775808 -9223372036854775808",
          "9223372036854775807 -9223372036854775808 -9223372036854775808 9223372036854775807"}) {
        SCOPED_TRACE(range);
        const json answer = verify(pdfWithPageEntries("range", "/ByteRange [" + range + "] /Contents <3000>"));
        EXPECT_TRUE(answer["data"].is_null() && !answer["error"].is_null()) << answer.dump();
    }
}

// Two plugin objects signing PDFs on two threads at once, as the host may run them: PoDoFo's
// shared encoding tables are built once beforehand, so the threads only read them.
TEST_F(Hostile, TwoPluginsSignPdfsOnTwoThreads) {
    ModuleClient second;
    const auto file = [&](const char* kind, int i) { return dir / (kind + std::to_string(i) + ".pdf"); };
    for (int i = 0; i < 4; ++i) makePdf(file("t", i));
    json answers[4];
    const auto signTwo = [&](int from, const char* serial, ModuleClient* module) {
        for (int i = from; i < from + 2; ++i)
            answers[i] = sign(file("t", i), file("s", i), serial, "PAdES", -2, module);
    };
    std::thread one(signTwo, 0, kPetrova, &client), two(signTwo, 2, kIvanov, &second);
    one.join();
    two.join();
    for (int i = 0; i < 4; ++i) {
        SCOPED_TRACE(i);
        EXPECT_TRUE(answers[i]["error"].is_null()) << answers[i].dump();
        EXPECT_EQ(verify(file("s", i))["data"][0]["SerialNumber"], i < 2 ? kPetrova : kIvanov);
        judgeSignedPdf(file("t", i), file("s", i), 1, stampOf({{"page", -2}, {"strings", kWatermark["strings"]}}));
    }
}

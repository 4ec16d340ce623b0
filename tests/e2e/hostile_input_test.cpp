// Hostile requests and files through the module, each run on a thread with a 512 KiB stack, the
// kind many hosts give their workers: every one must be answered, in bounded time.

#include "ModuleClient.h"
#include "SignedInputs.h"

#include "support/Process.h"
#include "support/TempHome.h"

#include <gtest/gtest.h>

#include <pthread.h>

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

#if defined(__SANITIZE_ADDRESS__)
// AddressSanitizer surrounds every local with guard zones, which makes the module's recursive frames
// several times larger (the JSON serializer's grow to about 3 KB a level), so the stack grows with
// them; PoDoFo itself is not instrumented.
constexpr size_t kWorkerStack = 4 * 512 * 1024;
#else
constexpr size_t kWorkerStack = 512 * 1024;
#endif

// Runs `work` on a thread with a 512 KiB stack. A run that does not end within the limit stops
// the test program: a hang must fail, not stall the suite.
void onSmallStack(const std::function<void()>& work, std::chrono::seconds limit = std::chrono::seconds(120)) {
    struct Job {
        std::function<void()> work;
        std::promise<void> done;
    } job{work, {}};
    auto finished = job.done.get_future();
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, kWorkerStack);
    pthread_t thread;
    const int created = pthread_create(
        &thread, &attributes,
        [](void* arg) -> void* {
            auto* running = static_cast<Job*>(arg);
            try {
                running->work();
            } catch (const std::exception& e) {
                ADD_FAILURE() << "exception: " << e.what();
            }
            running->done.set_value();
            return nullptr;
        },
        &job);
    pthread_attr_destroy(&attributes);
    ASSERT_EQ(created, 0);
    if (finished.wait_for(limit) != std::future_status::ready) {
        std::fprintf(stderr, "a request did not end within %lld s\n", static_cast<long long>(limit.count()));
        std::abort();
    }
    pthread_join(thread, nullptr);
}

std::string q(const fs::path& path) { return shellQuote(path.string()); }

json errorAnswer(const std::string& message) { return {{"data", nullptr}, {"error", json::array({message})}}; }

class Hostile : public ::testing::Test {
protected:
    void SetUp() override {
        useCadesLibrary(CADES_EMULATOR_PATH);
        dir = makeTempDir("hostile");
    }

    json ask(ModuleClient& module, const json& request) {
        std::string answer;
        onSmallStack([&] { answer = module.request(request.dump()); });
        return json::parse(answer);
    }
    std::string askText(const std::string& request) {
        std::string answer;
        onSmallStack([&] { answer = client.request(request); });
        return answer;
    }
    json sign(const fs::path& file, const fs::path& output, const std::string& searchString,
              const std::string& attachType = "PAdES", int page = -1, ModuleClient* module = nullptr) {
        const json watermark = {{"page", page}, {"strings", {{{"text", "Подписано: Петрова М. С."}}}}};
        return ask(module != nullptr ? *module : client,
                   signRequest(file.string(), output.string(), attachType, searchString, {{"watermark", watermark}}));
    }
    json verify(const fs::path& file) {
        return ask(client, {{"method", "verify"}, {"args", {{"file", b64(file.string())}}}});
    }
    // A file nested too deeply is not taken for a signed PDF, and not signed.
    void expectRefusedAsTooDeep(const fs::path& pdf) {
        EXPECT_EQ(verify(pdf), errorAnswer("tr{This PDF file does not contain a signature.}"));
        EXPECT_EQ(sign(pdf, dir / "signed.pdf", kPetrova, "PAdES"),
                  errorAnswer("tr{Error on load file:} ePdfError_BrokenFile"));
        EXPECT_FALSE(fs::exists(dir / "signed.pdf"));
    }
    // A file within the limits is signed as PAdES, verified, and read by qpdf afterwards.
    void expectSignedAndReadable(const fs::path& pdf) {
        const fs::path out = dir / "fine-signed.pdf";
        const json answer = sign(pdf, out, kPetrova, "PAdES");
        EXPECT_TRUE(answer["error"].is_null()) << answer.dump();
        EXPECT_EQ(verify(out)["data"][0]["SerialNumber"], kPetrova);
        EXPECT_EQ(runCommand("qpdf --check " + q(out) + " >/dev/null 2>&1").exitCode, 0);
        fs::remove(out);
    }

    // A sample PDF rewritten by qpdf in its editable form, changed by `edit`, and made whole
    // again (offsets, lengths) by qpdf's fix-qdf.
    fs::path editedPdf(const std::string& name, const std::function<void(std::string&)>& edit) {
        const fs::path plain = dir / (name + ".plain.pdf");
        const fs::path qdf = dir / (name + ".qdf");
        makePdf(plain);
        EXPECT_EQ(runCommand("qpdf --qdf --object-streams=disable " + q(plain) + " " + q(qdf)).exitCode, 0);
        std::string text = readFile(qdf);
        edit(text);
        writeBytes(qdf, text);
        const fs::path out = dir / (name + ".pdf");
        EXPECT_EQ(runCommand("fix-qdf " + q(qdf) + " > " + q(out)).exitCode, 0);
        return out;
    }
    // Adds `entries` to the first page's dictionary.
    fs::path pdfWithPageEntries(const std::string& name, const std::string& entries) {
        return editedPdf(name, [&](std::string& text) {
            const auto page = text.find("  /Type /Page\n");
            ASSERT_NE(page, std::string::npos);
            text.insert(page, "  " + entries + "\n");
        });
    }

    ModuleClient client;
    fs::path dir;
};

}  // namespace

// The search string names the signature field; bytes that are not UTF-8 (CP1251, a UTF-16 byte
// order mark) made PoDoFo read past its buffer. They are refused before the PDF is touched.
TEST_F(Hostile, SearchStringThatIsNotUtf8IsRefused) {
    const fs::path pdf = dir / "doc.pdf";
    makePdf(pdf);
    const std::string original = readFile(pdf);
    for (const std::string& bad :
         {std::string("\xcf\xe5\xf2\xf0\xee\xe2\xe0"), std::string("\xff\xfe"), std::string("0x4512\xc0\xaf")}) {
        for (const int page : {0, -2}) {
            EXPECT_EQ(sign(pdf, dir / "out.pdf", bad, "PAdES", page),
                      errorAnswer("tr{Text is not UTF-8:} search_string"));
            EXPECT_FALSE(fs::exists(dir / "out.pdf"));
            EXPECT_EQ(readFile(pdf), original);
        }
    }
    // The reason and the stamp lines are JSON strings, which the request reader already requires to
    // be UTF-8: such bytes there are refused with the reader's own error.
    const std::string rawReason = R"({"method":"sign","args":{"file":")" + b64(pdf.string()) +
                                  R"(","reason":"\xcf\xe5\xf2","sign_info":{"attach_type":"PAdES"}}})";
    const json refused = json::parse(askText(rawReason));
    EXPECT_EQ(refused["error"][0].get<std::string>().rfind("tr{JSON Exception:} [json.exception.parse_error.101]", 0),
              0u)
        << refused.dump();
    EXPECT_EQ(readFile(pdf), original);

    // UTF-8 Cyrillic names the field as before, and the signature verifies.
    const json answer = sign(pdf, dir / "ok.pdf", "Петрова");
    ASSERT_TRUE(answer["error"].is_null()) << answer.dump();
    EXPECT_EQ(verify(dir / "ok.pdf")["data"][0]["SerialNumber"], kPetrova);
    EXPECT_NE(runCommand("pdfsig " + q(dir / "ok.pdf") + " 2>&1").output.find("Sign_Петрова"), std::string::npos);
}

// Deep nesting overflowed the stack in the copies and dumps of "args"; it is refused while
// parsing, and requests within the limit answer as before.
TEST_F(Hostile, JsonNestedDeeperThan512LevelsIsRefused) {
    const auto logRequest = [](int arrays) {
        return R"({"method":"log","args":{"a":)" + std::string(arrays, '[') + std::string(arrays, ']') + "}}";
    };
    // The envelope and "args" are two levels: 510 arrays make 512.
    EXPECT_EQ(askText(logRequest(510)), R"({"data":null,"error":null})");
    const json refused =
        errorAnswer("tr{JSON Exception:} [json.exception.parse_error.101] parse error: nesting deeper than 512 levels");
    EXPECT_EQ(json::parse(askText(logRequest(511))), refused);
    EXPECT_EQ(json::parse(askText(logRequest(100000))), refused);
    const std::string deepObject = R"({"method":"verify","args":{"document":"QQ==","x":)" + [] {
        std::string s;
        for (int i = 0; i < 100000; ++i) s += R"({"k":)";
        return s + "1" + std::string(100000, '}');
    }() + "}}";
    EXPECT_EQ(json::parse(askText(deepObject)), refused);

    // 510 levels of arrays around many numbers: the indented log record stays bounded.
    const std::string wide = R"({"method":"log","args":{"a":)" + std::string(510, '[') +
                             [] {
                                 std::string s;
                                 for (int i = 0; i < 20000; ++i) s += "1,";
                                 return s + "1";
                             }() +
                             std::string(510, ']') + "}}";
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(askText(wide), R"({"data":null,"error":null})");
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));

    // An ordinary request answers as it always did.
    EXPECT_EQ(askText(R"({"method":"version","args":{"a":[[[{"b":[1]}]]]}})"),
              R"({"data":"1.0.6-2604291700","error":null})");
}

// PoDoFo reads nested dictionaries by recursion; a file nested 20,000 levels deep overflowed any
// worker's stack in verification, format detection and every signing path.
TEST_F(Hostile, DeeplyNestedPdfIsRefusedByEveryPath) {
    const auto nested = [](int levels, bool arrays) {
        std::string s = "/Deep ";
        for (int i = 0; i < levels; ++i) s += arrays ? "[ " : "<< /A ";
        s += "1";
        for (int i = 0; i < levels; ++i) s += arrays ? " ]" : " >>";
        return s;
    };
    const json loadError = errorAnswer("tr{Error on load file:} ePdfError_BrokenFile");
    for (const bool arrays : {false, true}) {
        SCOPED_TRACE(arrays ? "arrays" : "dictionaries");
        const fs::path deep = pdfWithPageEntries("deep", nested(20000, arrays));
        EXPECT_EQ(verify(deep), errorAnswer("tr{This PDF file does not contain a signature.}"));
        EXPECT_EQ(sign(deep, dir / "signed.pdf", kPetrova, "PAdES"), loadError);
        EXPECT_EQ(sign(deep, dir / "attached.sig", kPetrova, "Attached"), loadError);
        EXPECT_EQ(sign(deep, dir / "deep.pdf.sgn", kPetrova, "Detached"), loadError);
        EXPECT_FALSE(fs::exists(dir / "signed.pdf"));
        EXPECT_TRUE(fs::exists(deep));

        // 200 levels are within the limit: the file is signed, and qpdf reads the result.
        const fs::path fine = pdfWithPageEntries("fine", nested(200, arrays));
        expectSignedAndReadable(fine);
    }
}

// PoDoFo parses objects where the cross-reference data points, a scan of the file's bytes in order
// notwithstanding: out of an object stream's decoded body (here 1.7 KB of Flate data hold 20,000
// levels), or at an offset inside a stream body or a comment. Each overflowed the stack. The files
// are written by python3 (zlib for the Flate data).
TEST_F(Hostile, DeepObjectsOutOfSightOfAByteScanAreRefused) {
    const char* script = R"PY(
import struct, sys, zlib
levels, mode, out = int(sys.argv[1]), sys.argv[2], sys.argv[3]
deep = b"<< /A " * levels + b"1" + b" >>" * levels
parts, offsets = [b"%PDF-1.5\n%\xe2\xe3\xcf\xd3\n"], {}
def size(): return sum(map(len, parts))
def add(number, text):
    offsets[number] = size()
    parts.append(b"%d 0 obj\n" % number + text + b"\nendobj\n")
add(1, b"<< /Type /Catalog /Pages 2 0 R >>")
add(2, b"<< /Type /Pages /Kids [3 0 R] /Count 1 >>")
add(3, b"<< /Type /Page /Parent 2 0 R /MediaBox [0 0 200 200] /Resources << >> /Contents 7 0 R /Deep 5 0 R >>")
if mode in ("flate", "plain"):
    add(7, b"<< /Length 4 >>\nstream\nq Q\n\nendstream")
    body = b"5 0 " + deep
    coded = zlib.compress(body, 9) if mode == "flate" else body
    add(4, b"<< /Type /ObjStm /N 1 /First 4 " + (b"/Filter /FlateDecode " if mode == "flate" else b"") +
        b"/Length %d >>\nstream\n" % len(coded) + coded + b"\nendstream")
    kinds = {5: (2, 4, 0)}
elif mode == "stream":
    hidden = b"q Q\n5 0 obj\n" + deep + b"\nendobj\n"
    head = b"7 0 obj\n<< /Length %d >>\nstream\n" % len(hidden)
    offsets[7], offsets[5] = size(), size() + len(head) + 4
    parts.append(head + hidden + b"\nendstream\nendobj\n")
    kinds = {4: (0, 0, 0)}
else:
    add(7, b"<< /Length 4 >>\nstream\nq Q\n\nendstream")
    offsets[5] = size() + 1
    parts.append(b"%5 0 obj " + deep + b" endobj\n")
    kinds = {4: (0, 0, 0)}
offsets[6] = size()
rows = b"".join(struct.pack(">BIH", *kinds.get(n, (0, 0, 65535) if n == 0 else (1, offsets.get(n, 0), 0))) for n in range(8))
parts.append(b"6 0 obj\n<< /Type /XRef /Size 8 /W [1 4 2] /Root 1 0 R /Length %d >>\nstream\n" % len(rows) +
             rows + b"\nendstream\nendobj\nstartxref\n%d\n%%%%EOF\n" % offsets[6])
open(out, "wb").write(b"".join(parts))
)PY";
    writeBytes(dir / "hide.py", script);
    const auto make = [&](int levels, const std::string& mode) {
        const fs::path pdf = dir / (mode + std::to_string(levels) + ".pdf");
        EXPECT_EQ(runCommand("python3 " + q(dir / "hide.py") + " " + std::to_string(levels) + " " + mode + " " + q(pdf))
                      .exitCode,
                  0);
        return pdf;
    };
    for (const std::string mode : {"flate", "plain", "stream", "comment"}) {
        SCOPED_TRACE(mode);
        const fs::path deep = make(20000, mode);
        expectRefusedAsTooDeep(deep);

        // 100 levels are within the limits: qpdf reads the file, and the module signs it.
        const fs::path fine = make(100, mode);
        EXPECT_EQ(runCommand("qpdf --check " + q(fine) + " >/dev/null 2>&1").exitCode, 0);
        expectSignedAndReadable(fine);
    }
}

// In a PDF encrypted with the empty user password the object streams are encrypted too: they are
// decrypted with the document's key and checked like any other. qpdf, which writes the files, keeps
// at most 499 levels; 450 are beyond the limit, 100 within it.
TEST_F(Hostile, DeepObjectInAnEncryptedObjectStreamIsRefused) {
    const auto encrypted = [&](int levels, const std::string& encryption) {
        std::string opening, closing;
        for (int i = 0; i < levels; ++i) opening += "<< /A ", closing += " >>";
        const std::string deep = "/Deep " + opening + "1" + closing;
        const fs::path plain = pdfWithPageEntries("plain" + std::to_string(levels), deep);
        const fs::path out = dir / ("encrypted" + std::to_string(levels) + ".pdf");
        const auto made = runCommand("qpdf --object-streams=generate --encrypt '' owner " + encryption + " -- " +
                                     q(plain) + " " + q(out) + " 2>&1");
        EXPECT_EQ(made.exitCode, 0) << made.output;
        // The page, and its nesting, are only inside an encrypted object stream.
        EXPECT_EQ(readFile(out).find("/Deep"), std::string::npos);
        EXPECT_NE(runCommand("qpdf --show-xref " + q(out)).output.find("compressed"), std::string::npos);
        return out;
    };
    for (const std::string encryption : {"128 --use-aes=y", "256"}) {
        SCOPED_TRACE(encryption);
        const fs::path deep = encrypted(450, encryption);
        expectRefusedAsTooDeep(deep);

        const fs::path fine = encrypted(100, encryption);
        expectSignedAndReadable(fine);
    }
}

// A page tree whose /Count claims 2147483647 pages: stamping "every page" ran without end.
TEST_F(Hostile, PageCountTheTreeDoesNotHoldIsRefused) {
    const fs::path pdf = editedPdf("count", [](std::string& text) {
        const auto count = text.find("/Count 2\n");
        ASSERT_NE(count, std::string::npos);
        text.replace(count, 9, "/Count 2147483647\n");
    });
    const json refused = errorAnswer("tr{Error on load file:} ePdfError_PageNotFound");
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
        const fs::path pdf = pdfWithPageEntries("range", "/ByteRange [" + range + "] /Contents <3000>");
        const json answer = verify(pdf);
        EXPECT_TRUE(answer["data"].is_null()) << answer.dump();
        EXPECT_FALSE(answer["error"].is_null()) << answer.dump();
    }
}

// Two plugin objects signing PDFs on two threads at once, as the host may run them: PoDoFo's
// shared encoding tables are built once beforehand, so the threads only read them.
TEST_F(Hostile, TwoPluginsSignPdfsOnTwoThreads) {
    ModuleClient second;
    std::vector<fs::path> inputs;
    for (int i = 0; i < 4; ++i) {
        inputs.push_back(dir / ("t" + std::to_string(i) + ".pdf"));
        makePdf(inputs.back());
    }
    json answers[2][2];
    std::thread one([&] {
        for (int i = 0; i < 2; ++i)
            answers[0][i] = sign(inputs[i], dir / ("s" + std::to_string(i) + ".pdf"), kPetrova, "PAdES", -2);
    });
    std::thread two([&] {
        for (int i = 0; i < 2; ++i)
            answers[1][i] =
                sign(inputs[2 + i], dir / ("s" + std::to_string(2 + i) + ".pdf"), kIvanov, "PAdES", -2, &second);
    });
    one.join();
    two.join();
    for (int i = 0; i < 4; ++i) {
        SCOPED_TRACE(i);
        EXPECT_TRUE(answers[i / 2][i % 2]["error"].is_null()) << answers[i / 2][i % 2].dump();
        const fs::path out = dir / ("s" + std::to_string(i) + ".pdf");
        EXPECT_EQ(verify(out)["data"][0]["SerialNumber"], i < 2 ? kPetrova : kIvanov);
        EXPECT_EQ(runCommand("qpdf --check " + q(out) + " >/dev/null 2>&1").exitCode, 0);
    }
}

// The user's files through the module: a file named another way, links, owners, base64 texts,
// stamped PDFs, failed signings, missing outputs, things that are no files, and a kill in the
// middle of a write. Judged by openssl, qpdf, pdfsig, python3 and the file system itself.

#include "ModuleClient.h"
#include "SignedInputs.h"

#include "support/Process.h"
#include "support/TempHome.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <set>
#include <thread>

extern char** environ;

using namespace vesk::test;
using nlohmann::json;
namespace fs = std::filesystem;

namespace {

std::set<std::string> namesIn(const fs::path& folder) {
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder)) names.insert(entry.path().filename().string());
    return names;
}

struct stat statOf(const fs::path& path) {
    struct stat info {};
    EXPECT_EQ(::lstat(path.c_str(), &info), 0) << path;
    return info;
}

const json kSaved = {{"data", true}, {"error", nullptr}};

class FileSafety : public ::testing::Test {
protected:
    void SetUp() override { useCadesLibrary(CADES_EMULATOR_PATH); }

    json sign(const fs::path& file, const fs::path& out, const std::string& type, json extra = json::object()) {
        return client.requestJson(signRequest(file.string(), out.string(), type, kIvanov, extra));
    }
    json saveFile(const fs::path& file, const std::string& text) {
        return client.call("save_file", {{"file", b64(file.string())}, {"data", text}});
    }
    // The content of an attached signature, as openssl reads it.
    std::string signedContent(const fs::path& signature) {
        const fs::path out = scratch / "content";
        return opensslVerifies(signature, {}, out) ? readFile(out) : "<not verified>";
    }

    ModuleClient client;
    fs::path dir = makeTempDir("safety");
    fs::path scratch = makeTempDir("scratch");  // the tests' own files, apart from the user's folder
};

}  // namespace

// An attached signing whose output names the input another way writes the signature over the
// input and removes nothing: the signature holds the content.
TEST_F(FileSafety, AttachedOutputThatIsTheInputUnderAnotherSpelling) {
    const fs::path linkedFolder = dir.parent_path() / (dir.filename().string() + "-link");
    fs::create_directory_symlink(dir, linkedFolder);
    // Through ".", "..", a linked folder, and a link to the file.
    for (const fs::path& output :
         {dir / "." / "a.txt", dir / ".." / dir.filename() / "a.txt", linkedFolder / "a.txt", dir / "alias.txt"}) {
        SCOPED_TRACE(output);
        const fs::path file = writeBytes(dir / "a.txt", "Договор поставки, " + output.string());
        if (output.filename() == "alias.txt") fs::create_symlink("a.txt", output);
        EXPECT_EQ(sign(file, output, "Attached"), answerWith(output));
        EXPECT_EQ(signedContent(file), "Договор поставки, " + output.string());  // also fails when the input is gone
        EXPECT_TRUE(output.filename() != "alias.txt" || fs::is_symlink(output));
    }
}

// A detached signing whose output is the input another way goes beside the input as NAME.sgn;
// a signature written through a symlink leaves the link a link.
TEST_F(FileSafety, DetachedOutputThatIsTheInputAndOutputsThroughLinks) {
    const fs::path file = writeBytes(dir / "act.txt", "Акт");
    EXPECT_EQ(sign(file, dir / "." / "act.txt", "Detached"), answerWith(dir / "act.txt.sgn"));
    EXPECT_EQ(readFile(file), "Акт");
    EXPECT_TRUE(opensslVerifies(dir / "act.txt.sgn", file));

    const fs::path store = makeTempDir("store");
    writeBytes(store / "act.txt.p7s", "old signature");
    fs::create_symlink(store / "act.txt.p7s", dir / "act.txt.p7s");
    fs::remove(dir / "act.txt.sgn");
    EXPECT_EQ(sign(file, dir / "act.txt.p7s", "Detached"), answerWith(dir / "act.txt.p7s"));
    EXPECT_TRUE(fs::is_symlink(dir / "act.txt.p7s"));
    EXPECT_TRUE(opensslVerifies(store / "act.txt.p7s", file));
}

// save_file and signatures replace a file keeping its other names, its owner and its mode, and
// still succeed where only the file (not its folder) may be written.
TEST_F(FileSafety, ReplacedFilesKeepHardLinksOwnerAndMode) {
    const fs::path file = writeBytes(dir / "doc.txt", "old");
    fs::create_hard_link(file, dir / "other-name.txt");
    const ino_t inode = statOf(file).st_ino;
    EXPECT_EQ(saveFile(file, b64("new content")), kSaved);
    EXPECT_EQ(readFile(dir / "other-name.txt"), "new content");
    EXPECT_EQ(std::pair(statOf(file).st_ino, statOf(file).st_nlink), std::pair(inode, nlink_t{2}));

    // An attached signature over a hard-linked output: both names hold the signature.
    const fs::path input = writeBytes(dir / "input.txt", "подписываемое");
    EXPECT_EQ(sign(input, file, "Attached"), answerWith(file));
    EXPECT_EQ(signedContent(dir / "other-name.txt"), "подписываемое");
    EXPECT_FALSE(fs::exists(input));

    const fs::path owned = writeBytes(dir / "owned.txt", "old");
    ASSERT_EQ(::chmod(owned.c_str(), 0604), 0);
    ASSERT_EQ(::geteuid() == 0 ? ::chown(owned.c_str(), 4321, 4322) : 0, 0);
    const struct stat was = statOf(owned);
    EXPECT_EQ(saveFile(owned, b64("new")), kSaved);
    EXPECT_EQ(readFile(owned), "new");
    const struct stat now = statOf(owned);
    EXPECT_EQ(std::tie(now.st_mode, now.st_uid, now.st_gid), std::tie(was.st_mode, was.st_uid, was.st_gid));
    EXPECT_EQ(namesIn(dir), (std::set<std::string>{"doc.txt", "other-name.txt", "owned.txt"}));
}

TEST_F(FileSafety, FileWritableInAFolderThatIsNot) {
    const fs::path folder = makeTempDir("locked");
    const fs::path file = folder / "shared.txt";
    writeBytes(file, "old");
    ASSERT_EQ(::chmod(file.c_str(), 0666), 0);
    // Root may write any folder, so the writer drops to an unprivileged user in a child process.
    const bool root = ::geteuid() == 0;
    ASSERT_EQ(::chmod(folder.c_str(), root ? 0755 : 0555), 0);
    client.request(R"({"method":"version","args":{}})");  // the module and its log are set up before the fork
    fs::permissions(tempHome(), fs::perms::others_exec, fs::perm_options::add);  // the way in
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        if (root && (::setgid(65534) != 0 || ::setuid(65534) != 0)) ::_exit(3);
        if (::access(folder.c_str(), W_OK) == 0) ::_exit(4);  // the folder must really be closed
        ::_exit(saveFile(file, b64("new")) == kSaved ? 0 : 1);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    ::chmod(folder.c_str(), 0755);
    EXPECT_EQ(status, 0);  // exited, with 0
    EXPECT_EQ(readFile(file), "new");
    EXPECT_EQ(namesIn(folder), std::set<std::string>{"shared.txt"});
}

// Temporaries of ours left by a writer that was killed go with the next write in their folder,
// in the form older versions named them too; those of a writer still running stay.
TEST_F(FileSafety, StaleTemporariesOfKilledWritersAreCleaned) {
    const pid_t gone = ::fork();
    if (gone == 0) ::_exit(0);
    ::waitpid(gone, nullptr, 0);
    char running[32], stale[32];
    std::snprintf(running, sizeof(running), ".vesk-%010d-abcdefghij", static_cast<int>(::getppid()));
    std::snprintf(stale, sizeof(stale), ".vesk-%010d-abcdefghij", static_cast<int>(gone));
    for (const std::string& name : {std::string(stale), ".doc.txt.vesk-" + std::to_string(gone) + "-abcdefghij",
                                    std::string(running), std::string(".doc.txt.vesk-notapid")})
        writeBytes(dir / name, "half written");
    EXPECT_EQ(saveFile(dir / "doc.txt", b64("content")), kSaved);
    EXPECT_EQ(namesIn(dir), (std::set<std::string>{"doc.txt", running, ".doc.txt.vesk-notapid"}));
}

// Names up to the system's limit of 255 bytes, ASCII or Cyrillic, are replaced in place by each
// writer: the temporary beside them has a short name of its own.
TEST_F(FileSafety, LongNamesAreReplacedInPlace) {
    const auto longName = [](size_t bytes, bool cyrillic, const std::string& ending) {
        std::string name;
        while (name.size() + ending.size() + (cyrillic ? 2 : 1) <= bytes) name += cyrillic ? "д" : "a";
        name.resize(bytes - ending.size(), 'a');  // an odd length left by two-byte letters
        return name + ending;
    };
    for (const size_t bytes : {240u, 250u, 255u}) {
        for (const bool cyrillic : {false, true}) {
            SCOPED_TRACE(std::to_string(bytes) + (cyrillic ? " bytes, Cyrillic" : " bytes, ASCII"));
            const fs::path folder = makeTempDir("long");
            const fs::path saved = writeBytes(folder / longName(bytes, cyrillic, ".txt"), "old");
            EXPECT_EQ(saveFile(saved, b64("new")), kSaved);
            EXPECT_EQ(readFile(saved), "new");

            const fs::path document = writeBytes(folder / longName(bytes - 4, cyrillic, ".txt"), "Договор");
            const fs::path signature = document.string() + ".sgn";
            for (int round = 0; round < 2; ++round)  // the second replaces the first
                EXPECT_EQ(sign(document, signature, "Detached"), answerWith(signature));
            EXPECT_TRUE(opensslVerifies(signature, document));

            const fs::path pdf = folder / longName(bytes, cyrillic, ".pdf");
            makePdf(scratch / "doc.pdf", 1);  // the maker's own temporary would not fit beside the long name
            fs::rename(scratch / "doc.pdf", pdf);
            EXPECT_EQ(sign(pdf, pdf, "PAdES"), answerWith(pdf));
            EXPECT_EQ(opensslVerifiedPdfSignatures(pdf, scratch), 1);
            EXPECT_EQ(namesIn(folder), (std::set<std::string>{saved.filename(), document.filename(),
                                                              signature.filename(), pdf.filename()}));
        }
    }
}

// Base64 texts decode to every byte they carry, as an independent decoder (python3) reads them.
TEST_F(FileSafety, UnpaddedBase64KeepsEveryByte) {
    std::string small, large;
    for (int i = 0; i < 100; ++i) small += static_cast<char>(i * 37 + 11);
    for (int i = 0; i < 300000; ++i) large += static_cast<char>(i * 7 + i / 251);
    const std::string unpadded = b64(small).substr(0, b64(small).find('='));
    ASSERT_EQ(unpadded.size() % 4, 2u);
    // A text of several of the decoder's blocks that ends inside one of them.
    const std::string largeText = b64(large).replace(150001, 1, "\n");
    // python's decoder, given the alphabet characters up to the first other one (a lone last
    // character stands for no byte). The small text goes last: its bytes are signed below.
    const std::string decode =
        "python3 -c \"import base64,re,sys; t=re.match('[A-Za-z0-9+/]*', open(sys.argv[1]).read()).group(0); "
        "t=t[:len(t)-(len(t)%4==1)]; open(sys.argv[2],'wb').write(base64.b64decode(t + '=' * (-len(t) % 4)))\" ";
    for (const auto& [text, size] : {std::pair{largeText, 150000u / 4 * 3}, {unpadded, 100u}}) {
        writeBytes(scratch / "text.b64", text);
        ASSERT_EQ(runCommand(decode + q(scratch / "text.b64") + " " + q(scratch / "expected.bin")).exitCode, 0);
        EXPECT_EQ(saveFile(dir / "saved.bin", text), kSaved);
        EXPECT_EQ(runCommand("cmp " + q(dir / "saved.bin") + " " + q(scratch / "expected.bin")).exitCode, 0);
        EXPECT_EQ(fs::file_size(dir / "saved.bin"), size);
    }

    // Decoding stops at the first character outside the alphabet, or at padding, keeping what came before.
    for (const auto& [text, bytes] :
         {std::pair{"YWI", "ab"}, {"YWJj*ZGVm", "abc"}, {"YWJj\nZGVm", "abc"}, {"YWI=ZGVm", "ab"}}) {
        EXPECT_EQ(saveFile(dir / "short", text), kSaved);
        EXPECT_EQ(readFile(dir / "short"), bytes) << text;
    }

    // Inline data signed in full.
    const json info = signRequest("", "", "Attached", kIvanov)["args"]["sign_info"];
    const json answer = client.call("sign", {{"document", unpadded}, {"sign_info", info}});
    ASSERT_TRUE(answer["error"].is_null()) << answer.dump();
    writeBytes(scratch / "inline.p7s", unb64(answer["data"]));
    ASSERT_TRUE(opensslVerifies(scratch / "inline.p7s", {}, scratch / "signed.bin"));
    EXPECT_EQ(runCommand("cmp " + q(scratch / "signed.bin") + " " + q(scratch / "expected.bin")).exitCode, 0);
}

// A stamped PDF signed detached: the stamp is an incremental update, so a signature already in
// the PDF stays valid; the stamped PDF goes only to the original its signature names, and no
// working copy is left.
TEST_F(FileSafety, StampedPdfSignedDetached) {
    const json stamp = {{"watermark", {{"strings", {{{"text", "Подписано: <sign_date: 21.11.2026>"}}}}, {"page", -1}}}};
    makePdf(dir / "plain.pdf");
    pdfsigSign(dir / "plain.pdf", dir / "report.pdf", "Approval");
    const std::string before = readFile(dir / "report.pdf");
    const fs::path unstamped = makeTempDir("unstamped") / "report.pdf";
    fs::copy_file(dir / "report.pdf", unstamped);

    EXPECT_EQ(sign(dir / "report.pdf", dir / "." / "report.pdf", "Detached", stamp),
              answerWith(dir / "report.pdf.sgn"));
    const std::string after = readFile(dir / "report.pdf");
    EXPECT_GT(after.size(), before.size());
    EXPECT_EQ(after.compare(0, before.size(), before), 0) << "the earlier revision changed";
    const std::string listing = runCommand("pdfsig " + q(dir / "report.pdf") + " 2>&1").output;
    for (const char* line : {"Signature Field Name: Approval", "Signature Validation: Signature is Valid."})
        EXPECT_NE(listing.find(line), std::string::npos) << listing;
    judgeWrittenPdf(unstamped, dir / "report.pdf", stampOf(stamp["watermark"], "Подписано: 21.11.2026"));
    expectQpdfClean(dir / "report.pdf");
    const std::string text = runCommand("pdftotext " + q(dir / "report.pdf") + " -").output;
    for (const char* shown : {"Подписано:", "21.11.2026", "Договор"})
        EXPECT_NE(text.find(shown), std::string::npos) << shown;
    EXPECT_EQ(text.find("sign_date"), std::string::npos) << text;
    EXPECT_TRUE(opensslVerifies(dir / "report.pdf.sgn", dir / "report.pdf"));
    EXPECT_EQ(namesIn(dir), (std::set<std::string>{"plain.pdf", "report.pdf", "report.pdf.sgn"}));

    // Into another folder, where a different doc.pdf already lies: refused before anything is written.
    const fs::path a = makeTempDir("a"), b = makeTempDir("b");
    makePdf(a / "doc.pdf");
    const std::string input = readFile(a / "doc.pdf");
    writeBytes(b / "doc.pdf", "someone else's PDF");
    EXPECT_EQ(sign(a / "doc.pdf", b / "doc.pdf.sgn", "Detached", stamp),
              failed({"tr{Рядом с подписью уже есть другой файл, он не будет заменен PDF со штампом:} " +
                      (b / "doc.pdf").string()}));
    EXPECT_EQ(readFile(b / "doc.pdf"), "someone else's PDF");
    EXPECT_EQ(namesIn(b), std::set<std::string>{"doc.pdf"});

    // With no doc.pdf there, the stamped PDF becomes the original beside its signature.
    fs::remove(b / "doc.pdf");
    EXPECT_EQ(sign(a / "doc.pdf", b / "doc.pdf.sgn", "Detached", stamp), answerWith(b / "doc.pdf.sgn"));
    EXPECT_TRUE(opensslVerifies(b / "doc.pdf.sgn", b / "doc.pdf"));
    EXPECT_EQ(readFile(b / "doc.pdf").compare(0, input.size(), input), 0);

    // A signature name that names no original: refused, the answer never names a PDF as a signature.
    EXPECT_EQ(sign(a / "doc.pdf", b / "signature.bin", "Detached", stamp),
              failed({"tr{Открепленная подпись PDF со штампом должна иметь расширение .sgn, .p7s, .sig или .dat:} " +
                      (b / "signature.bin").string()}));
    EXPECT_FALSE(fs::exists(b / "signature.bin"));
    // No signing above touched the input.
    EXPECT_EQ(readFile(a / "doc.pdf"), input);
    EXPECT_EQ(namesIn(a), std::set<std::string>{"doc.pdf"});
}

// A failed PAdES signing still answers success and writes the PDF (as it always has), but its
// signature hole holds hex zeros: the PDF is well-formed and its signature reads as not verified.
TEST_F(FileSafety, FailedPadesSigningLeavesAWellFormedPdf) {
    makePdf(dir / "contract.pdf");
    const std::string input = readFile(dir / "contract.pdf");
    const fs::path output = dir / "signed.pdf";
    for (const auto& [name, extra] : std::vector<std::pair<std::string, json>>{
             {"unknown certificate", {{"search_string", b64("no such certificate")}}},
             {"X-Long without a time-stamp address", {{"cades_type", "CadesXLongType1"}}}}) {
        SCOPED_TRACE(name);
        EXPECT_EQ(sign(dir / "contract.pdf", output, "PAdES", extra), answerWith(output));
        const std::string pdf = readFile(output);
        EXPECT_EQ(pdf.compare(0, input.size(), input), 0);
        const auto signatures = pdfSignatures(pdf);
        ASSERT_EQ(signatures.size(), 1u);
        EXPECT_TRUE(signatures[0].wellFormed);
        EXPECT_GE(signatures[0].der.size(), 16344u);
        EXPECT_EQ(signatures[0].der, std::string(signatures[0].der.size(), '\0')) << "a hole of hex zeros";
        judgeWrittenPdf(dir / "contract.pdf", output);
        expectQpdfClean(output);
        // Zeros are no signature message: the signature is reported as not verified, nothing more.
        EXPECT_EQ(client.call("verify", {{"file", b64(output.string())}}), failed({"ASN1 bad tag value met."}));
        fs::remove(output);
    }
}

// Without an output nothing is written and the input stays as it was.
TEST_F(FileSafety, EmptyOrMissingOutputWritesNothing) {
    const fs::path file = writeBytes(dir / "doc.txt", "content");
    opensslSign(file, dir / "signed.p7s", "user_gost256", false);
    const std::string signature = readFile(dir / "signed.p7s");
    for (const bool missing : {false, true}) {
        SCOPED_TRACE(missing ? "missing" : "empty");
        const auto request = [&](const fs::path& input, const std::string& type, const json& extra = json::object()) {
            json r = signRequest(input.string(), "", type, kIvanov, extra);
            if (missing) r["args"].erase("output_file");
            return client.requestJson(r);
        };
        EXPECT_EQ(request(file, "Attached"), failed("tr{Список форматов подписей выходного файла пуст!}"));
        EXPECT_EQ(request(file, "Detached"), failed({"Не удалось сохранить файл"}));
        EXPECT_EQ(request(dir / "signed.p7s", "Attached", {{"cosign", true}, {"search_string", b64(kPetrova)}}),
                  failed({"Не удалось сохранить файл"}));
        EXPECT_EQ(readFile(file), "content");
        EXPECT_EQ(readFile(dir / "signed.p7s"), signature);
        EXPECT_EQ(namesIn(dir), (std::set<std::string>{"doc.txt", "signed.p7s"}));
    }
}

// A FIFO, a device and a folder are no documents: each method answers at once as for a missing file.
TEST_F(FileSafety, OnlyRegularFilesAreDocuments) {
    for (const char* name : {"pipe.txt", "pipe.pdf"}) ASSERT_EQ(::mkfifo((dir / name).c_str(), 0600), 0);
    fs::create_directory(dir / "folder.txt");
    // Should a reader block on a FIFO, a writer opening it every 5 s lets the test go on and fail.
    std::atomic<bool> done{false};
    std::thread unblocker([&] {
        for (int tick = 1; !done; ++tick) {
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
            for (const char* name : {"pipe.txt", "pipe.pdf"})
                if (tick % 50 == 0) ::close(::open((dir / name).c_str(), O_WRONLY | O_NONBLOCK));
        }
    });
    const auto started = std::chrono::steady_clock::now();

    for (const fs::path& path : {dir / "pipe.txt", fs::path("/dev/zero"), dir / "folder.txt"}) {
        SCOPED_TRACE(path.string());
        const std::string file = b64(path.string());
        EXPECT_EQ(client.request(json{{"method", "get_file_on_base64"}, {"args", {{"file", file}}}}.dump()),
                  R"({"data":null,"error":["tr{Error convert to base64}"]})");
        EXPECT_EQ(sign(path, dir / "out.sig", "Attached"), failed({"Не удалось прочитать файл"}));
        EXPECT_EQ(sign(path, dir / "out.sgn", "Detached"), failed({"Не удалось прочитать файл"}));
        const json verified = client.call("verify", {{"file", file}});
        EXPECT_TRUE(verified["data"].is_null() || verified["data"].empty()) << verified.dump();
        EXPECT_TRUE(client.call("extract", {{"file", file}, {"provider", "CryptoPRO"}})["data"].is_null());
        EXPECT_TRUE(sign(path, dir / "out.sig", "Attached", {{"cosign", true}})["data"].is_null());
    }
    EXPECT_EQ(sign(dir / "pipe.pdf", dir / "out.pdf", "PAdES"), failed({"tr{Файл не существет!}"}));
    // Nor is a FIFO replaced by a saved file: the write fails at once and the FIFO stays.
    EXPECT_EQ(saveFile(dir / "pipe.txt", b64("x")).at("data"), nullptr);
    EXPECT_TRUE(fs::is_fifo(dir / "pipe.txt"));
    EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(4));
    done = true;
    unblocker.join();
    EXPECT_EQ(namesIn(dir), (std::set<std::string>{"pipe.txt", "pipe.pdf", "folder.txt"}));
}

// A large signing killed while it writes its output: the input is intact and the folder holds
// nothing else, since the output is unnamed until it is whole.
TEST_F(FileSafety, KillDuringALargeSigningLeavesNoTrace) {
    const fs::path input = dir / "big.bin";
    // 200 MiB of zeros but for the first byte of every 4 KiB page: its MiB plus its page in that MiB.
    std::ofstream out(input, std::ios::binary);
    for (size_t at = 0; at < (200u << 20); at += 4096)
        out.put(static_cast<char>((at >> 20) + (at & 0xFFFFF) / 4096)) << std::string(4095, '\0');
    out.close();
    const std::string digest = runCommand("sha256sum < " + q(input)).output;
    std::string request = signRequest(input.string(), (dir / "big-signed.sig").string(), "Attached", kIvanov).dump();
    char* argv[] = {const_cast<char*>(VESK_CLI_PATH), request.data(), nullptr};
    pid_t pid = 0;
    ASSERT_EQ(::posix_spawn(&pid, VESK_CLI_PATH, nullptr, nullptr, argv, environ), 0);

    // Killed once it holds a file open in the folder that is not the input: the output being written.
    const fs::path fds = fs::path("/proc") / std::to_string(pid) / "fd";
    bool writing = false;
    for (int attempt = 0; attempt < 60000 && !writing && pid != 0; ++attempt) {
        std::error_code error;
        for (fs::directory_iterator it(fds, error), end; !error && it != end && !writing; it.increment(error)) {
            const std::string target = fs::read_symlink(it->path(), error).string();
            writing = !error && target.rfind(dir.string() + "/", 0) == 0 && target != input.string();
        }
        if (!writing && ::waitpid(pid, nullptr, WNOHANG) == pid) pid = 0;
        if (!writing) std::this_thread::sleep_for(std::chrono::microseconds(500));
    }
    ASSERT_NE(pid, 0) << "the signing ended before it was seen writing";
    ::kill(pid, SIGKILL);
    int status = 0;
    ::waitpid(pid, &status, 0);
    ASSERT_TRUE(writing) << "the output was never seen being written";
    ASSERT_TRUE(WIFSIGNALED(status));

    EXPECT_EQ(namesIn(dir), std::set<std::string>{"big.bin"});
    EXPECT_EQ(runCommand("sha256sum < " + q(input)).output, digest);
}

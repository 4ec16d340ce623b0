#include "ModuleClient.h"
#include "common/Version.h"

#include "support/Process.h"
#include "support/TempHome.h"

#include <gtest/gtest.h>
#include <boost/dll/import.hpp>
#include <boost/dll/library_info.hpp>

#include <dlfcn.h>

#include <fstream>
#include <set>
#include <sstream>

using namespace vesk::test;
namespace fs = std::filesystem;

namespace {

const std::string kVersionRequest = R"({"method":"version","args":{}})";
const std::string kVersionAnswer = R"({"data":")" VESK_VERSION_TEXT R"(","error":null})";

}  // namespace

TEST(EntryPoints, OnlyTheFourNamesAreExportedFromTheBoostdllSection) {
    const auto symbols = runCommand("nm -D --defined-only " + shellQuote(VESK_MODULE_PATH) + " | awk '{print $3}'");
    ASSERT_EQ(symbols.exitCode, 0);
    std::set<std::string> names;
    std::istringstream lines(symbols.output);
    for (std::string name; lines >> name;) names.insert(name);
    EXPECT_EQ(names, (std::set<std::string>{"CryptoModuleCppExecFunc", "VeskExecuteJsonRequest", "createRequestBuffer",
                                            "createVeskCrypto"}));

    boost::dll::library_info info(VESK_MODULE_PATH);
    const auto aliases = info.symbols("boostdll");
    EXPECT_EQ(std::set<std::string>(aliases.begin(), aliases.end()), names);
}

// Each name through boost::dll and through plain dlopen/dlsym, where each symbol is a
// pointer-sized variable holding the function's address.
TEST(EntryPoints, EveryNameAnswersThroughBoostDllAndDlsym) {
    void* handle = ::dlopen(VESK_MODULE_PATH, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(handle, nullptr) << ::dlerror();
    const auto created = [](auto create, const char* name) {
        auto plugin = create();
        ASSERT_TRUE(plugin) << name;
        EXPECT_TRUE(plugin->executeRequest(kVersionRequest.data(), kVersionRequest.size()));
        EXPECT_EQ(std::string(plugin->getResultString(), plugin->getResultLength()), kVersionAnswer) << name;
    };
    const auto executed = [](auto execute, const char* name) {
        std::string answer;
        EXPECT_TRUE(execute(kVersionRequest, answer));
        EXPECT_EQ(answer, kVersionAnswer) << name;
    };
    for (const char* name : {"createVeskCrypto", "createRequestBuffer"}) {
        created(boost::dll::import_alias<PluginFactory>(VESK_MODULE_PATH, name), name);
        created(*static_cast<PluginFactory**>(::dlsym(handle, name)), name);
    }
    for (const char* name : {"CryptoModuleCppExecFunc", "VeskExecuteJsonRequest"}) {
        executed(boost::dll::import_alias<DirectRequest>(VESK_MODULE_PATH, name), name);
        executed(*static_cast<DirectRequest**>(::dlsym(handle, name)), name);
    }
    ::dlclose(handle);
}

// A host compiled against another copy of the class calls by slot: 2 executeRequest,
// 3 getResultLength, 4 getResultString (0 and 1 are the destructors).
TEST(EntryPoints, PluginSlotsInTheHostsOrderReadExactlyLengthBytesAndKeepOnlyTheLastAnswer) {
    ModuleClient client;
    VeskCryptoPlugin* plugin = &client.plugin();
    void** slots = *reinterpret_cast<void***>(plugin);
    auto execute = reinterpret_cast<bool (*)(VeskCryptoPlugin*, const char*, size_t)>(slots[2]);
    auto length = reinterpret_cast<size_t (*)(VeskCryptoPlugin*)>(slots[3]);
    auto text = reinterpret_cast<const char* (*)(VeskCryptoPlugin*)>(slots[4]);

    EXPECT_TRUE(execute(plugin, "", 0));
    EXPECT_NE(std::string(text(plugin)).find("tr{JSON Exception:} [json.exception.parse_error.101]"),
              std::string::npos);

    // Bytes past the length are garbage the module must never read.
    const std::string padded = kVersionRequest + "garbage that would break the JSON";
    EXPECT_TRUE(execute(plugin, padded.data(), kVersionRequest.size()));
    EXPECT_EQ(std::string(text(plugin)), kVersionAnswer);
    EXPECT_EQ(length(plugin), kVersionAnswer.size());

    const std::string withZero("{\"method\":\"vers\0ion\",\"args\":{}}", 32);
    EXPECT_TRUE(execute(plugin, withZero.data(), withZero.size()));
    const std::string second(text(plugin), length(plugin));
    EXPECT_NE(second, kVersionAnswer);
    EXPECT_NE(second.find("control character U+0000 (NUL)"), std::string::npos);  // the zero reached the parser
    EXPECT_EQ(second.size(), std::strlen(text(plugin)));
}

namespace {

#if defined(__SANITIZE_ADDRESS__)
extern "C" size_t __sanitizer_get_current_allocated_bytes();  // NOLINT(bugprone-reserved-identifier)
// Under AddressSanitizer freed blocks wait in its quarantine and stay resident; the heap still in
// use is what a leak grows.
long residentKib() { return static_cast<long>(__sanitizer_get_current_allocated_bytes() / 1024); }
#else
// The resident memory of this process, in KiB, as the kernel counts it.
long residentKib() {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);)
        if (line.rfind("VmRSS:", 0) == 0) return std::stol(line.substr(6));
    return -1;
}
#endif

}  // namespace

// A host that loads the module, asks, and closes it again and again keeps its memory: after the
// first rounds, 200 of them grow it by less than 5 MB. This host links none of the module's
// libraries, so nothing of theirs stays loaded for the module's sake.
TEST(EntryPoints, LoadingAndClosingAgainAndAgainKeepsMemoryFlat) {
    fs::create_directories(tempHome() / ".Vesk" / "editor");
    std::ofstream(tempHome() / ".Vesk" / "editor" / "settings.json") << R"({"cades":")" CADES_EMULATOR_PATH R"("})";
    const auto pdf = makeTempDir("reload") / "doc.pdf";
    const std::string page = "%!PS\n/Helvetica findfont 12 scalefont setfont 72 720 moveto (Page) show showpage\n";
    ASSERT_EQ(runCommand("printf '%s' " + shellQuote(page) + " | ps2pdf - " + q(pdf)).exitCode, 0);
    const std::string verify = R"({"method":"verify","args":{"file":")" + b64(pdf.string()) + R"("}})";
    long settled = 0;
    for (int round = 0; round < 200; ++round) {
        ModuleClient client;  // loads the module; closes it when the round ends
        ASSERT_EQ(client.request(kVersionRequest), kVersionAnswer);
        ASSERT_EQ(client.request(verify),
                  R"({"data":null,"error":["tr{This PDF file does not contain a signature.}"]})");
        if (round == 9) settled = residentKib();
    }
    ASSERT_GT(settled, 0);
    EXPECT_LT(residentKib() - settled, 5 * 1024) << "KiB resident after 10 rounds: " << settled;
}

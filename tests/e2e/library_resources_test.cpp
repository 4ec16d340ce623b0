// What the module takes from the CAdES library it gives back: chain contexts are released
// through the library's optional CertFreeCertificateChain, which the emulator counts.

#include "ModuleClient.h"
#include "SignedInputs.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

using namespace vesk::test;
using nlohmann::json;

namespace {

// The emulator instance the module has loaded (the same path maps to the same instance).
unsigned liveChains() {
    void* emulator = dlopen(cadesLibraryUnderTest().c_str(), RTLD_NOW | RTLD_NOLOAD);
    EXPECT_NE(emulator, nullptr) << "the module has not loaded the emulator";
    if (emulator == nullptr) return ~0u;
    using Count = unsigned();
    auto* count = reinterpret_cast<Count*>(dlsym(emulator, "CadesEmulatorLiveChainCount"));
    const unsigned live = count != nullptr ? count() : ~0u;
    dlclose(emulator);
    return live;
}

}  // namespace

TEST(LibraryResources, SigningAndVerifyingReleaseEveryChain) {
    VESK_SKIP_UNLESS_EMULATOR("it counts the chain contexts it hands out");
    useCadesLibrary(cadesLibraryUnderTest());
    ModuleClient client;
    const json signInfo = {{"provider", "CryptoPRO"}, {"search_string", b64(kIvanov)}};
    for (int round = 0; round < 3; ++round) {
        const json signed_ =
            client.requestJson({{"method", "sign"}, {"args", {{"document", b64("акт")}, {"sign_info", signInfo}}}});
        ASSERT_TRUE(signed_["error"].is_null()) << signed_.dump();
        const json verified = client.requestJson(
            {{"method", "verify"}, {"args", {{"document", ""}, {"signature", signed_["data"]}, {"attached", true}}}});
        ASSERT_TRUE(verified["error"].is_null()) << verified.dump();
        ASSERT_FALSE(verified["chain"].empty()) << "the chain was built, so a chain context was handed out";
    }
    EXPECT_EQ(liveChains(), 0u);
}

// Settings file bytes through the settings reader, then written back and read again: a text that
// is no JSON may throw (the first request answers that), anything else must hold.

#include "FuzzSandbox.h"

#include "common/Settings.h"

#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <stdexcept>

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    vesk::fuzz::sandbox("");
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const auto file = vesk::fuzz::sandbox("") / "fuzzed-settings.json";
    std::ofstream(file, std::ios::binary | std::ios::trunc)
        .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
    try {
        Vesk::Crypto::VeskCryptoSettings settings(file);
        settings.save();
        const Vesk::Crypto::VeskCryptoSettings again(file);
        // What was saved reads back as the same values.
        if (again.logLevel() != settings.logLevel() || again.cades() != settings.cades() ||
            again.cryptoPro() != settings.cryptoPro())
            std::abort();
    } catch (const std::exception&) {
        // Not JSON, or not of the expected shape: answered by the request that meets it.
    }
    return 0;
}

#pragma once
// The folder a fuzz target works in: HOME, the temporary folder and every file a request may
// name lie inside it, so that generated requests never touch the machine's own files.

#include <filesystem>
#include <string>

namespace vesk::fuzz {

// Made once per process: $VESK_FUZZ_SANDBOX when set (the seed generator puts its files there),
// otherwise a new temporary folder. HOME and TMPDIR point into it; the module's settings name
// the CAdES library `cadesLibrary` (none when empty) and log nothing.
const std::filesystem::path& sandbox(const std::string& cadesLibrary);

// Lays the sandbox's files/ folder anew from its pristine/ folder (the seed generator's files),
// so that every input starts from the same files whatever the ones before it wrote or deleted,
// and makes it the current folder, so that relative names in requests name these files.
void restoreFiles();

// True when the path, taken lexically (a relative one from files/), lies inside the sandbox but
// outside pristine/.
bool insideSandbox(const std::filesystem::path& path);

}  // namespace vesk::fuzz

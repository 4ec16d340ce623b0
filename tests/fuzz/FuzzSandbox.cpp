#include "FuzzSandbox.h"

#include <nlohmann/json.hpp>

#include <cstdlib>
#include <fstream>
#include <stdexcept>

namespace fs = std::filesystem;

namespace vesk::fuzz {
namespace {

fs::path makeSandbox() {
    if (const char* given = std::getenv("VESK_FUZZ_SANDBOX"); given != nullptr && *given != '\0') {
        fs::create_directories(given);
        return fs::canonical(given);
    }
    std::string pattern = (fs::temp_directory_path() / "vesk-fuzz-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
    return fs::canonical(pattern);
}

}  // namespace

const fs::path& sandbox(const std::string& cadesLibrary) {
    static const fs::path folder = [&] {
        const fs::path root = makeSandbox();
        fs::create_directories(root / "home" / ".Vesk" / "editor");
        fs::create_directories(root / "tmp");
        ::setenv("HOME", (root / "home").c_str(), 1);
        ::setenv("TMPDIR", (root / "tmp").c_str(), 1);
        std::ofstream(root / "home" / ".Vesk" / "editor" / "settings.json")
            << nlohmann::json{{"cades", cadesLibrary}, {"cryptoPro", ""}, {"logLevel", "none"}}.dump();
        return root;
    }();
    return folder;
}

void restoreFiles() {
    const fs::path& root = sandbox("");
    fs::remove_all(root / "files");
    if (fs::is_directory(root / "pristine")) fs::copy(root / "pristine", root / "files", fs::copy_options::recursive);
    fs::create_directories(root / "files");
    fs::current_path(root / "files");  // relative names in requests (the kept seeds) mean these files
}

bool insideSandbox(const fs::path& path) {
    const fs::path normal = (path.is_absolute() ? path : sandbox("") / "files" / path).lexically_normal();
    const fs::path relative = normal.lexically_relative(sandbox(""));
    return !relative.empty() && *relative.begin() != ".." && *relative.begin() != "pristine";
}

}  // namespace vesk::fuzz

// Requests per second for "version" through the plugin object, at the log level given as
// --level=NAME (a settings.json level name; default info). The module's settings and log live
// in a temporary HOME made for the run.

#include <vesk/VeskCrypto.h>

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>

namespace {

void BM_VersionRequest(benchmark::State& state) {
    auto plugin = VeskCryptoPlugin::create();
    const std::string request = R"({"method":"version","args":{}})";
    for (auto _ : state) {
        plugin->executeRequest(request.data(), request.size());
        benchmark::DoNotOptimize(plugin->getResultString());
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_VersionRequest);

std::string takeLevel(int& argc, char** argv) {
    std::string level = "info";
    for (int i = 1; i < argc; ++i) {
        if (std::strncmp(argv[i], "--level=", 8) == 0) {
            level = argv[i] + 8;
            for (int j = i; j + 1 < argc; ++j) argv[j] = argv[j + 1];
            --argc;
            break;
        }
    }
    return level;
}

}  // namespace

int main(int argc, char** argv) {
    const std::string level = takeLevel(argc, argv);
    std::string home = (std::filesystem::temp_directory_path() / "vesk-bench-XXXXXX").string();
    if (::mkdtemp(home.data()) == nullptr) return 2;
    ::setenv("HOME", home.c_str(), 1);
    std::filesystem::create_directories(home + "/.Vesk/editor");
    std::ofstream(home + "/.Vesk/editor/settings.json") << R"({"logLevel":")" << level << R"("})";

    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    std::filesystem::remove_all(home);
    return 0;
}

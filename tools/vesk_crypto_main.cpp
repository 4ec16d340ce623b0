// vesk-crypto: sends JSON requests to libVeskCrypto and prints the answers.

#include "ModuleLoader.h"
#include "Subcommands.h"

#include "common/CommandFileLines.h"

#include <nlohmann/json.hpp>

#include <unistd.h>

#include <fstream>
#include <iostream>
#include <optional>
#include <string>
#include <vector>

namespace {

constexpr const char* kUsage = R"(Usage:
  vesk-crypto [OPTIONS] SUBCOMMAND ...   see Subcommands below
  vesk-crypto [OPTIONS] '<request JSON>'   run one request and print its answer
  vesk-crypto [OPTIONS] --batch FILE        run a command file: one request per line; empty
                                            lines and lines starting with // are skipped
  vesk-crypto [OPTIONS]                     read one request per line from standard input
  vesk-crypto --help                        show this text

Options:
  --library PATH   the module to load (default: libVeskCrypto.so.1 beside this program,
                   then in the library folder of its installation, then the system's search)
  --json           subcommands print the module's JSON answer instead of plain text
  -v, --verbose    show the module's console log on standard error (hidden by default;
                   the module's log file is written either way)

With --batch, standard error shows the progress when it is a terminal, and at the end how
many requests failed.

A request is a JSON object: {"method":"version","args":{}}. File names inside requests are
base64 of their UTF-8 text. Each answer is printed on its own line.

Exit status: 0 when every answer's "error" is null, 1 otherwise, 2 on a usage or loading error;
verify also exits 1 when a signature is not verified.
)";

struct Arguments {
    std::filesystem::path library;
    std::optional<std::string> batchFile;
    std::optional<std::string> request;
    std::vector<std::string> subcommand;  // its name, then its own arguments
    bool json = false;
    bool verbose = false;
    bool help = false;
};

std::optional<Arguments> parseArguments(int argc, char** argv) {
    Arguments parsed;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg == "--help" || arg == "-h") {
            parsed.help = true;
        } else if (arg == "--library" && i + 1 < argc) {
            parsed.library = argv[++i];
        } else if (arg == "--json") {
            parsed.json = true;
        } else if (arg == "-v" || arg == "--verbose") {
            parsed.verbose = true;
        } else if (!parsed.subcommand.empty()) {  // NOLINT(bugprone-branch-clone): --batch comes between the two
            parsed.subcommand.push_back(arg);
        } else if (arg == "--batch" && i + 1 < argc) {
            parsed.batchFile = argv[++i];
        } else if (isSubcommand(arg) && !parsed.request && !parsed.batchFile) {
            parsed.subcommand.push_back(arg);
        } else if (arg.rfind("--", 0) != 0 && !parsed.request) {
            parsed.request = arg;
        } else {
            std::cerr << "vesk-crypto: unexpected argument '" << arg << "'\n";
            return std::nullopt;
        }
    }
    return parsed;
}

bool answerIsSuccess(const std::string& answer) {
    const auto parsed = nlohmann::json::parse(answer, nullptr, false);
    return parsed.is_object() && parsed.contains("error") && parsed.at("error").is_null();
}

// Runs every request line of a stream; returns true when all answers succeeded.
bool runLines(ModuleLoader& module, std::istream& in) {
    bool allSucceeded = true;
    std::string line;
    while (std::getline(in, line)) {
        if (line.empty()) continue;
        const auto answer = module.execute(line);
        std::cout << answer << "\n\n" << std::flush;
        allSucceeded = answerIsSuccess(answer) && allSucceeded;
    }
    return allSucceeded;
}

// Runs the requests of a command file. On a terminal, standard error shows how far it has come;
// at the end it says how many requests failed. Returns true when none did.
bool runBatch(ModuleLoader& module, std::istream& in) {
    std::vector<std::string> requests;
    for (std::string line; std::getline(in, line);)
        if (!Vesk::Crypto::isCommandFileComment(line)) requests.push_back(std::move(line));
    const bool terminal = ::isatty(STDERR_FILENO) == 1;
    size_t failed = 0;
    for (size_t i = 0; i < requests.size(); ++i) {
        if (terminal)
            std::cerr << "\r\033[Krequest " << i + 1 << " of " << requests.size() << ", " << failed << " failed"
                      << std::flush;
        const auto answer = module.execute(requests[i]);
        if (terminal) std::cerr << "\r\033[K" << std::flush;  // the answer takes the line, if it is the same screen
        std::cout << answer << "\n\n" << std::flush;
        if (!answerIsSuccess(answer)) ++failed;
    }
    std::cerr << "vesk-crypto: " << failed << " of " << requests.size() << " requests failed\n";
    return failed == 0;
}

}  // namespace

int main(int argc, char** argv) {
    const auto arguments = parseArguments(argc, argv);
    if (!arguments) {
        std::cerr << kUsage << "\n" << kSubcommandUsage;
        return 2;
    }
    if (arguments->help) {
        std::cout << kUsage << "\n" << kSubcommandUsage;
        return 0;
    }
    std::optional<Command> command;
    if (!arguments->subcommand.empty()) {
        std::string error;
        command = parseCommand(arguments->subcommand, error);
        if (!command) {
            std::cerr << "vesk-crypto: " << error << "\n\n" << kSubcommandUsage;
            return 2;
        }
    }
    try {
        ModuleLoader module(arguments->library, arguments->verbose);
        if (command) return runCommand(*command, module, arguments->json, std::cout, std::cerr);
        if (arguments->request) {
            const auto answer = module.execute(*arguments->request);
            std::cout << answer << "\n";
            return answerIsSuccess(answer) ? 0 : 1;
        }
        if (arguments->batchFile) {
            std::ifstream in(*arguments->batchFile, std::ios::binary);
            if (!in) {
                std::cerr << "vesk-crypto: cannot open " << *arguments->batchFile << "\n";
                return 2;
            }
            return runBatch(module, in) ? 0 : 1;
        }
        return runLines(module, std::cin) ? 0 : 1;
    } catch (const std::exception& e) {
        std::cerr << "vesk-crypto: " << e.what() << "\n";
        return 2;
    }
}

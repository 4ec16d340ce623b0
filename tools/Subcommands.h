#pragma once
// The friendly subcommands of vesk-crypto (certs, sign, verify, extract, enhance): each builds one
// request from its command line, sends it through the module and prints a plain answer.

#include <nlohmann/json.hpp>

#include <optional>
#include <ostream>
#include <string>
#include <vector>

class ModuleLoader;

enum class CommandKind { Certs, Sign, Verify, Extract, Enhance };

struct Command {
    CommandKind kind = CommandKind::Certs;
    nlohmann::json request;
    std::string filter;  // certs: only certificates whose subject or serial contains it
};

extern const char* const kSubcommandUsage;

bool isSubcommand(const std::string& name);

// `args` starts with the subcommand's name. On a usage error returns nothing and sets `error`.
std::optional<Command> parseCommand(const std::vector<std::string>& args, std::string& error);

// Sends the request and prints the answer: plain text, or the answer as it stands with `json`.
// Returns the exit status: 0 on success, 1 on an error answer (or an unverified signature).
int runCommand(const Command& command, ModuleLoader& module, bool json, std::ostream& out, std::ostream& err);

// The common name of a distinguished name such as "CN=Иванов И. И., O=ООО, C=RU";
// the whole text when it has none.
std::string commonName(const std::string& distinguishedName);

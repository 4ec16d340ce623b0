// Answers of the subcommands printed for people.

#include "ModuleLoader.h"
#include "Subcommands.h"
#include "TextTable.h"

#include "common/Base64.h"

namespace base64 = Vesk::Crypto::base64;
using nlohmann::json;

namespace {

std::string text(const json& value, const char* key) {
    const auto found = value.find(key);
    return found != value.end() && found->is_string() ? found->get<std::string>() : std::string();
}

std::string decodedText(const json& value, const char* key) { return base64::decode(text(value, key)); }

// "error" holds one text or a list of texts.
void printErrors(const json& error, std::ostream& err) {
    if (error.is_string()) {
        err << "vesk-crypto: " << error.get<std::string>() << "\n";
    } else if (error.is_array()) {
        for (const auto& item : error)
            err << "vesk-crypto: " << (item.is_string() ? item.get<std::string>() : item.dump()) << "\n";
    } else if (!error.is_null()) {
        err << "vesk-crypto: " << error.dump() << "\n";
    }
}

// The same rule as the store's own search: the subject, or else the serial number, contains the text.
json matchingCertificates(const json& data, const std::string& filter) {
    json kept = json::array();
    if (!data.is_array()) return kept;
    for (const auto& certificate : data) {
        if (decodedText(certificate, "Subject").find(filter) != std::string::npos ||
            text(certificate, "SerialNumber").find(filter) != std::string::npos) {
            kept.push_back(certificate);
        }
    }
    return kept;
}

void printCertificates(const json& certificates, std::ostream& out) {
    TextTable table({"Subject", "Issuer", "Serial", "Valid from", "Valid to"});
    for (const auto& certificate : certificates) {
        table.addRow({commonName(decodedText(certificate, "Subject")), commonName(decodedText(certificate, "Issuer")),
                      text(certificate, "SerialNumber"), text(certificate, "NotBefore"),
                      text(certificate, "NotAfter")});
    }
    table.print(out);
}

// A verification answers its signers as a list, or inside a result object with its own "data".
// Prints them as a table when `out` is given; answers 0 only when every signature is verified.
int printSigners(const json& data, std::ostream* out, std::ostream& err) {
    const json* signers = &data;
    if (data.is_object()) {
        if (data.contains("error")) printErrors(data.at("error"), err);
        signers = data.contains("data") ? &data.at("data") : nullptr;
    }
    if (signers == nullptr || !signers->is_array() || signers->empty()) {
        err << "vesk-crypto: no signers in the answer\n";
        return 1;
    }
    TextTable table({"Signer", "Serial", "Signing time", "Status"});
    bool allVerified = true;
    for (const auto& signer : *signers) {
        const auto flag = signer.find("Verifyed");  // spelled so by the module
        const bool verified = flag != signer.end() && flag->is_boolean() && flag->get<bool>();
        allVerified = allVerified && verified;
        table.addRow({commonName(decodedText(signer, "Subject")), text(signer, "SerialNumber"),
                      text(signer, "SigningTime"), verified ? "verified" : "NOT verified"});
    }
    if (out != nullptr) table.print(*out);
    return allVerified ? 0 : 1;
}

}  // namespace

std::string commonName(const std::string& name) {
    for (size_t at = name.find("CN="); at != std::string::npos; at = name.find("CN=", at + 3)) {
        if (at != 0 && name.compare(at - 2, 2, ", ") != 0) continue;  // part of another attribute
        size_t start = at + 3;
        if (start < name.size() && name[start] == '"') {
            const size_t close = name.find('"', start + 1);
            return name.substr(start + 1, close == std::string::npos ? std::string::npos : close - start - 1);
        }
        const size_t end = name.find(", ", start);
        return name.substr(start, end == std::string::npos ? std::string::npos : end - start);
    }
    return name;
}

int runCommand(const Command& command, ModuleLoader& module, bool jsonOutput, std::ostream& out, std::ostream& err) {
    const auto answerText = module.execute(command.request.dump());
    auto answer = json::parse(answerText, nullptr, false);
    if (!answer.is_object()) {
        err << "vesk-crypto: the module's answer is not a JSON object: " << answerText << "\n";
        return 1;
    }
    const bool failed = !answer.contains("error") || !answer.at("error").is_null();
    // A PDF's signers come with what the module says about them (a change after signing, a
    // forged place): the table first, the messages under it.
    if (failed && !jsonOutput && command.kind == CommandKind::Verify && answer.contains("data") &&
        answer.at("data").is_array() && !answer.at("data").empty()) {
        printSigners(answer.at("data"), &out, err);
        for (const auto& item : answer.at("error"))
            out << (item.is_string() ? item.get<std::string>() : item.dump()) << "\n";
        return 1;
    }
    if (failed) {
        if (jsonOutput)
            out << answerText << "\n";
        else
            printErrors(answer.contains("error") ? answer.at("error") : json("no \"error\" in the answer"), err);
        return 1;
    }
    const json data = answer.at("data");

    if (command.kind == CommandKind::Certs && !command.filter.empty()) {
        answer["data"] = matchingCertificates(data, command.filter);
        if (answer["data"].empty()) {
            if (jsonOutput) out << answer.dump() << "\n";
            err << "vesk-crypto: no certificate matches '" << command.filter << "'\n";
            return 1;
        }
    }
    if (jsonOutput) {
        out << (command.filter.empty() ? answerText : answer.dump()) << "\n";
        return command.kind == CommandKind::Verify ? printSigners(data, nullptr, err) : 0;
    }
    switch (command.kind) {
        case CommandKind::Certs:
            printCertificates(answer.at("data"), out);
            return 0;
        case CommandKind::Verify:
            return printSigners(data, &out, err);
        default:  // sign, extract and enhance answer the base64 text of the path they wrote
            if (!data.is_string()) {
                err << "vesk-crypto: the answer holds no path: " << answerText << "\n";
                return 1;
            }
            out << base64::decode(data.get<std::string>()) << "\n";
            return 0;
    }
}

// Command lines of the subcommands turned into requests.

#include "Subcommands.h"

#include "common/Base64.h"

#include <cctype>
#include <cstdlib>
#include <filesystem>
#include <map>

namespace fs = std::filesystem;
using nlohmann::json;
namespace base64 = Vesk::Crypto::base64;

const char* const kSubcommandUsage = R"(Subcommands:
  certs [TEXT]              list the signing certificates (only those whose subject or serial
                            contains TEXT)
  sign FILE [options]       sign FILE and print where the signature was written
      --attached            attached CAdES signature file (default for files other than PDF);
                            the module removes FILE once its signature file is written
      --detached            detached CAdES signature beside FILE (FILE.sgn)
      --pades               signature inside the PDF (default for .pdf files)
      --cert TEXT           the certificate whose subject or serial contains TEXT
      --out PATH            where to write (default: NAME-signed.EXT.sig for --attached,
                            FILE.sgn for --detached, NAME-signed.pdf for --pades, FILE for --cosign)
      --cosign              add a signature to an already signed FILE
      --stamp LINE          a line of the visible stamp on the PDF (repeat for more lines);
                            <sign_date:TEXT> in a line is replaced by TEXT
      --page N|last|all     the page of the stamp, counted from 1 (default: last)
      --box X,Y,X2,Y2       the stamp's box corners in percent of the page's width and height,
                            Y and Y2 counted from the top
      --clickable           make the stamp a clickable field
      --xlong               CAdES-X Long Type 1: time-stamped, with the OCSP evidence of the
                            signer's chain (needs --tsp)
      --tsp URL             the time-stamp service (RFC 3161 over HTTP)
  verify FILE               verify the signatures of FILE and list its signers
  extract FILE              extract the content of an attached signature and print its path
  enhance FILE --tsp URL    upgrade the CAdES-BES signatures of a signature file (attached, or
                            detached beside its original) to CAdES-X Long Type 1; print its path
      --out PATH            where to write (default: FILE itself)
      --ocsp URL            an OCSP responder, passed on to the module as "ocsp_url"
)";

namespace {

const std::map<std::string, CommandKind> kCommands = {{"certs", CommandKind::Certs},
                                                      {"sign", CommandKind::Sign},
                                                      {"verify", CommandKind::Verify},
                                                      {"extract", CommandKind::Extract},
                                                      {"enhance", CommandKind::Enhance}};

constexpr const char* kProvider = "CryptoPRO";

std::string encodedPath(const fs::path& path) { return base64::encode(path.u8string()); }

bool hasPdfExtension(const fs::path& path) {
    auto extension = path.extension().string();
    for (auto& c : extension) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return extension == ".pdf";
}

bool parseNumber(const std::string& text, float& value) {
    char* end = nullptr;
    value = std::strtof(text.c_str(), &end);
    return !text.empty() && *end == '\0';
}

// "--page": a page number from 1, or "last" (-1) or "all" (-2) as the module counts them.
std::optional<int> parsePage(const std::string& text) {
    if (text == "last") return -1;
    if (text == "all") return -2;
    float number = 0;
    if (!parseNumber(text, number) || number < 1 || number != static_cast<int>(number)) return std::nullopt;
    return static_cast<int>(number) - 1;
}

bool parseBox(const std::string& text, json& watermark) {
    const char* keys[] = {"x", "y", "x2", "y2"};
    size_t start = 0;
    for (size_t i = 0; i < 4; ++i) {
        const size_t comma = text.find(',', start);
        if ((comma == std::string::npos) != (i == 3)) return false;
        float value = 0;
        if (!parseNumber(text.substr(start, comma == std::string::npos ? std::string::npos : comma - start), value)) {
            return false;
        }
        watermark[keys[i]] = value;
        start = comma + 1;
    }
    return true;
}

fs::path defaultOutput(const fs::path& file, const std::string& attachType, bool cosign) {
    if (cosign || attachType == "Detached") return file;  // the module names a detached signature FILE.sgn
    const auto signedName = file.stem().string() + "-signed" + file.extension().string();
    // NAME.EXT.sig beside NAME.EXT would be taken for a detached signature, hence the new name.
    return file.parent_path() / (attachType == "PAdES" ? signedName : signedName + ".sig");
}

std::optional<Command> parseSign(const std::vector<std::string>& args, std::string& error) {
    std::optional<fs::path> file, output;
    std::string attachType;
    bool cosign = false;
    json signInfo = {{"provider", kProvider}};
    json watermark = json::object();
    json strings = json::array();
    for (size_t i = 1; i < args.size(); ++i) {
        const auto& arg = args[i];
        const bool hasValue = i + 1 < args.size();
        if (arg == "--attached" || arg == "--detached" || arg == "--pades") {
            const std::string type = arg == "--attached" ? "Attached" : arg == "--detached" ? "Detached" : "PAdES";
            if (!attachType.empty() && attachType != type) {
                error = "choose one of --attached, --detached, --pades";
                return std::nullopt;
            }
            attachType = type;
        } else if (arg == "--cosign") {
            cosign = true;
        } else if (arg == "--clickable") {
            watermark["clickable"] = true;
        } else if (arg == "--xlong") {
            signInfo["cades_type"] = "CadesXLongType1";
        } else if (arg == "--tsp" && hasValue) {
            signInfo["tsp_url"] = args[++i];
        } else if (arg == "--cert" && hasValue) {
            signInfo["search_string"] = base64::encode(args[++i]);
        } else if (arg == "--out" && hasValue) {
            output = fs::absolute(fs::u8path(args[++i]));
        } else if (arg == "--stamp" && hasValue) {
            strings.push_back({{"text", args[++i]}});
        } else if (arg == "--page" && hasValue) {
            const auto page = parsePage(args[++i]);
            if (!page) {
                error = "--page takes a page number from 1, last or all";
                return std::nullopt;
            }
            watermark["page"] = *page;
        } else if (arg == "--box" && hasValue) {
            if (!parseBox(args[++i], watermark)) {
                error = "--box takes four numbers: X,Y,X2,Y2";
                return std::nullopt;
            }
        } else if (arg.rfind("--", 0) != 0 && !file) {
            file = fs::absolute(fs::u8path(arg));
        } else {
            error = "sign: unexpected argument '" + arg + "'";
            return std::nullopt;
        }
    }
    if (!file) {
        error = "sign: FILE is missing";
        return std::nullopt;
    }
    if (signInfo.contains("cades_type") && !signInfo.contains("tsp_url")) {
        error = "--xlong needs --tsp URL";
        return std::nullopt;
    }
    if (attachType.empty()) attachType = hasPdfExtension(*file) ? "PAdES" : "Attached";
    if (attachType == "PAdES" && !hasPdfExtension(*file)) {
        error = "--pades signs PDF files only";
        return std::nullopt;
    }
    signInfo["attach_type"] = attachType;
    signInfo["cosign"] = cosign;
    if (!strings.empty()) watermark["strings"] = strings;
    // The module draws a stamp only when the request carries a watermark.
    if (!watermark.empty()) signInfo["watermark"] = watermark;

    Command command{CommandKind::Sign, {}, {}};
    command.request = {{"method", "sign"},
                       {"args",
                        {{"file", encodedPath(*file)},
                         {"output_file", encodedPath(output ? *output : defaultOutput(*file, attachType, cosign))},
                         {"sign_info", signInfo}}}};
    return command;
}

std::optional<Command> parseEnhance(const std::vector<std::string>& args, std::string& error) {
    std::optional<fs::path> file, output;
    json signInfo = {{"provider", kProvider}};
    for (size_t i = 1; i < args.size(); ++i) {
        const auto& arg = args[i];
        const bool hasValue = i + 1 < args.size();
        if (arg == "--tsp" && hasValue) {
            signInfo["tsp_url"] = args[++i];
        } else if (arg == "--ocsp" && hasValue) {
            signInfo["ocsp_url"] = args[++i];
        } else if (arg == "--out" && hasValue) {
            output = fs::absolute(fs::u8path(args[++i]));
        } else if (arg.rfind("--", 0) != 0 && !file) {
            file = fs::absolute(fs::u8path(arg));
        } else {
            error = "enhance: unexpected argument '" + arg + "'";
            return std::nullopt;
        }
    }
    if (!file || !signInfo.contains("tsp_url")) {
        error = "enhance takes FILE and --tsp URL";
        return std::nullopt;
    }
    Command command{CommandKind::Enhance, {}, {}};
    command.request = {{"method", "enhance"},
                       {"args",
                        {{"file", encodedPath(*file)},
                         {"output_file", encodedPath(output ? *output : *file)},
                         {"sign_info", signInfo}}}};
    return command;
}

}  // namespace

bool isSubcommand(const std::string& name) { return kCommands.count(name) != 0; }

std::optional<Command> parseCommand(const std::vector<std::string>& args, std::string& error) {
    const auto kind = args.empty() ? kCommands.end() : kCommands.find(args.front());
    if (kind == kCommands.end()) {
        error = "unknown subcommand";
        return std::nullopt;
    }
    if (kind->second == CommandKind::Sign) return parseSign(args, error);
    if (kind->second == CommandKind::Enhance) return parseEnhance(args, error);

    // The other subcommands take one plain argument: TEXT for certs (optional), FILE otherwise.
    const bool optional = kind->second == CommandKind::Certs;
    if (args.size() > 2 || (args.size() == 2 && args[1].rfind("--", 0) == 0) || (!optional && args.size() != 2)) {
        error = args.front() + (optional ? " takes at most one TEXT" : " takes exactly one FILE");
        return std::nullopt;
    }
    Command command{kind->second, {}, {}};
    switch (kind->second) {
        case CommandKind::Certs:
            command.request = {{"method", "get_list"}, {"args", {{"provider", kProvider}}}};
            if (args.size() == 2) command.filter = args[1];
            break;
        case CommandKind::Verify:
            command.request = {{"method", "verify"},
                               {"args", {{"file", encodedPath(fs::absolute(fs::u8path(args[1])))}}}};
            break;
        default:
            // An extraction names its provider: without one the module has no extractor to use.
            command.request = {
                {"method", "extract"},
                {"args", {{"file", encodedPath(fs::absolute(fs::u8path(args[1])))}, {"provider", kProvider}}}};
            break;
    }
    return command;
}

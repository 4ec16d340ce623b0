#include "model/SignOptions.h"

#include "common/Base64.h"
#include "common/Logging.h"

namespace Vesk::Crypto {
namespace {

template <typename T>
void readIfPresent(const nlohmann::json& j, const char* key, T& value) {
    if (j.contains(key)) j.at(key).get_to(value);
}

void readBase64PathIfPresent(const nlohmann::json& j, const char* key, std::filesystem::path& path) {
    if (j.contains(key)) path = getPathFromBase64(j.at(key).get<std::string>());
}

}  // namespace

void from_json(const nlohmann::json& j, WatermarkOptions::WatermarkStrings& line) {
    VLOG_VERBOSE << "[F] from_json WatermarkOptions::WatermarkStrings";
    line = WatermarkOptions::WatermarkStrings{};
    readIfPresent(j, "font_size", line.font_size);
    readIfPresent(j, "font_color", line.font_color);
    readIfPresent(j, "font", line.font);
    readIfPresent(j, "alignment", line.alignment);
    readIfPresent(j, "text", line.text);
    readIfPresent(j, "italic", line.italic);
    readIfPresent(j, "bold", line.bold);
    readIfPresent(j, "line_spacing", line.line_spacing);
}

void to_json(nlohmann::json& j, const WatermarkOptions::WatermarkStrings& line) {
    VLOG_VERBOSE << "[F] to_json WatermarkOptions::WatermarkStrings";
    j = nlohmann::json{{"text", line.text},
                       {"font_size", line.font_size},
                       {"font_color", line.font_color},
                       {"line_spacing", line.line_spacing}};
}

void from_json(const nlohmann::json& j, WatermarkOptions& options) {
    VLOG_VERBOSE << "[F] from_json WatermarkOptions";
    readIfPresent(j, "strings", options.strings);
    readIfPresent(j, "page", options.page);
    readIfPresent(j, "x", options.x);
    readIfPresent(j, "y", options.y);
    readIfPresent(j, "x2", options.x2);
    readIfPresent(j, "y2", options.y2);
    readIfPresent(j, "clickable", options.clickable);
    readIfPresent(j, "padding", options.padding);
    readIfPresent(j, "stroke_width", options.stroke_width);
    readIfPresent(j, "split_long_strings", options.split_long_strings);
}

void from_json(const nlohmann::json& args, SignOptions& options) {
    VLOG_VERBOSE << "[F] from_json SignOptions";
    if (args.contains("sign_info") && args.at("sign_info").is_object()) {
        const auto& info = args.at("sign_info");
        if (info.contains("search_string")) {
            options.search_string = base64::decode(info.at("search_string").get<std::string>());
        }
        readIfPresent(info, "provider", options.provider);
        readIfPresent(info, "cades_type", options.cades_type);
        readIfPresent(info, "tsp_url", options.tsp_url);
        readIfPresent(info, "ocsp_url", options.ocsp_url);
        readIfPresent(info, "attach_type", options.attach_type);
        readIfPresent(info, "watermark", options.watermark);
        readIfPresent(info, "cosign", options.cosign);
        readIfPresent(info, "cosign_force", options.cosign_force);
        readIfPresent(info, "save_with_errors", options.save_with_errors);
    }
    readBase64PathIfPresent(args, "file", options.file);
    readBase64PathIfPresent(args, "output_file", options.output_file);
    readIfPresent(args, "reason", options.reason);
    readIfPresent(args, "lang", options.lang);
    readIfPresent(args, "document", options.document);
    readIfPresent(args, "signature", options.signature);
}

}  // namespace Vesk::Crypto

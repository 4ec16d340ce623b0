#pragma once
// What a "sign" request asks for.

#include "model/Enums.h"

#include <nlohmann/json.hpp>

#include <filesystem>
#include <string>
#include <vector>

namespace Vesk::Crypto {

struct WatermarkOptions {
    struct WatermarkStrings {
        std::string text;
        std::string font = "Courier New";
        std::string font_color = "#6480e8";
        PdfTextAlignment alignment = PdfTextAlignment::Left;
        float font_size = 9.0f;
        float line_spacing = 0.0f;
        bool bold = false;
        bool italic = false;
    };

    std::vector<WatermarkStrings> strings;
    int32_t page = -1;  // -1: not given
    float x = -1.0f;
    float y = -1.0f;
    float x2 = -1.0f;
    float y2 = -1.0f;
    float padding = 5.0f;
    float stroke_width = 2.0f;
    bool clickable = false;
    bool split_long_strings = true;
};

struct SignOptions {
    WatermarkOptions watermark;
    std::filesystem::path file;
    std::filesystem::path output_file;
    std::string search_string;
    std::string tsp_url;
    std::string ocsp_url;
    std::string reason = "Причина не указана";
    std::string document;
    std::string signature;
    SignAttachType attach_type = SignAttachType::None;
    CadesType cades_type = CadesType::CadesBes;
    CryptoProvider provider = CryptoProvider::None;
    bool cosign = false;
    bool cosign_force = false;
    bool save_with_errors = true;
    std::string lang = "ru";
};

// What the module itself adds to a sign request, carried beside it to the signers; nothing yet.
struct InternalSignOptions {};

void from_json(const nlohmann::json& j, WatermarkOptions::WatermarkStrings& line);
void to_json(nlohmann::json& j, const WatermarkOptions::WatermarkStrings& line);
void from_json(const nlohmann::json& j, WatermarkOptions& options);
void from_json(const nlohmann::json& args, SignOptions& options);

}  // namespace Vesk::Crypto

#include "model/Results.h"

#include "common/Base64.h"
#include "common/Logging.h"

namespace Vesk::Crypto {
namespace {

std::string signingTimeText(const std::string& time) { return time == kNoSigningTime ? std::string() : time; }

}  // namespace

std::string getSerialNumber(const unsigned char* bytes, unsigned int length) {
    static constexpr char kDigits[] = "0123456789ABCDEF";
    std::string text = "0x";
    text.reserve(2 + 2 * static_cast<size_t>(length));
    for (unsigned int i = length; i > 0; --i) {
        const unsigned char byte = bytes[i - 1];
        text += kDigits[byte >> 4];
        text += kDigits[byte & 0x0F];
    }
    return text;
}

void to_json(nlohmann::json& j, const Certificate& certificate) {
    j["Issuer"] = base64::encode(certificate.issuer);
    j["Subject"] = base64::encode(certificate.subject);
    j["NotBefore"] = certificate.notBefore;
    j["NotAfter"] = certificate.notAfter;
    j["SerialNumber"] = certificate.serialNumber;
    j["SigningTime"] = signingTimeText(certificate.signingTime);
}

void to_json(nlohmann::json& j, const CertificatePtr& certificate) {
    if (certificate) to_json(j, *certificate);
}

void to_json(nlohmann::json& j, const SignInfo& info) {
    if (!info.certificate) {
        VLOG_ERROR << "In JSON serialization SignInfo struct - member 'certificate' is null";
        return;
    }
    const auto& certificate = *info.certificate;
    j["Issuer"] = base64::encode(certificate.issuer);
    j["Subject"] = base64::encode(certificate.subject);
    j["NotBefore"] = certificate.notBefore;
    j["NotAfter"] = certificate.notAfter;
    j["SigningTime"] = signingTimeText(certificate.signingTime);
    j["SerialNumber"] = certificate.serialNumber;
    j["Verifyed"] = info.verified;  // compat: hosts read this key spelt so
}

void to_json(nlohmann::json& j, const SignInfoPtr& info) {
    if (info) to_json(j, *info);
}

void to_json(nlohmann::json& j, const ResultWithSigners& result) {
    VLOG_VERBOSE << "[F] to_json ResultWithSigners";
    j["error"] = nullptr;
    j["data"] = nullptr;
    if (result.signers && !result.signers->empty()) {
        j["data"] = *result.signers;
    } else {
        j["error"] = result.errors;
    }
    if (result.chain) j["chain"] = *result.chain;
}

void to_json(nlohmann::json& j, const RequestApiResult& result) {
    VLOG_VERBOSE << "[F] to_json RequestApiResult";
    j["error"] = nullptr;
    j["data"] = result.success;
    if (!result.success) j["error"] = result.errors;
}

std::ostream& operator<<(std::ostream& out, const Certificate& certificate) {
    return out << "Issuer: " << certificate.issuer << " <> Subject: " << certificate.subject
               << " <> SerialNumber: " << certificate.serialNumber << " <> NotBefore: " << certificate.notBefore
               << " <> NotAfter: " << certificate.notAfter;
}

}  // namespace Vesk::Crypto

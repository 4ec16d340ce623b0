#pragma once
// What the back-end reports: certificates, signers, verification results, plain results.

#include <nlohmann/json.hpp>

#include <memory>
#include <ostream>
#include <string>
#include <vector>

namespace Vesk::Crypto {

// Signing time of a certificate that carried no signing time.
inline constexpr const char* kNoSigningTime = "01/01/1601 00:00:00 UTC";

struct Certificate {
    std::string subject;
    std::string issuer;
    std::string notBefore;
    std::string notAfter;
    std::string serialNumber;
    std::string signingTime;
};
using CertificatePtr = std::shared_ptr<Certificate>;

struct SignInfo {
    CertificatePtr certificate;
    bool verified = false;
};
using SignInfoPtr = std::shared_ptr<SignInfo>;

struct ResultWithSigners {
    std::shared_ptr<std::vector<SignInfoPtr>> signers;
    std::shared_ptr<std::vector<CertificatePtr>> chain;
    std::vector<std::string> errors;
    // A signed PDF that goes on past its last valid signature: bytes no signature covers.
    bool unsignedChanges = false;
};
using VerifySignResultPtr = std::shared_ptr<ResultWithSigners>;

struct RequestApiResult {
    bool success = false;
    std::vector<std::string> errors;
};
using RequestApiResultPtr = std::shared_ptr<RequestApiResult>;

// "0x" and two upper-case hex digits per byte, last byte first (the bytes are little-endian).
std::string getSerialNumber(const unsigned char* bytes, unsigned int length);

void to_json(nlohmann::json& j, const Certificate& certificate);
void to_json(nlohmann::json& j, const CertificatePtr& certificate);
void to_json(nlohmann::json& j, const SignInfo& info);
void to_json(nlohmann::json& j, const SignInfoPtr& info);
void to_json(nlohmann::json& j, const ResultWithSigners& result);
void to_json(nlohmann::json& j, const RequestApiResult& result);

std::ostream& operator<<(std::ostream& out, const Certificate& certificate);

}  // namespace Vesk::Crypto

#include "cryptopro/CpTexts.h"

#include "cryptopro/CryptoProLibApi.h"

#include <array>
#include <cstdio>
#include <vector>

namespace Vesk::Crypto::CryptoPro {
namespace {

constexpr DWORD kNameBufferSize = 4096;
constexpr int kAnsiBufferSize = 500;

// Subject (flags 0) or issuer (CERT_NAME_ISSUER_FLAG) as "CN=..., O=..., C=RU"; empty on failure.
bool certificateName(PCCERT_CONTEXT context, DWORD flags, std::string& name) {
    std::vector<char> buffer(kNameBufferSize, '\0');
    DWORD stringType = CERT_X500_NAME_STR | CERT_NAME_STR_REVERSE_FLAG;
    const DWORD written = CryptoProLibApi::instance().CertGetNameStringA(context, CERT_NAME_RDN_TYPE, flags,
                                                                         &stringType, buffer.data(), kNameBufferSize);
    if (written == 0) return false;
    name.assign(buffer.data());
    return true;
}

}  // namespace

std::string MyCertGetFileTime(FILETIME time) {
    SYSTEMTIME system{};
    if (!CryptoProLibApi::instance().FileTimeToSystemTime(&time, &system)) return "Time not valid!";
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "%02u/%02u/%u %02u:%02u:%02u UTC", system.wDay, system.wMonth, system.wYear,
                  system.wHour, system.wMinute, system.wSecond);
    return text.data();
}

void WideToAnsi(const std::wstring& wide, std::string& out) {
    std::array<char, kAnsiBufferSize> buffer{};
    CryptoProLibApi::instance().WideCharToMultiByte(65001, 0, wide.c_str(), -1, buffer.data(), kAnsiBufferSize, nullptr,
                                                    nullptr);
    out.assign(buffer.data(), buffer.size());  // compat: always the whole 500-byte buffer, zeros included
}

void AnsiToUTF8(const std::string& in, std::string& out) {
    std::array<wchar_t, kAnsiBufferSize> wide{};
    CryptoProLibApi::instance().MultiByteToWideChar(0, 0, in.c_str(), -1, wide.data(), kAnsiBufferSize);
    WideToAnsi(std::wstring(wide.data()), out);
}

CertificatePtr certContextToObject(PCCERT_CONTEXT context) {
    if (context == nullptr) return nullptr;
    auto certificate = std::make_shared<Certificate>();
    if (!certificateName(context, 0, certificate->subject) ||
        !certificateName(context, CERT_NAME_ISSUER_FLAG, certificate->issuer)) {
        return nullptr;
    }
    const auto* info = context->pCertInfo;
    certificate->serialNumber = getSerialNumber(info->SerialNumber.pbData, info->SerialNumber.cbData);
    certificate->notBefore = MyCertGetFileTime(info->NotBefore);
    certificate->notAfter = MyCertGetFileTime(info->NotAfter);
    return certificate;
}

}  // namespace Vesk::Crypto::CryptoPro

// Text conversion between wchar_t (UTF-32 on this platform) and multibyte text.
// Only UTF-8 exists here: code page 0 (the active code page) is UTF-8 as well.
#include "wide_chars.h"

#include <algorithm>
#include <cstring>

#include "abi.h"
#include "last_error.h"

namespace cades_emulator {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

bool isScalarValue(char32_t c) { return c < 0xD800 || (c > 0xDFFF && c <= 0x10FFFF); }

void appendUtf8(std::string& out, char32_t c) {
    if (!isScalarValue(c)) c = kReplacement;
    if (c < 0x80) {
        out += static_cast<char>(c);
    } else if (c < 0x800) {
        out += static_cast<char>(0xC0 | (c >> 6));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        out += static_cast<char>(0xE0 | (c >> 12));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (c >> 18));
        out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    }
}

// Decodes one UTF-8 sequence at `pos`; advances `pos`. Returns false on a malformed one.
bool decodeUtf8(const std::string& in, size_t& pos, char32_t& out) {
    const auto byte = [&](size_t i) { return static_cast<unsigned char>(in[i]); };
    const unsigned char lead = byte(pos);
    size_t length = 0;
    char32_t value = 0;
    char32_t minimum = 0;
    if (lead < 0x80) {
        out = lead;
        ++pos;
        return true;
    } else if ((lead & 0xE0) == 0xC0) {
        length = 2, value = lead & 0x1F, minimum = 0x80;
    } else if ((lead & 0xF0) == 0xE0) {
        length = 3, value = lead & 0x0F, minimum = 0x800;
    } else if ((lead & 0xF8) == 0xF0) {
        length = 4, value = lead & 0x07, minimum = 0x10000;
    } else {
        ++pos;
        return false;
    }
    for (size_t i = 1; i < length; ++i) {
        if (pos + i >= in.size() || (byte(pos + i) & 0xC0) != 0x80) {
            pos += i;
            return false;
        }
        value = (value << 6) | (byte(pos + i) & 0x3F);
    }
    pos += length;
    if (value < minimum || !isScalarValue(value)) return false;
    out = value;
    return true;
}

bool isSupportedCodePage(UINT codePage) { return codePage == CP_UTF8 || codePage == CP_ACP; }

}  // namespace

std::string wideToUtf8(const std::wstring& wide) {
    std::string out;
    out.reserve(wide.size());
    for (wchar_t c : wide) appendUtf8(out, static_cast<char32_t>(c));
    return out;
}

std::wstring utf8ToWide(const std::string& utf8, bool* valid) {
    std::wstring out;
    if (valid != nullptr) *valid = true;
    size_t pos = 0;
    while (pos < utf8.size()) {
        char32_t c = 0;
        if (!decodeUtf8(utf8, pos, c)) {
            c = kReplacement;
            if (valid != nullptr) *valid = false;
        }
        out += static_cast<wchar_t>(c);
    }
    return out;
}

}  // namespace cades_emulator

using namespace cades_emulator;

extern "C" int WideCharToMultiByte(UINT CodePage, DWORD dwFlags, LPCWSTR lpWideCharStr, int cchWideChar,
                                   LPSTR lpMultiByteStr, int cbMultiByte, LPCSTR lpDefaultChar,
                                   BOOL* lpUsedDefaultChar) {
    if (!isSupportedCodePage(CodePage) || (dwFlags & ~WC_ERR_INVALID_CHARS) != 0 || lpWideCharStr == nullptr ||
        cchWideChar == 0 || cchWideChar < -1 || cbMultiByte < 0 || (cbMultiByte > 0 && lpMultiByteStr == nullptr))
        return fail(ERROR_INVALID_PARAMETER);
    // UTF-8 has no unmappable characters, so a default character makes no sense.
    if (lpDefaultChar != nullptr || lpUsedDefaultChar != nullptr) return fail(ERROR_INVALID_PARAMETER);

    // -1 means zero-terminated, and the terminator is converted and counted too.
    const size_t length = cchWideChar == -1 ? std::wcslen(lpWideCharStr) + 1 : static_cast<size_t>(cchWideChar);
    const std::wstring wide(lpWideCharStr, length);
    if ((dwFlags & WC_ERR_INVALID_CHARS) != 0 &&
        std::any_of(wide.begin(), wide.end(), [](wchar_t c) { return !isScalarValue(static_cast<char32_t>(c)); }))
        return fail(ERROR_NO_UNICODE_TRANSLATION);
    const std::string converted = wideToUtf8(wide);
    if (cbMultiByte == 0) return static_cast<int>(converted.size());
    if (converted.size() > static_cast<size_t>(cbMultiByte)) return fail(ERROR_INSUFFICIENT_BUFFER);
    // Exactly the counted characters, as Windows does: a terminator is among them when the input counted one.
    std::memcpy(lpMultiByteStr, converted.data(), converted.size());  // NOLINT(bugprone-not-null-terminated-result)
    return static_cast<int>(converted.size());
}

extern "C" int MultiByteToWideChar(UINT CodePage, DWORD dwFlags, LPCSTR lpMultiByteStr, int cbMultiByte,
                                   LPWSTR lpWideCharStr, int cchWideChar) {
    if (!isSupportedCodePage(CodePage) || (dwFlags & ~MB_ERR_INVALID_CHARS) != 0 || lpMultiByteStr == nullptr ||
        cbMultiByte == 0 || cbMultiByte < -1 || cchWideChar < 0 || (cchWideChar > 0 && lpWideCharStr == nullptr))
        return fail(ERROR_INVALID_PARAMETER);

    const size_t length = cbMultiByte == -1 ? std::strlen(lpMultiByteStr) + 1 : static_cast<size_t>(cbMultiByte);
    bool valid = true;
    const std::wstring converted = utf8ToWide(std::string(lpMultiByteStr, length), &valid);
    if (!valid && (dwFlags & MB_ERR_INVALID_CHARS) != 0) return fail(ERROR_NO_UNICODE_TRANSLATION);
    if (cchWideChar == 0) return static_cast<int>(converted.size());
    if (converted.size() > static_cast<size_t>(cchWideChar)) return fail(ERROR_INSUFFICIENT_BUFFER);
    std::wmemcpy(lpWideCharStr, converted.data(), converted.size());  // NOLINT(bugprone-not-null-terminated-result)
    return static_cast<int>(converted.size());
}

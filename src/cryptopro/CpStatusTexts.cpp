#include "cryptopro/CpStatusTexts.h"

#include "common/Logging.h"
#include "cryptopro/CryptoProLibApi.h"

#include <array>
#include <set>
#include <sstream>
#include <vector>

namespace Vesk::Crypto::CryptoPro {
namespace {

// Indexed by status - 1; only the codes of kDefinedStatuses have a text of their own.
const std::array<const char*, 13> kStatusTexts = {
    "Отсутствуют или имеют неправильный формат атрибуты со ссылками и значениями доказательств подлинности.",
    "Сертификат, на ключе которого было подписано сообщение, не найден.",
    "В сообщении не найден действительный штамп времени на подпись.",
    "Значения ссылок на доказательства подлинности и сами доказательства, вложенные в сообщение, не "
    "соответствуют друг другу.",
    "Не удалось построить цепочку для сертификата, на ключе которого подписано сообщение.",
    "Ошибка проверки конечного сертификата на отзыв.",
    "Ошибка проверки сертификата цепочки на отзыв.",
    "Сообщение содержит неверную подпись.",
    "В сообщении не найден действительный штамп времени на доказательства подлинности подписи.",
    "",
    "",
    "",
    "Значение подписанного атрибута content-type не совпадает со значением, указанным в поле "
    "encapContentInfo.eContentType.",
};

const std::set<DWORD> kDefinedStatuses = {1, 2, 3, 4, 5, 6, 7, 8, 9, 13};

}  // namespace

std::string CadesVerifyMessageDwStatus(DWORD status) {
    std::string text;
    if (kDefinedStatuses.count(status) != 0) {
        text = kStatusTexts.at(status - 1);
    } else {
        // compat: 0 and the gaps 10-12 read as unknown codes too
        text = "Код ошибки: " + std::to_string(status) + " не известен";
    }
    if (!text.empty()) {
        VLOG_ERROR << text;
    }
    return text;
}

std::string GetLastErrorMessage() { return GetLastErrorMessage(CryptoProLibApi::instance().GetLastError()); }

std::string GetLastErrorMessage(DWORD code) {
    auto& api = CryptoProLibApi::instance();
    if (code == 0) return {};

    // With FORMAT_MESSAGE_ALLOCATE_BUFFER the library allocates the text and stores its
    // address through the buffer argument.
    wchar_t* buffer = nullptr;
    const DWORD flags = FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_FROM_SYSTEM;
    const DWORD length =
        api.FormatMessageW(flags, nullptr, code, 0x400, reinterpret_cast<wchar_t*>(&buffer), 0, nullptr);
    std::wstring wide;
    if (length != 0 && buffer != nullptr) wide.assign(buffer, length);
    if (buffer != nullptr) api.LocalFree(buffer);
    if (wide.empty()) return {};

    const int size = api.WideCharToMultiByte(CP_UTF8, 0, wide.c_str(), -1, nullptr, 0, nullptr, nullptr);
    if (size <= 0) return {};
    std::vector<char> utf8(static_cast<size_t>(size), '\0');
    api.WideCharToMultiByte(CP_UTF8, 0, wide.c_str(), -1, utf8.data(), size, nullptr, nullptr);
    return std::string(utf8.data());
}

RequestApiResultPtr GetResultWithError(const std::string& context) {
    return GetResultWithError(context, CryptoProLibApi::instance().GetLastError());
}

RequestApiResultPtr GetResultWithError(const std::string& context, DWORD code) {
    if (code == 0) return nullptr;  // compat: no error code, no result; callers cope with null

    auto result = std::make_shared<RequestApiResult>();
    result->success = false;
    std::string message = GetLastErrorMessage(code);
    if (message.empty()) {
        std::ostringstream text;
        text << "Error 0x" << std::hex << code;
        message = text.str();
    }
    VLOG_ERROR << context << " : " << message;
    result->errors.push_back(message);
    return result;
}

}  // namespace Vesk::Crypto::CryptoPro

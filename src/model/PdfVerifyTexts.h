#pragma once
// The messages a PDF verification gives beside its signer records. Each names the signer it is
// about: its certificate's serial number, or the signature's place in the file when no signer
// could be read.

namespace Vesk::Crypto::PdfVerifyTexts {

// Forged structure: the signature is reported not verified.
inline constexpr const char* kByteRangeMalformed = "tr{Неверный /ByteRange подписи:}";
inline constexpr const char* kHoleNotOwnContents = "tr{Подпись не совпадает со значением /Contents своего словаря:}";
inline constexpr const char* kFirstRangeNotAtStart = "tr{Подписанные данные начинаются не с начала файла:}";
inline constexpr const char* kNotAtRevisionEnd = "tr{Подписанные данные не заканчиваются в конце редакции файла:}";
inline constexpr const char* kDictionaryNotInCrossReference =
    "tr{Словарь подписи не тот, на который указывают ссылки файла:}";

// A signature that gave neither a signer nor a reason.
inline constexpr const char* kSignatureUnreadable = "tr{Подпись не удалось прочитать:}";

// Changed after signing: the signature itself may still verify.
inline constexpr const char* kChangedAfterSigning = "tr{Документ изменён после подписания:}";
inline constexpr const char* kChangesSignedBy = "tr{изменения подписаны подписью}";
inline constexpr const char* kPagesChanged = "tr{страницы}";
inline constexpr const char* kCatalogChanged = "tr{каталог документа}";
inline constexpr const char* kFormChanged = "tr{поля формы}";
inline constexpr const char* kOtherChanged = "tr{прочие объекты}";

// Who a message is about when the signature gave no signer: "tr{подпись} №2".
inline constexpr const char* kSignatureNumber = "tr{подпись} №";

}  // namespace Vesk::Crypto::PdfVerifyTexts

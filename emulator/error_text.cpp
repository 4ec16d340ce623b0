// English message texts for the error codes this library reports (FormatMessageW).
#include <cstring>
#include <cwchar>
#include <unordered_map>

#include "abi.h"
#include "last_error.h"

using namespace cades_emulator;

namespace {

const std::unordered_map<DWORD, const wchar_t*>& messageTable() {
    static const std::unordered_map<DWORD, const wchar_t*> table = {
        {ERROR_SUCCESS, L"The operation completed successfully."},
        {ERROR_INVALID_PARAMETER, L"The parameter is incorrect."},
        {ERROR_INSUFFICIENT_BUFFER, L"The data area passed to a system call is too small."},
        {ERROR_MORE_DATA, L"More data is available."},
        {ERROR_NO_UNICODE_TRANSLATION,
         L"No mapping for the Unicode character exists in the target multi-byte code page."},
        {E_NOTIMPL, L"Not implemented."},
        {E_INVALIDARG, L"The parameter is incorrect."},
        {E_OUTOFMEMORY, L"Not enough memory resources are available to complete this operation."},
        {NTE_BAD_HASH, L"Bad Hash."},
        {NTE_BAD_KEY, L"Bad Key."},
        {NTE_BAD_DATA, L"Bad Data."},
        {NTE_BAD_SIGNATURE, L"Invalid Signature."},
        {NTE_BAD_ALGID, L"Invalid algorithm specified."},
        {NTE_NO_KEY, L"Key does not exist."},
        {NTE_PERM, L"Access denied."},
        {NTE_BAD_KEYSET, L"Keyset does not exist."},
        {CRYPT_E_MSG_ERROR, L"An error occurred while performing an operation on a cryptographic message."},
        {CRYPT_E_INVALID_MSG_TYPE, L"Invalid cryptographic message type."},
        {CRYPT_E_HASH_VALUE, L"The hash value is not correct."},
        {CRYPT_E_INVALID_INDEX, L"The index value is not valid."},
        {CRYPT_E_SIGNER_NOT_FOUND, L"Cannot find the original signer."},
        {CRYPT_E_ATTRIBUTES_MISSING,
         L"The cryptographic message does not contain an expected authenticated attribute."},
        {CRYPT_E_NOT_FOUND, L"Cannot find object or property."},
        {CRYPT_E_EXISTS, L"The object or property already exists."},
        {CRYPT_E_UNEXPECTED_MSG_TYPE, L"The cryptographic message is not of the expected type."},
        {CRYPT_E_NO_SIGNER, L"The signed cryptographic message does not have a signer for the specified signer index."},
        {CRYPT_E_PENDING_CLOSE, L"Final closure is pending until additional frees or closes."},
        {CRYPT_E_REVOKED, L"The certificate is revoked."},
        {CRYPT_E_NO_REVOCATION_CHECK, L"The revocation function was unable to check revocation for the certificate."},
        {CRYPT_E_REVOCATION_OFFLINE,
         L"The revocation function was unable to check revocation because the revocation server was offline."},
        {CRYPT_E_ASN1_BADTAG, L"ASN1 bad tag value met."},
        {CERT_E_EXPIRED,
         L"A required certificate is not within its validity period when verifying against the current system clock."},
        {CERT_E_UNTRUSTEDROOT,
         L"A certificate chain processed, but terminated in a root certificate which is not trusted by the trust "
         L"provider."},
        {CERT_E_CHAINING, L"A certificate chain could not be built to a trusted root authority."},
        {SCARD_W_WRONG_CHV, L"The card cannot be accessed because the wrong PIN was presented."},
        {TSPCLI_ERROR_HTTP, L"HTTP error while connecting to the TSP service."},
        {TSPCLI_ERROR_AddressIsEmpty, L"URL of TSP service is not specified."},
        {TSPCLI_ERROR_IncorrectNonce, L"The time-stamp response carries an incorrect nonce."},
        {TSPCLI_ERROR_UnsuccessfullResponse, L"The TSP service did not grant a valid time-stamp."},
        {OCSPCLI_ERROR_AddressNotFound, L"OCSP service address not found in certificate."},
    };
    return table;
}

DWORD formatMessage(DWORD dwFlags, DWORD dwMessageId, LPWSTR lpBuffer, DWORD nSize) {
    if ((dwFlags & FORMAT_MESSAGE_FROM_SYSTEM) == 0 ||
        (dwFlags & (FORMAT_MESSAGE_FROM_STRING | FORMAT_MESSAGE_FROM_HMODULE)) != 0)
        return fail(E_NOTIMPL);  // only the library's own message table exists
    if (lpBuffer == nullptr) return fail(ERROR_INVALID_PARAMETER);
    const auto& table = messageTable();
    const auto found = table.find(dwMessageId);
    if (found == table.end()) return fail(ERROR_MR_MID_NOT_FOUND);

    const wchar_t* text = found->second;
    const size_t length = std::wcslen(text);
    if ((dwFlags & FORMAT_MESSAGE_ALLOCATE_BUFFER) != 0) {
        // lpBuffer really is a LPWSTR* here; nSize is the minimum to allocate.
        const size_t count = length + 1 > nSize ? length + 1 : nSize;
        auto* allocated = static_cast<wchar_t*>(LocalAlloc(LMEM_ZEROINIT, count * sizeof(wchar_t)));
        if (allocated == nullptr) return 0;
        std::wmemcpy(allocated, text, length + 1);
        std::memcpy(lpBuffer, &allocated, sizeof allocated);
        return static_cast<DWORD>(length);
    }
    if (nSize < length + 1) return fail(ERROR_INSUFFICIENT_BUFFER);
    std::wmemcpy(lpBuffer, text, length + 1);
    return static_cast<DWORD>(length);
}

}  // namespace

extern "C" DWORD FormatMessageW(DWORD dwFlags, LPCVOID lpSource, DWORD dwMessageId, DWORD dwLanguageId, LPWSTR lpBuffer,
                                DWORD nSize, va_list* Arguments) {
    (void)lpSource, (void)dwLanguageId, (void)Arguments;  // one language, no inserts in these texts
    return formatMessage(dwFlags, dwMessageId, lpBuffer, nSize);
}

extern "C" DWORD CadesFormatMessage(DWORD dwFlags, LPCVOID lpSource, DWORD dwMessageId, DWORD dwLanguageId,
                                    LPWSTR lpBuffer, DWORD nSize, va_list* Arguments) {
    (void)lpSource, (void)dwLanguageId, (void)Arguments;
    return formatMessage(dwFlags, dwMessageId, lpBuffer, nSize);
}

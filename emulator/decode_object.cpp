// CryptDecodeObject for the time types: the signing-time attribute value and
// PKCS_UTC_TIME (a UTCTime or GeneralizedTime in DER) to FILETIME.
#include <cstring>

#include <openssl/asn1.h>

#include "file_time.h"
#include "last_error.h"
#include "openssl_ptr.h"

using namespace cades_emulator;

namespace {

bool isTimeType(LPCSTR structType) {
    if (structType == PKCS_UTC_TIME) return true;
    // Small integers are predefined structure types, not OID texts.
    return reinterpret_cast<uintptr_t>(structType) > 0xFFFF && std::strcmp(structType, szOID_RSA_signingTime) == 0;
}

}  // namespace

extern "C" BOOL CryptDecodeObject(DWORD dwCertEncodingType, LPCSTR lpszStructType, const BYTE* pbEncoded,
                                  DWORD cbEncoded, DWORD dwFlags, void* pvStructInfo, DWORD* pcbStructInfo) {
    (void)dwCertEncodingType;
    if (lpszStructType == nullptr || pbEncoded == nullptr || cbEncoded == 0 || pcbStructInfo == nullptr)
        return fail(E_INVALIDARG);
    if (!isTimeType(lpszStructType)) return fail(E_NOTIMPL);

    const unsigned char* cursor = pbEncoded;
    Asn1TimePtr time(d2i_ASN1_TIME(nullptr, &cursor, static_cast<long>(cbEncoded)));
    if (!time) return fail(CRYPT_E_ASN1_BADTAG);
    const std::optional<FILETIME> fileTime = asn1TimeToFileTime(time.get());
    if (!fileTime) return fail(CRYPT_E_ASN1_BADTAG);

    if ((dwFlags & CRYPT_DECODE_ALLOC_FLAG) != 0) {
        if (pvStructInfo == nullptr) return fail(E_INVALIDARG);
        void* allocated = LocalAlloc(LMEM_ZEROINIT, sizeof(FILETIME));
        if (allocated == nullptr) return FALSE;
        std::memcpy(allocated, &*fileTime, sizeof(FILETIME));
        std::memcpy(pvStructInfo, &allocated, sizeof allocated);
        *pcbStructInfo = sizeof(FILETIME);
        return TRUE;
    }
    if (pvStructInfo == nullptr) {
        *pcbStructInfo = sizeof(FILETIME);
        return TRUE;
    }
    if (*pcbStructInfo < sizeof(FILETIME)) {
        *pcbStructInfo = sizeof(FILETIME);
        return fail(ERROR_MORE_DATA);
    }
    std::memcpy(pvStructInfo, &*fileTime, sizeof(FILETIME));
    *pcbStructInfo = sizeof(FILETIME);
    return TRUE;
}

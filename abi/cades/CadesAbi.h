// Binary interface of the CAdES library and of the CryptoAPI-style functions it
// exports, as laid out on 64-bit Unix (LP64: DWORD/BOOL 4 bytes, pointers 8,
// wchar_t 4). Shared by the module's run-time binding and by the CAdES emulator,
// so both sides agree on every structure; each layout is pinned with
// static_assert in CadesLayoutChecks.cpp.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cwchar>

// ---------------------------------------------------------------------------
// Base types
// ---------------------------------------------------------------------------
typedef unsigned int DWORD;
typedef int BOOL;
typedef int CSP_BOOL;  // the library's boolean in the CAdES prototypes; an int
typedef int LONG;
typedef LONG HRESULT;
typedef unsigned long ULONG;  // 8 bytes on LP64, unlike Windows
typedef unsigned short WORD;
typedef unsigned char BYTE;
typedef unsigned int UINT;
typedef unsigned int ALG_ID;
typedef unsigned long long ULONG_PTR;
typedef unsigned long long SIZE_T;
typedef unsigned long long HCRYPTPROV;
typedef unsigned long long HCRYPTKEY;
typedef unsigned long long HCRYPTHASH;
typedef unsigned long long HCRYPTPROV_OR_NCRYPT_KEY_HANDLE;
typedef void* HCERTSTORE;
typedef void* HCRYPTMSG;
typedef void* HLOCAL;
typedef void* LPVOID;
typedef const void* LPCVOID;
typedef char* LPSTR;
typedef const char* LPCSTR;
typedef wchar_t WCHAR;
typedef wchar_t* LPWSTR;
typedef const wchar_t* LPCWSTR;
typedef BYTE* PBYTE;
typedef DWORD* PDWORD;

#ifndef TRUE
#define TRUE 1
#endif
#ifndef FALSE
#define FALSE 0
#endif

// ---------------------------------------------------------------------------
// CryptoAPI structures
// ---------------------------------------------------------------------------
typedef struct _CRYPTOAPI_BLOB {
    DWORD cbData;
    BYTE* pbData;
} CRYPTOAPI_BLOB, *PCRYPTOAPI_BLOB, CRYPT_INTEGER_BLOB, *PCRYPT_INTEGER_BLOB, CRYPT_UINT_BLOB, *PCRYPT_UINT_BLOB,
    CRYPT_OBJID_BLOB, *PCRYPT_OBJID_BLOB, CERT_NAME_BLOB, *PCERT_NAME_BLOB, CERT_RDN_VALUE_BLOB, *PCERT_RDN_VALUE_BLOB,
    CERT_BLOB, *PCERT_BLOB, CRL_BLOB, *PCRL_BLOB, DATA_BLOB, *PDATA_BLOB, CRYPT_DATA_BLOB, *PCRYPT_DATA_BLOB,
    CRYPT_HASH_BLOB, *PCRYPT_HASH_BLOB, CRYPT_DIGEST_BLOB, *PCRYPT_DIGEST_BLOB, CRYPT_DER_BLOB, *PCRYPT_DER_BLOB,
    CRYPT_ATTR_BLOB, *PCRYPT_ATTR_BLOB;

typedef struct _CRYPT_ALGORITHM_IDENTIFIER {
    LPSTR pszObjId;
    CRYPT_OBJID_BLOB Parameters;
} CRYPT_ALGORITHM_IDENTIFIER, *PCRYPT_ALGORITHM_IDENTIFIER;

typedef struct _CRYPT_BIT_BLOB {
    DWORD cbData;
    BYTE* pbData;
    DWORD cUnusedBits;
} CRYPT_BIT_BLOB, *PCRYPT_BIT_BLOB;

typedef struct _CERT_PUBLIC_KEY_INFO {
    CRYPT_ALGORITHM_IDENTIFIER Algorithm;
    CRYPT_BIT_BLOB PublicKey;
} CERT_PUBLIC_KEY_INFO, *PCERT_PUBLIC_KEY_INFO;

typedef struct _CERT_EXTENSION {
    LPSTR pszObjId;
    BOOL fCritical;
    CRYPT_OBJID_BLOB Value;
} CERT_EXTENSION, *PCERT_EXTENSION;

typedef struct _FILETIME {
    DWORD dwLowDateTime;
    DWORD dwHighDateTime;
} FILETIME, *PFILETIME, *LPFILETIME;

typedef struct _SYSTEMTIME {
    WORD wYear;
    WORD wMonth;
    WORD wDayOfWeek;
    WORD wDay;
    WORD wHour;
    WORD wMinute;
    WORD wSecond;
    WORD wMilliseconds;
} SYSTEMTIME, *PSYSTEMTIME, *LPSYSTEMTIME;

typedef struct _CERT_INFO {
    DWORD dwVersion;
    CRYPT_INTEGER_BLOB SerialNumber;  // little-endian, as CryptoAPI keeps it
    CRYPT_ALGORITHM_IDENTIFIER SignatureAlgorithm;
    CERT_NAME_BLOB Issuer;
    FILETIME NotBefore;
    FILETIME NotAfter;
    CERT_NAME_BLOB Subject;
    CERT_PUBLIC_KEY_INFO SubjectPublicKeyInfo;
    CRYPT_BIT_BLOB IssuerUniqueId;
    CRYPT_BIT_BLOB SubjectUniqueId;
    DWORD cExtension;
    PCERT_EXTENSION rgExtension;
} CERT_INFO, *PCERT_INFO;

typedef struct _CERT_CONTEXT {
    DWORD dwCertEncodingType;
    BYTE* pbCertEncoded;
    DWORD cbCertEncoded;
    PCERT_INFO pCertInfo;
    HCERTSTORE hCertStore;
} CERT_CONTEXT, *PCERT_CONTEXT;
typedef const CERT_CONTEXT* PCCERT_CONTEXT;

struct _CRL_CONTEXT;  // never dereferenced here
typedef const struct _CRL_CONTEXT* PCCRL_CONTEXT;

typedef struct _CRYPT_ATTRIBUTE {
    LPSTR pszObjId;
    DWORD cValue;
    PCRYPT_ATTR_BLOB rgValue;
} CRYPT_ATTRIBUTE, *PCRYPT_ATTRIBUTE;

typedef struct _CRYPT_ATTRIBUTES {
    DWORD cAttr;
    PCRYPT_ATTRIBUTE rgAttr;
} CRYPT_ATTRIBUTES, *PCRYPT_ATTRIBUTES;

typedef struct _CRYPT_SIGN_MESSAGE_PARA {
    DWORD cbSize;
    DWORD dwMsgEncodingType;
    PCCERT_CONTEXT pSigningCert;
    CRYPT_ALGORITHM_IDENTIFIER HashAlgorithm;
    void* pvHashAuxInfo;
    DWORD cMsgCert;
    PCCERT_CONTEXT* rgpMsgCert;
    DWORD cMsgCrl;
    PCCRL_CONTEXT* rgpMsgCrl;
    DWORD cAuthAttr;
    PCRYPT_ATTRIBUTE rgAuthAttr;
    DWORD cUnauthAttr;
    PCRYPT_ATTRIBUTE rgUnauthAttr;
    DWORD dwFlags;
    DWORD dwInnerContentType;
} CRYPT_SIGN_MESSAGE_PARA, *PCRYPT_SIGN_MESSAGE_PARA;

typedef PCCERT_CONTEXT (*PFN_CRYPT_GET_SIGNER_CERTIFICATE)(void* pvGetArg, DWORD dwCertEncodingType,
                                                           PCERT_INFO pSignerId, HCERTSTORE hMsgCertStore);

typedef struct _CRYPT_VERIFY_MESSAGE_PARA {
    DWORD cbSize;
    DWORD dwMsgAndCertEncodingType;
    HCRYPTPROV hCryptProv;
    PFN_CRYPT_GET_SIGNER_CERTIFICATE pfnGetSignerCertificate;
    void* pvGetArg;
} CRYPT_VERIFY_MESSAGE_PARA, *PCRYPT_VERIFY_MESSAGE_PARA;

typedef struct _CMSG_SIGNER_ENCODE_INFO {
    DWORD cbSize;
    PCERT_INFO pCertInfo;
    HCRYPTPROV hCryptProv;
    DWORD dwKeySpec;
    CRYPT_ALGORITHM_IDENTIFIER HashAlgorithm;
    void* pvHashAuxInfo;
    DWORD cAuthAttr;
    PCRYPT_ATTRIBUTE rgAuthAttr;
    DWORD cUnauthAttr;
    PCRYPT_ATTRIBUTE rgUnauthAttr;
} CMSG_SIGNER_ENCODE_INFO, *PCMSG_SIGNER_ENCODE_INFO;

typedef struct _CMSG_SIGNED_ENCODE_INFO {
    DWORD cbSize;
    DWORD cSigners;
    PCMSG_SIGNER_ENCODE_INFO rgSigners;
    DWORD cCertEncoded;
    PCERT_BLOB rgCertEncoded;
    DWORD cCrlEncoded;
    PCRL_BLOB rgCrlEncoded;
} CMSG_SIGNED_ENCODE_INFO, *PCMSG_SIGNED_ENCODE_INFO;

typedef struct _CERT_ISSUER_SERIAL_NUMBER {
    CERT_NAME_BLOB Issuer;
    CRYPT_INTEGER_BLOB SerialNumber;
} CERT_ISSUER_SERIAL_NUMBER, *PCERT_ISSUER_SERIAL_NUMBER;

typedef struct _CERT_ID {
    DWORD dwIdChoice;
    union {
        CERT_ISSUER_SERIAL_NUMBER IssuerSerialNumber;
        CRYPT_HASH_BLOB KeyId;
        CRYPT_HASH_BLOB HashId;
    } f_name;  // named, not anonymous, in the vendor's Unix headers
} CERT_ID, *PCERT_ID;

typedef struct _CMSG_SIGNER_INFO {
    DWORD dwVersion;
    CERT_NAME_BLOB Issuer;
    CRYPT_INTEGER_BLOB SerialNumber;
    CRYPT_ALGORITHM_IDENTIFIER HashAlgorithm;
    CRYPT_ALGORITHM_IDENTIFIER HashEncryptionAlgorithm;
    CRYPT_DATA_BLOB EncryptedHash;
    CRYPT_ATTRIBUTES AuthAttrs;
    CRYPT_ATTRIBUTES UnauthAttrs;
} CMSG_SIGNER_INFO, *PCMSG_SIGNER_INFO;

typedef BOOL (*PFN_CMSG_STREAM_OUTPUT)(const void* pvArg, BYTE* pbData, DWORD cbData, BOOL fFinal);

typedef struct _CMSG_STREAM_INFO {
    DWORD cbContent;
    PFN_CMSG_STREAM_OUTPUT pfnStreamOutput;
    void* pvArg;
} CMSG_STREAM_INFO, *PCMSG_STREAM_INFO;

typedef struct _CRYPT_SEQUENCE_OF_ANY {
    DWORD cValue;
    PCRYPT_DER_BLOB rgValue;
} CRYPT_SEQUENCE_OF_ANY, *PCRYPT_SEQUENCE_OF_ANY;

// Certificate chains
typedef struct _CERT_ENHKEY_USAGE {
    DWORD cUsageIdentifier;
    LPSTR* rgpszUsageIdentifier;
} CERT_ENHKEY_USAGE, *PCERT_ENHKEY_USAGE, CTL_USAGE, *PCTL_USAGE;

typedef struct _CERT_USAGE_MATCH {
    DWORD dwType;
    CERT_ENHKEY_USAGE Usage;
} CERT_USAGE_MATCH, *PCERT_USAGE_MATCH;

typedef struct _CERT_CHAIN_PARA {
    DWORD cbSize;
    CERT_USAGE_MATCH RequestedUsage;
} CERT_CHAIN_PARA, *PCERT_CHAIN_PARA;

typedef struct _CERT_TRUST_STATUS {
    DWORD dwErrorStatus;
    DWORD dwInfoStatus;
} CERT_TRUST_STATUS, *PCERT_TRUST_STATUS;

struct _CERT_REVOCATION_INFO;  // never filled by the emulator
struct _CERT_TRUST_LIST_INFO;

typedef struct _CERT_CHAIN_ELEMENT {
    DWORD cbSize;
    PCCERT_CONTEXT pCertContext;
    CERT_TRUST_STATUS TrustStatus;
    struct _CERT_REVOCATION_INFO* pRevocationInfo;
    PCERT_ENHKEY_USAGE pIssuanceUsage;
    PCERT_ENHKEY_USAGE pApplicationUsage;
    LPCWSTR pwszExtendedErrorInfo;
} CERT_CHAIN_ELEMENT, *PCERT_CHAIN_ELEMENT;
typedef const CERT_CHAIN_ELEMENT* PCCERT_CHAIN_ELEMENT;

typedef struct _CERT_SIMPLE_CHAIN {
    DWORD cbSize;
    CERT_TRUST_STATUS TrustStatus;
    DWORD cElement;
    PCERT_CHAIN_ELEMENT* rgpElement;
    struct _CERT_TRUST_LIST_INFO* pTrustListInfo;
    BOOL fHasRevocationFreshnessTime;
    DWORD dwRevocationFreshnessTime;
} CERT_SIMPLE_CHAIN, *PCERT_SIMPLE_CHAIN;
typedef const CERT_SIMPLE_CHAIN* PCCERT_SIMPLE_CHAIN;

typedef struct _CERT_CHAIN_CONTEXT CERT_CHAIN_CONTEXT, *PCERT_CHAIN_CONTEXT;
typedef const CERT_CHAIN_CONTEXT* PCCERT_CHAIN_CONTEXT;
struct _CERT_CHAIN_CONTEXT {
    DWORD cbSize;
    CERT_TRUST_STATUS TrustStatus;
    DWORD cChain;
    PCERT_SIMPLE_CHAIN* rgpChain;
    DWORD cLowerQualityChainContext;
    PCCERT_CHAIN_CONTEXT* rgpLowerQualityChainContext;
    BOOL fHasRevocationFreshnessTime;
    DWORD dwRevocationFreshnessTime;
};

// ---------------------------------------------------------------------------
// CAdES structures. The vendor's optional tail fields (CADES_PARA_HAS_EXTRA_FIELDS,
// CADES_PARA_HAS_EXTRA_TIME_FIELDS, *_HAS_CMS_FIELDS) are not used: callers pass
// the default sizes.
// ---------------------------------------------------------------------------
typedef struct _CADES_AUTH_PARA {
    DWORD dwSize;
    DWORD dwAuthType;
    LPCWSTR wszUsername;
    LPCWSTR wszPassword;
    PCCERT_CONTEXT pClientCertificate;
} CADES_AUTH_PARA, *PCADES_AUTH_PARA;

typedef struct _CADES_SERVICE_CONNECTION_PARA {
    DWORD dwSize;
    LPCWSTR wszUri;
    PCADES_AUTH_PARA pAuthPara;
} CADES_SERVICE_CONNECTION_PARA, *PCADES_SERVICE_CONNECTION_PARA;

typedef struct _CADES_PROXY_PARA {
    DWORD dwSize;
    LPCWSTR wszProxyUri;
    PCADES_AUTH_PARA pProxyAuthPara;
} CADES_PROXY_PARA, *PCADES_PROXY_PARA;

typedef struct _CADES_SIGN_PARA {
    DWORD dwSize;
    DWORD dwCadesType;
    PCCERT_CONTEXT pSignerCert;
    LPCSTR szHashAlgorithm;
    HCERTSTORE hAdditionalStore;
    PCADES_SERVICE_CONNECTION_PARA pTspConnectionPara;
    PCADES_PROXY_PARA pProxyPara;
    LPVOID pCadesExtraPara;
} CADES_SIGN_PARA, *PCADES_SIGN_PARA;

typedef struct _CADES_EXTRA_PARA {
    DWORD dwSize;
    DWORD dwFlags;
} CADES_EXTRA_PARA, *PCADES_EXTRA_PARA;

typedef struct _CADES_COSIGN_PARA {
    DWORD dwSize;
    PCMSG_SIGNER_ENCODE_INFO pSigner;
    PCADES_SIGN_PARA pCadesSignPara;
} CADES_COSIGN_PARA, *PCADES_COSIGN_PARA;

typedef struct _CADES_ENCODE_INFO {
    DWORD dwSize;
    PCMSG_SIGNED_ENCODE_INFO pSignedEncodeInfo;
    DWORD cSignerCerts;
    PCCERT_CONTEXT* rgSignerCerts;
    DWORD cHashAlgorithms;
    LPCSTR* rgHashAlgorithms;
} CADES_ENCODE_INFO, *PCADES_ENCODE_INFO;

typedef struct _CADES_SIGN_MESSAGE_PARA {
    DWORD dwSize;
    PCRYPT_SIGN_MESSAGE_PARA pSignMessagePara;
    PCADES_SIGN_PARA pCadesSignPara;
} CADES_SIGN_MESSAGE_PARA, *PCADES_SIGN_MESSAGE_PARA;

typedef struct _CADES_VERIFICATION_PARA {
    DWORD dwSize;
    LPVOID pMessageContentHash;
    PCADES_PROXY_PARA pProxyPara;
    HCERTSTORE hStore;
    CSP_BOOL bReserved2;
    LPVOID pReserved3;
    DWORD dwCadesType;
} CADES_VERIFICATION_PARA, *PCADES_VERIFICATION_PARA;

typedef struct _CADES_VERIFICATION_INFO {
    DWORD dwSize;
    DWORD dwStatus;
    PCCERT_CONTEXT pSignerCert;
    FILETIME* pSigningTime;
    FILETIME* pReserved;
    FILETIME* pSignatureTimeStampTime;
} CADES_VERIFICATION_INFO, *PCADES_VERIFICATION_INFO;

typedef struct _CADES_VERIFY_MESSAGE_PARA {
    DWORD dwSize;
    PCRYPT_VERIFY_MESSAGE_PARA pVerifyMessagePara;
    PCADES_VERIFICATION_PARA pCadesVerifyPara;
} CADES_VERIFY_MESSAGE_PARA, *PCADES_VERIFY_MESSAGE_PARA;

typedef struct _CADES_ENHANCE_MESSAGE_PARA {
    DWORD dwSize;
    DWORD dwMsgEncodingType;
    PCADES_SIGN_PARA pCadesSignPara;
} CADES_ENHANCE_MESSAGE_PARA, *PCADES_ENHANCE_MESSAGE_PARA;

typedef struct _CADES_VIEW_SIGNATURE_PARA {
    DWORD dwSize;
    DWORD dwMsgEncodingType;
    HCRYPTPROV hCryptProv;
} CADES_VIEW_SIGNATURE_PARA, *PCADES_VIEW_SIGNATURE_PARA;

typedef CRYPT_SEQUENCE_OF_ANY CADES_BLOB_ARRAY, *PCADES_BLOB_ARRAY;

// ---------------------------------------------------------------------------
// Constants
// ---------------------------------------------------------------------------
// CAdES message types and flags
#define CADES_DEFAULT 0x00000000u
#define CADES_BES 0x00000001u
#define CADES_T 0x00000005u
#define CADES_X_LONG_TYPE_1 0x0000005Du
#define CADES_A 0x000000DDu
#define PKCS7_TYPE 0x0000FFFFu

// Per-signer verification status
#define CADES_VERIFY_SUCCESS 0u
#define CADES_VERIFY_INVALID_REFS_AND_VALUES 1u
#define CADES_VERIFY_SIGNER_NOT_FOUND 2u
#define CADES_VERIFY_NO_VALID_SIGNATURE_TIMESTAMP 3u
#define CADES_VERIFY_REFS_AND_VALUES_NO_MATCH 4u
#define CADES_VERIFY_NO_CHAIN 5u
#define CADES_VERIFY_END_CERT_REVOCATION 6u
#define CADES_VERIFY_CHAIN_CERT_REVOCATION 7u
#define CADES_VERIFY_BAD_SIGNATURE 8u
#define CADES_VERIFY_NO_VALID_CADES_C_TIMESTAMP 9u
#define CADES_VERIFY_BAD_POLICY 10u
#define CADES_VERIFY_UNSUPPORTED_ATTRIBUTE 11u
#define CADES_VERIFY_FAILED_POLICY 12u
#define CADES_VERIFY_ECONTENTTYPE_NO_MATCH 13u
#define CADES_VERIFY_NO_VALID_ARCHIVE_TIMESTAMP 14u

// Message parameters for CryptMsgGetParam
#define CMSG_TYPE_PARAM 1u
#define CMSG_CONTENT_PARAM 2u
#define CMSG_INNER_CONTENT_TYPE_PARAM 4u
#define CMSG_SIGNER_COUNT_PARAM 5u
#define CMSG_SIGNER_INFO_PARAM 6u
#define CMSG_SIGNER_CERT_INFO_PARAM 7u
#define CMSG_SIGNER_HASH_ALGORITHM_PARAM 8u
#define CMSG_SIGNER_AUTH_ATTR_PARAM 9u
#define CMSG_SIGNER_UNAUTH_ATTR_PARAM 10u
#define CMSG_CERT_COUNT_PARAM 11u
#define CMSG_CERT_PARAM 12u
#define CMSG_CRL_COUNT_PARAM 13u
#define CMSG_ENCODED_MESSAGE 29u

#define CMSG_DETACHED_FLAG 0x00000004u
#define CMSG_SIGNED 2u
#define CMSG_CTRL_VERIFY_SIGNATURE 1u

// Name strings
#define CERT_SIMPLE_NAME_STR 1u
#define CERT_OID_NAME_STR 2u
#define CERT_X500_NAME_STR 3u
#define CERT_NAME_EMAIL_TYPE 1u
#define CERT_NAME_RDN_TYPE 2u
#define CERT_NAME_ATTR_TYPE 3u
#define CERT_NAME_SIMPLE_DISPLAY_TYPE 4u
#define CERT_NAME_FRIENDLY_DISPLAY_TYPE 5u
#define CERT_NAME_ISSUER_FLAG 0x00000001u
#define CERT_NAME_STR_SEMICOLON_FLAG 0x40000000u
#define CERT_NAME_STR_NO_PLUS_FLAG 0x20000000u
#define CERT_NAME_STR_NO_QUOTING_FLAG 0x10000000u
#define CERT_NAME_STR_CRLF_FLAG 0x08000000u
#define CERT_NAME_STR_REVERSE_FLAG 0x02000000u

// Stores
#define CERT_STORE_PROV_MEMORY ((LPCSTR)2)
#define CERT_STORE_PROV_SYSTEM_A ((LPCSTR)9)
#define CERT_STORE_PROV_SYSTEM_W ((LPCSTR)10)
#define CERT_STORE_ADD_NEW 1u
#define CERT_STORE_ADD_ALWAYS 4u
#define CERT_CLOSE_STORE_CHECK_FLAG 0x2u
#define CERT_FIND_ANY 0u
#define CERT_FIND_SHA1_HASH 0x10000u
#define CERT_SHA1_HASH_PROP_ID 3u

#define X509_ASN_ENCODING 0x00000001u
#define PKCS_7_ASN_ENCODING 0x00010000u

#define PKCS_UTC_TIME ((LPCSTR)17)
#define CRYPT_DECODE_ALLOC_FLAG 0x8000u

#define AT_KEYEXCHANGE 1u

// Chain trust status bits
#define CERT_TRUST_NO_ERROR 0x00000000u
#define CERT_TRUST_IS_NOT_TIME_VALID 0x00000001u
#define CERT_TRUST_IS_NOT_SIGNATURE_VALID 0x00000008u
#define CERT_TRUST_IS_UNTRUSTED_ROOT 0x00000020u
#define CERT_TRUST_IS_PARTIAL_CHAIN 0x00010000u

// FormatMessage
#define FORMAT_MESSAGE_ALLOCATE_BUFFER 0x00000100u
#define FORMAT_MESSAGE_IGNORE_INSERTS 0x00000200u
#define FORMAT_MESSAGE_FROM_STRING 0x00000400u
#define FORMAT_MESSAGE_FROM_HMODULE 0x00000800u
#define FORMAT_MESSAGE_FROM_SYSTEM 0x00001000u

// Code pages and LocalAlloc flags
#define CP_ACP 0u
#define CP_UTF8 65001u
#define LMEM_FIXED 0x0000u
#define LMEM_ZEROINIT 0x0040u

// Error codes (same numeric values as on Windows)
#define ERROR_SUCCESS 0u
#define ERROR_INVALID_PARAMETER 87u
#define ERROR_INSUFFICIENT_BUFFER 122u
#define ERROR_MORE_DATA 234u
#define E_NOTIMPL 0x80004001u
#define E_INVALIDARG 0x80070057u
#define E_OUTOFMEMORY 0x8007000Eu
#define NTE_BAD_HASH 0x80090002u
#define NTE_BAD_KEY 0x80090003u
#define NTE_BAD_DATA 0x80090005u
#define NTE_BAD_SIGNATURE 0x80090006u
#define NTE_BAD_ALGID 0x80090008u
#define NTE_NO_KEY 0x8009000Du
#define NTE_PERM 0x80090010u
#define NTE_BAD_KEYSET 0x80090016u
#define CRYPT_E_MSG_ERROR 0x80091001u
#define CRYPT_E_INVALID_MSG_TYPE 0x80091004u
#define CRYPT_E_HASH_VALUE 0x80091007u
#define CRYPT_E_INVALID_INDEX 0x80091008u
#define CRYPT_E_SIGNER_NOT_FOUND 0x8009100Eu
#define CRYPT_E_NOT_FOUND 0x80092004u
#define CRYPT_E_UNEXPECTED_MSG_TYPE 0x8009200Au
#define CRYPT_E_NO_SIGNER 0x8009200Eu
#define CRYPT_E_REVOKED 0x80092010u
#define CRYPT_E_NO_REVOCATION_CHECK 0x80092012u
#define CRYPT_E_REVOCATION_OFFLINE 0x80092013u
#define CRYPT_E_ASN1_BADTAG 0x8009310Bu
#define CERT_E_EXPIRED 0x800B0101u
#define CERT_E_UNTRUSTEDROOT 0x800B0109u
#define CERT_E_CHAINING 0x800B010Au
#define SCARD_W_WRONG_CHV 0x8010006Bu
#define TSPCLI_ERROR_HTTP 0xC2100100u
#define TSPCLI_ERROR_AddressIsEmpty 0xC2100121u

// Object identifiers
#define szOID_RSA_signingTime "1.2.840.113549.1.9.5"
#define szOID_CP_GOST_R3411 "1.2.643.2.2.9"
#define szOID_CP_GOST_R3411_12_256 "1.2.643.7.1.1.2.2"
#define szOID_CP_GOST_R3411_12_512 "1.2.643.7.1.1.2.3"
#define szOID_CP_GOST_R3410EL "1.2.643.2.2.19"
#define szOID_CP_GOST_R3410_12_256 "1.2.643.7.1.1.1.1"
#define szOID_CP_GOST_R3410_12_512 "1.2.643.7.1.1.1.2"

// ---------------------------------------------------------------------------
// Entry points (73), made from the one list of them
// ---------------------------------------------------------------------------
#ifdef __cplusplus
extern "C" {
#endif

#define CADES_ENTRY(returnType, name, parameters) returnType name parameters;
#include "cades/CadesEntryPoints.def"
#include "cades/CadesOptionalEntryPoints.def"
#undef CADES_ENTRY

#ifdef __cplusplus
}  // extern "C"
#endif

// The library's binary interface, with every declared entry point given default
// visibility: the emulator is compiled with -fvisibility=hidden, and only the 73
// names declared in the shared header may be exported.
#pragma once

#pragma GCC visibility push(default)
#include "cades/CadesAbi.h"
#pragma GCC visibility pop

#define CRYPT_E_EXISTS 0x80092005u
#define CRYPT_E_PENDING_CLOSE 0x8009200Fu
#define CRYPT_E_ATTRIBUTES_MISSING 0x8009100Fu
#define ERROR_MR_MID_NOT_FOUND 317u
#define ERROR_NO_UNICODE_TRANSLATION 1113u
#define MB_ERR_INVALID_CHARS 0x00000008u
#define WC_ERR_INVALID_CHARS 0x00000080u
#define CERT_FIND_SUBJECT_STR_A 0x00070007u
#define CERT_FIND_SUBJECT_STR_W 0x00080007u
#define CERT_TRUST_IS_NOT_VALID_FOR_USAGE 0x00000010u
#define CERT_TRUST_INVALID_BASIC_CONSTRAINTS 0x00000400u
// Time-stamp and OCSP client codes beyond the two the shared header names.
#define TSPCLI_ERROR_IncorrectNonce 0xC2100120u
#define TSPCLI_ERROR_UnsuccessfullResponse 0xC2100124u
#define OCSPCLI_ERROR_AddressNotFound 0xC2110121u

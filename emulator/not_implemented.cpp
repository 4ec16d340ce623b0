// Entry points the emulator does not provide (time-stamp and OCSP enhancement,
// countersignatures, streaming, hash signing). Each fails cleanly with E_NOTIMPL
// so that a caller sees a refusal, never a fake success.
#include "abi.h"
#include "last_error.h"

using namespace cades_emulator;

namespace {
BOOL notImplemented() { return fail(E_NOTIMPL); }
DWORD notImplementedCount() {
    fail(E_NOTIMPL);
    return 0;
}
HCRYPTMSG notImplementedHandle() {
    fail(E_NOTIMPL);
    return nullptr;
}
}  // namespace

extern "C" {

HCRYPTMSG CadesMsgOpenToEncode(DWORD, DWORD, PCADES_ENCODE_INFO, LPSTR, PCMSG_STREAM_INFO) {
    return notImplementedHandle();
}
CSP_BOOL CadesMsgIsTypeEncoded(DWORD, BYTE*, DWORD, DWORD, CSP_BOOL*) { return notImplemented(); }
CSP_BOOL CadesMsgEnhanceSignatureAll(HCRYPTMSG, PCADES_SIGN_PARA) { return notImplemented(); }
CSP_BOOL CadesMsgCountersignEncoded(DWORD, BYTE*, DWORD, DWORD, PCADES_COSIGN_PARA, PCRYPT_DATA_BLOB*) {
    return notImplemented();
}
CSP_BOOL CadesMsgCountersign(HCRYPTMSG, DWORD, DWORD, PCADES_COSIGN_PARA) { return notImplemented(); }
CSP_BOOL CadesMsgVerifyCountersignatureEncoded(HCRYPTPROV, DWORD, BYTE*, DWORD, BYTE*, DWORD, PCERT_INFO,
                                               PCADES_VERIFICATION_PARA, PCADES_VERIFICATION_INFO*) {
    return notImplemented();
}
CSP_BOOL CadesMsgGetSigningCertId(HCRYPTMSG, DWORD, PCRYPT_DATA_BLOB*) { return notImplemented(); }
CSP_BOOL CadesMsgGetSigningCertIdEx(PCMSG_SIGNER_INFO, PCRYPT_DATA_BLOB*) { return notImplemented(); }
CSP_BOOL CadesMsgGetSigningCertIdEncoded(DWORD, BYTE*, DWORD, PCRYPT_DATA_BLOB*) { return notImplemented(); }
CSP_BOOL CadesMsgGetSigningCertIdHashAlg(HCRYPTMSG, DWORD) { return notImplemented(); }
CSP_BOOL CadesMsgGetSignatureTimestamps(HCRYPTMSG, DWORD, PCADES_BLOB_ARRAY*) { return notImplemented(); }
CSP_BOOL CadesMsgGetCadesCTimestamps(HCRYPTMSG, DWORD, PCADES_BLOB_ARRAY*) { return notImplemented(); }
CSP_BOOL CadesMsgGetCertificateValues(HCRYPTMSG, DWORD, PCADES_BLOB_ARRAY*) { return notImplemented(); }
CSP_BOOL CadesMsgGetRevocationValues(HCRYPTMSG, DWORD, PCADES_BLOB_ARRAY*, PCADES_BLOB_ARRAY*) {
    return notImplemented();
}
DWORD CadesMsgGetSigningCertIdHashAlgEx(PCMSG_SIGNER_INFO) { return notImplementedCount(); }
CSP_BOOL CadesMsgGetSignatureTimestampsEx(PCMSG_SIGNER_INFO, PCADES_BLOB_ARRAY*) { return notImplemented(); }
CSP_BOOL CadesMsgGetCadesCTimestampsEx(PCMSG_SIGNER_INFO, PCADES_BLOB_ARRAY*) { return notImplemented(); }
CSP_BOOL CadesMsgGetCertificateValuesEx(PCMSG_SIGNER_INFO, PCADES_BLOB_ARRAY*) { return notImplemented(); }
CSP_BOOL CadesMsgGetRevocationValuesEx(PCMSG_SIGNER_INFO, PCADES_BLOB_ARRAY*, PCADES_BLOB_ARRAY*) {
    return notImplemented();
}
CSP_BOOL CadesMsgGetSignatureTimestampsEncoded(DWORD, BYTE*, DWORD, PCADES_BLOB_ARRAY*) { return notImplemented(); }
CSP_BOOL CadesMsgGetCadesCTimestampsEncoded(DWORD, BYTE*, DWORD, PCADES_BLOB_ARRAY*) { return notImplemented(); }
CSP_BOOL CadesMsgGetCertificateValuesEncoded(DWORD, BYTE*, DWORD, PCADES_BLOB_ARRAY*) { return notImplemented(); }
CSP_BOOL CadesMsgGetRevocationValuesEncoded(DWORD, BYTE*, DWORD, PCADES_BLOB_ARRAY*, PCADES_BLOB_ARRAY*) {
    return notImplemented();
}
DWORD CadesMsgGetSigningCertIdHashAlgEncoded(DWORD, BYTE*, DWORD) { return notImplementedCount(); }
CSP_BOOL CadesSignHash(PCADES_SIGN_MESSAGE_PARA, const BYTE*, DWORD, LPCSTR, PCRYPT_DATA_BLOB*) {
    return notImplemented();
}
CSP_BOOL CadesVerifyHash(PCADES_VERIFY_MESSAGE_PARA, DWORD, const BYTE*, DWORD, const BYTE*, DWORD,
                         PCRYPT_ALGORITHM_IDENTIFIER, PCADES_VERIFICATION_INFO*) {
    return notImplemented();
}
CSP_BOOL CadesAddHashSignature(PCADES_SIGN_MESSAGE_PARA, const BYTE*, DWORD, const BYTE*, DWORD, PCRYPT_DATA_BLOB*) {
    return notImplemented();
}
CSP_BOOL CadesEnhanceMessageAll(PCADES_ENHANCE_MESSAGE_PARA, const BYTE*, DWORD, PCRYPT_DATA_BLOB*) {
    return notImplemented();
}
HCRYPTMSG CadesMsgConvertCreateContext(PCMSG_STREAM_INFO, BYTE*, DWORD) { return notImplementedHandle(); }
CSP_BOOL CadesMsgConvertUpdate(HCRYPTMSG, const BYTE*, DWORD, CSP_BOOL) { return notImplemented(); }
CSP_BOOL CadesMsgConvertFreeContext(HCRYPTMSG) { return notImplemented(); }
BOOL CryptMsgControl(HCRYPTMSG, DWORD, DWORD, const void*) { return notImplemented(); }
BOOL CryptEncodeObject(DWORD, LPCSTR, const void*, BYTE, DWORD) { return notImplemented(); }

}  // extern "C"

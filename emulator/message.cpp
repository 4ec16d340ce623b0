#include "message.h"

#include "handle_registry.h"
#include "last_error.h"
#include "signer_check.h"
#include "verification_info.h"

namespace cades_emulator {
namespace {

HandleRegistry<DecodedMessage>& messages() {
    static HandleRegistry<DecodedMessage> registry;
    return registry;
}

bool isPkcs7Encoding(DWORD encodingType) { return (encodingType & PKCS_7_ASN_ENCODING) != 0; }

}  // namespace

int DecodedMessage::signerCount() const {
    STACK_OF(CMS_SignerInfo)* signers = cms ? CMS_get0_SignerInfos(cms.get()) : nullptr;
    return signers == nullptr ? 0 : sk_CMS_SignerInfo_num(signers);
}

CMS_SignerInfo* DecodedMessage::signer(DWORD index) const {
    if (index >= static_cast<DWORD>(signerCount())) return nullptr;
    return sk_CMS_SignerInfo_value(CMS_get0_SignerInfos(cms.get()), static_cast<int>(index));
}

ContentView DecodedMessage::content() const {
    const ContentView embedded = cms ? embeddedContentView(cms.get()) : ContentView(nullptr, 0);
    return detached || embedded.size == 0 ? ContentView(detachedContent) : embedded;
}

DecodedMessage* decodedMessage(HCRYPTMSG handle) {
    DecodedMessage* message = messages().find(handle);
    if (message == nullptr) {
        fail(E_INVALIDARG);
        return nullptr;
    }
    if (!message->cms) {
        fail(CRYPT_E_MSG_ERROR);  // not given its final update yet
        return nullptr;
    }
    return message;
}

}  // namespace cades_emulator

using namespace cades_emulator;

extern "C" HCRYPTMSG CryptMsgOpenToDecode(DWORD dwMsgEncodingType, DWORD dwFlags, DWORD dwMsgType,
                                          HCRYPTPROV hCryptProv, PCERT_INFO pRecipientInfo,
                                          PCMSG_STREAM_INFO pStreamInfo) {
    (void)hCryptProv, (void)pRecipientInfo;
    if (!isPkcs7Encoding(dwMsgEncodingType)) return failNull<void>(E_INVALIDARG);
    if (dwMsgType != 0 && dwMsgType != CMSG_SIGNED)
        return failNull<void>(CRYPT_E_INVALID_MSG_TYPE);           // only signed messages exist here
    if (pStreamInfo != nullptr) return failNull<void>(E_NOTIMPL);  // streamed decoding is not provided
    auto message = std::make_unique<DecodedMessage>();
    message->detached = (dwFlags & CMSG_DETACHED_FLAG) != 0;
    DecodedMessage* handle = message.get();
    messages().add(handle, std::move(message));
    return handle;
}

extern "C" BOOL CryptMsgUpdate(HCRYPTMSG hCryptMsg, const BYTE* pbData, DWORD cbData, BOOL fFinal) {
    DecodedMessage* message = messages().find(hCryptMsg);
    if (message == nullptr || (pbData == nullptr && cbData != 0)) return fail(E_INVALIDARG);
    if (message->cms) {
        if (!message->detached) return fail(CRYPT_E_MSG_ERROR);  // the message is complete already
        message->detachedContent.insert(message->detachedContent.end(), pbData, pbData + cbData);
        return TRUE;
    }
    if (fFinal && message->encoded.empty()) {
        // The whole message at once: decoded without keeping a second copy of it.
        CmsPtr cms = parseSignedData(pbData, cbData);
        if (!cms) return FALSE;
        message->cms = std::move(cms);
        return TRUE;
    }
    if (cbData != 0) message->encoded.insert(message->encoded.end(), pbData, pbData + cbData);
    if (!fFinal) return TRUE;
    CmsPtr cms = parseSignedData(message->encoded.data(), static_cast<DWORD>(message->encoded.size()));
    if (!cms) return FALSE;
    message->cms = std::move(cms);
    return TRUE;
}

extern "C" BOOL CryptMsgClose(HCRYPTMSG hCryptMsg) {
    if (hCryptMsg == nullptr) return TRUE;
    return messages().take(hCryptMsg) ? TRUE : fail(E_INVALIDARG);
}

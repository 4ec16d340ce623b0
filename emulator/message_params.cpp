// CryptMsgGetParam on a decoded message.
#include "asn1_text.h"
#include "cms_signer.h"
#include "last_error.h"
#include "message.h"
#include "packed_output.h"

using namespace cades_emulator;

namespace {

struct Attribute {
    std::string oid;
    std::vector<std::vector<BYTE>> values;  // DER of each value
};

std::vector<Attribute> attributesOf(CMS_SignerInfo* signer, bool authenticated) {
    std::vector<Attribute> attributes;
    const int count = authenticated ? CMS_signed_get_attr_count(signer) : CMS_unsigned_get_attr_count(signer);
    for (int i = 0; i < count; ++i) {
        X509_ATTRIBUTE* attribute = authenticated ? CMS_signed_get_attr(signer, i) : CMS_unsigned_get_attr(signer, i);
        Attribute entry;
        entry.oid = oidText(X509_ATTRIBUTE_get0_object(attribute));
        for (int v = 0; v < X509_ATTRIBUTE_count(attribute); ++v) {
            unsigned char* der = nullptr;
            const int length = i2d_ASN1_TYPE(X509_ATTRIBUTE_get0_type(attribute, v), &der);
            if (length <= 0) continue;
            OpenSslBuffer owned(der);
            entry.values.emplace_back(der, der + length);
        }
        attributes.push_back(std::move(entry));
    }
    return attributes;
}

void packAttributes(PackedLayout& out, const std::vector<Attribute>& attributes, CRYPT_ATTRIBUTES* target) {
    CRYPT_ATTRIBUTE* array = out.reserve<CRYPT_ATTRIBUTE>(attributes.size());
    if (target != nullptr) {
        target->cAttr = static_cast<DWORD>(attributes.size());
        target->rgAttr = attributes.empty() ? nullptr : array;
    }
    for (size_t i = 0; i < attributes.size(); ++i) {
        char* oid = out.copy(attributes[i].oid);
        CRYPT_ATTR_BLOB* values = out.reserve<CRYPT_ATTR_BLOB>(attributes[i].values.size());
        for (size_t v = 0; v < attributes[i].values.size(); ++v) {
            const CRYPT_ATTR_BLOB value = out.blob(attributes[i].values[v]);
            if (values != nullptr) values[v] = value;
        }
        if (array != nullptr) {
            array[i].pszObjId = oid;
            array[i].cValue = static_cast<DWORD>(attributes[i].values.size());
            array[i].rgValue = attributes[i].values.empty() ? nullptr : values;
        }
    }
}

void packAlgorithm(PackedLayout& out, const X509_ALGOR* algorithm, CRYPT_ALGORITHM_IDENTIFIER* target) {
    char* oid = out.copy(algorithmOid(algorithm));
    const CRYPT_OBJID_BLOB parameters = out.blob(algorithmParameters(algorithm));
    if (target != nullptr) {
        target->pszObjId = oid;
        target->Parameters = parameters;
    }
}

struct SignerIdentity {
    std::vector<BYTE> issuer;
    std::vector<BYTE> serial;  // little-endian
};

// Signers named by subject key identifier have no issuer and serial: both stay empty.
SignerIdentity identityOf(CMS_SignerInfo* signer) {
    ASN1_OCTET_STRING* keyId = nullptr;
    X509_NAME* issuer = nullptr;
    ASN1_INTEGER* serial = nullptr;
    SignerIdentity identity;
    if (CMS_SignerInfo_get0_signer_id(signer, &keyId, &issuer, &serial) == 1 && issuer != nullptr) {
        identity.issuer = derOfName(issuer);
        identity.serial = littleEndianSerial(serial);
    }
    return identity;
}

BOOL signerCertInfo(CMS_SignerInfo* signer, void* pvData, DWORD* pcbData) {
    const SignerIdentity identity = identityOf(signer);
    return deliverPacked(pvData, pcbData, [&](PackedLayout& out) {
        CERT_INFO* info = out.reserve<CERT_INFO>();
        const CRYPT_DATA_BLOB issuer = out.blob(identity.issuer);
        const CRYPT_DATA_BLOB serial = out.blob(identity.serial);
        if (info != nullptr) {
            info->Issuer = issuer;
            info->SerialNumber = serial;
        }
    });
}

BOOL signerInfo(CMS_SignerInfo* signer, void* pvData, DWORD* pcbData) {
    const SignerIdentity identity = identityOf(signer);
    X509_ALGOR* digest = nullptr;
    X509_ALGOR* signature = nullptr;
    CMS_SignerInfo_get0_algs(signer, nullptr, nullptr, &digest, &signature);
    const std::vector<BYTE> encryptedHash = stringBytes(CMS_SignerInfo_get0_signature(signer));
    const std::vector<Attribute> authenticated = attributesOf(signer, true);
    const std::vector<Attribute> unauthenticated = attributesOf(signer, false);
    ASN1_OCTET_STRING* keyId = nullptr;
    CMS_SignerInfo_get0_signer_id(signer, &keyId, nullptr, nullptr);
    return deliverPacked(pvData, pcbData, [&](PackedLayout& out) {
        CMSG_SIGNER_INFO* info = out.reserve<CMSG_SIGNER_INFO>();
        CMSG_SIGNER_INFO values{};
        values.dwVersion = keyId != nullptr ? 3 : 1;
        values.Issuer = out.blob(identity.issuer);
        values.SerialNumber = out.blob(identity.serial);
        packAlgorithm(out, digest, &values.HashAlgorithm);
        packAlgorithm(out, signature, &values.HashEncryptionAlgorithm);
        values.EncryptedHash = out.blob(encryptedHash);
        packAttributes(out, authenticated, &values.AuthAttrs);
        packAttributes(out, unauthenticated, &values.UnauthAttrs);
        if (info != nullptr) *info = values;
    });
}

BOOL signerParam(const DecodedMessage& message, DWORD paramType, DWORD index, void* pvData, DWORD* pcbData) {
    CMS_SignerInfo* signer = message.signer(index);
    if (signer == nullptr) return fail(CRYPT_E_INVALID_INDEX);
    switch (paramType) {
        case CMSG_SIGNER_INFO_PARAM:
            return signerInfo(signer, pvData, pcbData);
        case CMSG_SIGNER_CERT_INFO_PARAM:
            return signerCertInfo(signer, pvData, pcbData);
        case CMSG_SIGNER_HASH_ALGORITHM_PARAM: {
            X509_ALGOR* digest = nullptr;
            CMS_SignerInfo_get0_algs(signer, nullptr, nullptr, &digest, nullptr);
            return deliverPacked(pvData, pcbData, [&](PackedLayout& out) {
                CRYPT_ALGORITHM_IDENTIFIER* target = out.reserve<CRYPT_ALGORITHM_IDENTIFIER>();
                CRYPT_ALGORITHM_IDENTIFIER values{};
                packAlgorithm(out, digest, &values);
                if (target != nullptr) *target = values;
            });
        }
        default: {  // authenticated or unauthenticated attributes
            const std::vector<Attribute> attributes = attributesOf(signer, paramType == CMSG_SIGNER_AUTH_ATTR_PARAM);
            if (attributes.empty()) return fail(CRYPT_E_ATTRIBUTES_MISSING);
            return deliverPacked(pvData, pcbData, [&](PackedLayout& out) {
                CRYPT_ATTRIBUTES* target = out.reserve<CRYPT_ATTRIBUTES>();
                CRYPT_ATTRIBUTES values{};
                packAttributes(out, attributes, &values);
                if (target != nullptr) *target = values;
            });
        }
    }
}

BOOL certificateParam(const DecodedMessage& message, DWORD paramType, DWORD index, void* pvData, DWORD* pcbData) {
    X509StackPtr certificates(CMS_get1_certs(message.cms.get()));
    const int count = certificates ? sk_X509_num(certificates.get()) : 0;
    if (paramType == CMSG_CERT_COUNT_PARAM) return deliverDword(pvData, pcbData, static_cast<DWORD>(count));
    if (index >= static_cast<DWORD>(count)) return fail(CRYPT_E_INVALID_INDEX);
    unsigned char* der = nullptr;
    const int length = i2d_X509(sk_X509_value(certificates.get(), static_cast<int>(index)), &der);
    if (length <= 0) return fail(CRYPT_E_MSG_ERROR);
    OpenSslBuffer owned(der);
    return deliverBytes(pvData, pcbData, std::vector<BYTE>(der, der + length));
}

}  // namespace

extern "C" BOOL CryptMsgGetParam(HCRYPTMSG hCryptMsg, DWORD dwParamType, DWORD dwIndex, void* pvData, DWORD* pcbData) {
    if (pcbData == nullptr) return fail(E_INVALIDARG);
    DecodedMessage* message = decodedMessage(hCryptMsg);
    if (message == nullptr) return FALSE;
    CMS_ContentInfo* cms = message->cms.get();
    switch (dwParamType) {
        case CMSG_TYPE_PARAM:
            return deliverDword(pvData, pcbData, CMSG_SIGNED);
        case CMSG_CONTENT_PARAM: {
            const ContentView content = message->content();
            return deliverBytes(pvData, pcbData, content.data, content.size);
        }
        case CMSG_INNER_CONTENT_TYPE_PARAM: {
            const std::string oid = oidText(CMS_get0_eContentType(cms));
            return deliverPacked(pvData, pcbData, [&](PackedLayout& out) { out.copy(oid); });
        }
        case CMSG_SIGNER_COUNT_PARAM:
            return deliverDword(pvData, pcbData, static_cast<DWORD>(message->signerCount()));
        case CMSG_SIGNER_INFO_PARAM:
        case CMSG_SIGNER_CERT_INFO_PARAM:
        case CMSG_SIGNER_HASH_ALGORITHM_PARAM:
        case CMSG_SIGNER_AUTH_ATTR_PARAM:
        case CMSG_SIGNER_UNAUTH_ATTR_PARAM:
            return signerParam(*message, dwParamType, dwIndex, pvData, pcbData);
        case CMSG_CERT_COUNT_PARAM:
        case CMSG_CERT_PARAM:
            return certificateParam(*message, dwParamType, dwIndex, pvData, pcbData);
        case CMSG_CRL_COUNT_PARAM: {
            std::unique_ptr<STACK_OF(X509_CRL), void (*)(STACK_OF(X509_CRL)*)> crls(
                CMS_get1_crls(cms), [](STACK_OF(X509_CRL) * stack) { sk_X509_CRL_pop_free(stack, X509_CRL_free); });
            return deliverDword(pvData, pcbData, crls ? static_cast<DWORD>(sk_X509_CRL_num(crls.get())) : 0);
        }
        case CMSG_ENCODED_MESSAGE:
            return deliverBytes(pvData, pcbData,
                                message->modified || message->encoded.empty() ? encodeMessage(cms) : message->encoded);
        default:
            return fail(E_NOTIMPL);
    }
}

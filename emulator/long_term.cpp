#include "long_term.h"

#include <openssl/err.h>
#include <openssl/objects.h>

#include "chain.h"
#include "der.h"
#include "file_time.h"
#include "http_client.h"
#include "last_error.h"
#include "ocsp_client.h"
#include "time_stamp.h"

namespace cades_emulator {
namespace {

using der::Bytes;

constexpr const char* kSignatureTimeStamp = "1.2.840.113549.1.9.16.2.14";
constexpr const char* kCertificateRefs = "1.2.840.113549.1.9.16.2.21";
constexpr const char* kRevocationRefs = "1.2.840.113549.1.9.16.2.22";
constexpr const char* kCertificateValues = "1.2.840.113549.1.9.16.2.23";
constexpr const char* kRevocationValues = "1.2.840.113549.1.9.16.2.24";
constexpr const char* kCadesCTimeStamp = "1.2.840.113549.1.9.16.2.25";

using Asn1ObjectPtr = std::unique_ptr<ASN1_OBJECT, OpenSslDeleter<ASN1_OBJECT_free>>;

template <typename T, int (*Encode)(const T*, unsigned char**)>
Bytes encode(const T* object) {
    unsigned char* der = nullptr;
    const int length = object != nullptr ? Encode(object, &der) : 0;
    if (length <= 0) return {};
    OpenSslBuffer owned(der);
    return Bytes(der, der + length);
}

Bytes derOf(X509* certificate) { return encode<X509, i2d_X509>(certificate); }

Bytes hashOf(const EVP_MD* digest, const Bytes& data) {
    unsigned char hash[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    static const unsigned char nothing = 0;
    if (EVP_Digest(data.empty() ? &nothing : data.data(), data.size(), hash, &length, digest, nullptr) != 1) return {};
    return Bytes(hash, hash + length);
}

// OtherHash as OtherHashAlgAndValue { hashAlgorithm, hashValue }.
Bytes otherHash(const EVP_MD* digest, const Bytes& data) {
    std::unique_ptr<X509_ALGOR, OpenSslDeleter<X509_ALGOR_free>> algorithm(X509_ALGOR_new());
    if (!algorithm) return {};
    X509_ALGOR_set_md(algorithm.get(), digest);
    return der::sequence(
        {encode<X509_ALGOR, i2d_X509_ALGOR>(algorithm.get()), der::element(der::kOctetString, hashOf(digest, data))});
}

// OtherCertID { otherCertHash, issuerSerial { GeneralNames { directoryName }, serialNumber } }.
Bytes otherCertId(const EVP_MD* digest, X509* certificate) {
    const Bytes issuer = encode<X509_NAME, i2d_X509_NAME>(X509_get_issuer_name(certificate));
    const Bytes serial = encode<ASN1_INTEGER, i2d_ASN1_INTEGER>(X509_get0_serialNumber(certificate));
    return der::sequence(
        {otherHash(digest, derOf(certificate)), der::sequence({der::sequence({der::explicitTag(4, issuer)}), serial})});
}

// The chain from the signer's certificate up to the root; the CA certificates are chain[1..].
Bytes certificateRefs(const EVP_MD* digest, const std::vector<X509*>& chain) {
    std::vector<Bytes> ids;
    for (size_t i = 1; i < chain.size(); ++i) ids.push_back(otherCertId(digest, chain[i]));
    return der::sequenceOf(ids);
}

Bytes certificateValues(const std::vector<X509*>& chain) {
    std::vector<Bytes> values;
    for (size_t i = 1; i < chain.size(); ++i) values.push_back(derOf(chain[i]));
    return der::sequenceOf(values);
}

// OcspResponsesID { ocspIdentifier { ocspResponderID, producedAt }, ocspRepHash }.
Bytes ocspResponsesId(const EVP_MD* digest, OCSP_BASICRESP* response, const Bytes& responseDer) {
    const ASN1_OCTET_STRING* keyHash = nullptr;
    const X509_NAME* name = nullptr;
    OCSP_resp_get0_id(response, &keyHash, &name);
    const Bytes responder =
        name != nullptr
            ? der::explicitTag(1, encode<X509_NAME, i2d_X509_NAME>(name))
            : der::explicitTag(2, der::element(der::kOctetString,
                                               Bytes(ASN1_STRING_get0_data(keyHash),
                                                     ASN1_STRING_get0_data(keyHash) + ASN1_STRING_length(keyHash))));
    const Bytes producedAt =
        encode<ASN1_GENERALIZEDTIME, i2d_ASN1_GENERALIZEDTIME>(OCSP_resp_get0_produced_at(response));
    return der::sequence({der::sequence({responder, producedAt}), otherHash(digest, responseDer)});
}

// One CrlOcspRef for the signer's certificate, then one per complete-certificate-reference, in
// the same order: [1] OcspListID with the response about it, or empty when no responder was
// asked (the root always).
Bytes revocationRefs(const EVP_MD* digest, const std::vector<X509*>& chain, const std::vector<OCSP_BASICRESP*>& parsed,
                     const std::vector<Bytes>& responses) {
    std::vector<Bytes> refs;
    for (size_t i = 0; i < chain.size(); ++i) {
        const int found = i + 1 < chain.size() ? responseAbout(parsed, chain[i], chain[i + 1]) : -1;
        if (found < 0) {
            refs.push_back(der::sequence({}));
            continue;
        }
        const Bytes id =
            ocspResponsesId(digest, parsed[static_cast<size_t>(found)], responses[static_cast<size_t>(found)]);
        refs.push_back(der::sequence({der::explicitTag(1, der::sequence({der::sequence({id})}))}));
    }
    return der::sequenceOf(refs);
}

// RevocationValues { ocspVals [1] SEQUENCE OF BasicOCSPResponse }.
Bytes revocationValues(const std::vector<Bytes>& responses) {
    return der::sequence({der::explicitTag(1, der::sequenceOf(responses))});
}

Asn1ObjectPtr object(const char* oid) { return Asn1ObjectPtr(OBJ_txt2obj(oid, 1)); }

bool addUnsigned(CMS_SignerInfo* signer, const char* oid, const Bytes& value) {
    Asn1StringPtr sequence(ASN1_STRING_new());
    Asn1ObjectPtr type = object(oid);
    return !value.empty() && sequence && type &&
           ASN1_STRING_set(sequence.get(), value.data(), static_cast<int>(value.size())) == 1 &&
           CMS_unsigned_add1_attr_by_OBJ(signer, type.get(), V_ASN1_SEQUENCE, sequence.get(), -1) == 1;
}

X509_ATTRIBUTE* unsignedAttribute(CMS_SignerInfo* signer, const char* oid) {
    Asn1ObjectPtr type = object(oid);
    const int index = type ? CMS_unsigned_get_attr_by_OBJ(signer, type.get(), -1) : -1;
    return index >= 0 ? CMS_unsigned_get_attr(signer, index) : nullptr;
}

// The one SEQUENCE value of an unsigned attribute; nullopt when absent or otherwise.
std::optional<Bytes> unsignedValue(CMS_SignerInfo* signer, const char* oid) {
    X509_ATTRIBUTE* attribute = unsignedAttribute(signer, oid);
    if (attribute == nullptr || X509_ATTRIBUTE_count(attribute) != 1) return std::nullopt;
    const ASN1_TYPE* value = X509_ATTRIBUTE_get0_type(attribute, 0);
    if (value == nullptr || value->type != V_ASN1_SEQUENCE) return std::nullopt;
    const unsigned char* data = ASN1_STRING_get0_data(value->value.sequence);
    return Bytes(data, data + ASN1_STRING_length(value->value.sequence));
}

Bytes signatureValue(CMS_SignerInfo* signer) {
    const ASN1_OCTET_STRING* value = CMS_SignerInfo_get0_signature(signer);
    const unsigned char* data = ASN1_STRING_get0_data(value);
    return Bytes(data, data + ASN1_STRING_length(value));
}

// What the CAdES-C time-stamp covers (TS 101 733 6.3.5, EN 319 122-1 A.1.5.1): the values,
// without their own type and length octets, of the signature value (the OCTET STRING's content)
// and of the attributes signature-time-stamp, complete-certificate-references and
// complete-revocation-references (each Attribute SEQUENCE's content: attrType then attrValues);
// empty when an attribute is missing.
Bytes cadesCTimeStampedData(CMS_SignerInfo* signer) {
    Bytes data = signatureValue(signer);
    for (const char* oid : {kSignatureTimeStamp, kCertificateRefs, kRevocationRefs}) {
        const Bytes attribute = encode<X509_ATTRIBUTE, i2d_X509_ATTRIBUTE>(unsignedAttribute(signer, oid));
        BYTE tag = 0;
        Bytes content;
        size_t total = 0;
        if (attribute.empty() || !der::split(attribute.data(), attribute.size(), &tag, &content, &total)) return {};
        data.insert(data.end(), content.begin(), content.end());
    }
    return data;
}

const EVP_MD* signerDigest(CMS_SignerInfo* signer) {
    X509_ALGOR* algorithm = nullptr;
    CMS_SignerInfo_get0_algs(signer, nullptr, nullptr, &algorithm, nullptr);
    const ASN1_OBJECT* oid = nullptr;
    if (algorithm != nullptr) X509_ALGOR_get0(&oid, nullptr, nullptr, algorithm);
    return oid != nullptr ? EVP_get_digestbyobj(oid) : nullptr;
}

DWORD chainError(DWORD trustErrors) {
    if ((trustErrors & CERT_TRUST_IS_NOT_TIME_VALID) != 0) return CERT_E_EXPIRED;
    if ((trustErrors & CERT_TRUST_IS_UNTRUSTED_ROOT) != 0) return CERT_E_UNTRUSTEDROOT;
    return CERT_E_CHAINING;
}

struct OcspBasicList {
    std::vector<OcspBasicPtr> owned;
    std::vector<OCSP_BASICRESP*> pointers;
    bool add(const Bytes& der) {
        const unsigned char* cursor = der.data();
        OcspBasicPtr parsed(d2i_OCSP_BASICRESP(nullptr, &cursor, static_cast<long>(der.size())));
        if (!parsed || cursor != der.data() + der.size()) return false;
        pointers.push_back(parsed.get());
        owned.push_back(std::move(parsed));
        return true;
    }
};

// The elements of a DER SEQUENCE; false when it is something else.
bool sequenceItems(const Bytes& encoded, std::vector<Bytes>& items) {
    BYTE tag = 0;
    Bytes content;
    size_t total = 0;
    return der::split(encoded.data(), encoded.size(), &tag, &content, &total) && tag == der::kSequence &&
           total == encoded.size() && der::children(content, &items);
}

struct ParsedValues {
    std::vector<X509Ptr> certificates;
    std::vector<Bytes> responseDers;
    OcspBasicList responses;
};

bool parseCertificateValues(const Bytes& encoded, ParsedValues& values) {
    std::vector<Bytes> items;
    if (!sequenceItems(encoded, items)) return false;
    for (const Bytes& item : items) {
        const unsigned char* cursor = item.data();
        X509Ptr certificate(d2i_X509(nullptr, &cursor, static_cast<long>(item.size())));
        if (!certificate) return false;
        values.certificates.push_back(std::move(certificate));
    }
    return true;
}

bool parseRevocationValues(const Bytes& encoded, ParsedValues& values) {
    std::vector<Bytes> fields;
    if (!sequenceItems(encoded, fields)) return false;
    for (const Bytes& field : fields) {
        BYTE tag = 0;
        Bytes inner;
        size_t total = 0;
        if (!der::split(field.data(), field.size(), &tag, &inner, &total)) return false;
        if (tag != 0xA1) continue;  // CRLs and other values are not used here
        std::vector<Bytes> responses;
        if (!sequenceItems(inner, responses)) return false;
        for (const Bytes& response : responses) {
            if (!values.responses.add(response)) return false;
            values.responseDers.push_back(response);
        }
    }
    return true;
}

EvidenceCheck verdict(EvidenceCheck check, DWORD status, DWORD errorCode) {
    check.status = status;
    check.errorCode = errorCode;
    return check;
}

}  // namespace

DWORD timeStampAddressOf(const CADES_SIGN_PARA* cadesPara, std::string& address) {
    const CADES_SERVICE_CONNECTION_PARA* tsp = cadesPara != nullptr ? cadesPara->pTspConnectionPara : nullptr;
    if (tsp == nullptr || tsp->wszUri == nullptr || *tsp->wszUri == L'\0') return TSPCLI_ERROR_AddressIsEmpty;
    return plainHttpAddress(tsp->wszUri, address) ? 0 : E_INVALIDARG;
}

DWORD addLongTermEvidence(CMS_ContentInfo* cms, CMS_SignerInfo* signer, X509* signerCertificate,
                          const std::string& tspAddress) {
    const EVP_MD* digest = signerDigest(signer);
    if (digest == nullptr) return NTE_BAD_ALGID;
    Bytes signatureTimeStamp;
    if (const DWORD error = requestTimeStamp(tspAddress, digest, signatureValue(signer), signatureTimeStamp))
        return error;

    X509StackPtr messageCertificates(CMS_get1_certs(cms));
    std::vector<X509*> extra;
    for (int i = 0; messageCertificates && i < sk_X509_num(messageCertificates.get()); ++i)
        extra.push_back(sk_X509_value(messageCertificates.get(), i));
    const ChainResult built = buildChain(signerCertificate, extra);
    if (!built.trusted()) return chainError(built.chainErrors);
    std::vector<X509*> chain;
    for (const X509Ptr& certificate : built.certificates) chain.push_back(certificate.get());

    std::vector<Bytes> responses;
    OcspBasicList parsed;
    for (size_t i = 0; i + 1 < chain.size(); ++i) {
        const std::string address = ocspAddressOf(chain[i]);
        if (address.empty()) {
            if (i == 0) return OCSPCLI_ERROR_AddressNotFound;
            continue;  // a CA without a responder of its own: its reference stays empty
        }
        Bytes response;
        if (const DWORD error = askCertificateStatus(address, chain[i], chain[i + 1], extra, response)) return error;
        if (!parsed.add(response)) return CRYPT_E_NO_REVOCATION_CHECK;
        responses.push_back(std::move(response));
    }

    if (!addUnsigned(signer, kSignatureTimeStamp, signatureTimeStamp) ||
        !addUnsigned(signer, kCertificateRefs, certificateRefs(digest, chain)) ||
        !addUnsigned(signer, kRevocationRefs, revocationRefs(digest, chain, parsed.pointers, responses)) ||
        !addUnsigned(signer, kCertificateValues, certificateValues(chain)) ||
        !addUnsigned(signer, kRevocationValues, revocationValues(responses)))
        return NTE_BAD_DATA;
    Bytes cadesCTimeStamp;
    if (const DWORD error = requestTimeStamp(tspAddress, digest, cadesCTimeStampedData(signer), cadesCTimeStamp))
        return error;
    return addUnsigned(signer, kCadesCTimeStamp, cadesCTimeStamp) ? 0 : NTE_BAD_DATA;
}

bool hasLongTermEvidence(CMS_SignerInfo* signer) {
    for (const char* oid : {kCertificateRefs, kRevocationRefs, kCertificateValues, kRevocationValues, kCadesCTimeStamp})
        if (unsignedAttribute(signer, oid) != nullptr) return true;
    return false;
}

EvidenceCheck checkLongTermEvidence(CMS_ContentInfo* cms, CMS_SignerInfo* signer, X509* signerCertificate,
                                    const std::vector<X509*>& extra) {
    EvidenceCheck check;
    const bool extended = hasLongTermEvidence(signer);
    const bool stamped = unsignedAttribute(signer, kSignatureTimeStamp) != nullptr;
    if (!stamped && !extended) return check;  // CAdES-BES: nothing to check here

    std::vector<X509*> helpers = extra;
    X509StackPtr messageCertificates(CMS_get1_certs(cms));
    for (int i = 0; messageCertificates && i < sk_X509_num(messageCertificates.get()); ++i)
        helpers.push_back(sk_X509_value(messageCertificates.get(), i));

    const std::optional<Bytes> signatureTimeStamp = unsignedValue(signer, kSignatureTimeStamp);
    if (!signatureTimeStamp ||
        !verifyTimeStampToken(*signatureTimeStamp, signatureValue(signer), helpers, &check.signatureTimeStampTime))
        return verdict(check, CADES_VERIFY_NO_VALID_SIGNATURE_TIMESTAMP, NTE_BAD_SIGNATURE);
    if (!extended) return check;  // CAdES-T

    const std::optional<Bytes> certificateRefsValue = unsignedValue(signer, kCertificateRefs);
    const std::optional<Bytes> revocationRefsValue = unsignedValue(signer, kRevocationRefs);
    const std::optional<Bytes> certificateValuesValue = unsignedValue(signer, kCertificateValues);
    const std::optional<Bytes> revocationValuesValue = unsignedValue(signer, kRevocationValues);
    ParsedValues values;
    std::vector<Bytes> unused;
    if (!certificateRefsValue || !revocationRefsValue || !certificateValuesValue || !revocationValuesValue ||
        !sequenceItems(*certificateRefsValue, unused) || !sequenceItems(*revocationRefsValue, unused) ||
        !parseCertificateValues(*certificateValuesValue, values) ||
        !parseRevocationValues(*revocationValuesValue, values))
        return verdict(check, CADES_VERIFY_INVALID_REFS_AND_VALUES, CRYPT_E_ATTRIBUTES_MISSING);

    // The chain and the certificates' validity are judged when the signature was stamped, with
    // the certificates kept (EN 319 102-1 5.6.2.4): what a long-term signature is for.
    std::vector<X509*> kept = helpers;
    for (const X509Ptr& certificate : values.certificates) kept.push_back(certificate.get());
    const std::optional<std::time_t> stampedAt = fileTimeToUnixTime(*check.signatureTimeStampTime);
    const ChainResult built = buildChain(signerCertificate, kept, stampedAt);
    if (!stampedAt || !built.trusted()) return verdict(check, CADES_VERIFY_NO_CHAIN, chainError(built.chainErrors));

    // The references, made again from the values, must be the ones the signer carries.
    const EVP_MD* digest = signerDigest(signer);
    std::vector<X509*> chain{signerCertificate};
    for (const X509Ptr& certificate : values.certificates) chain.push_back(certificate.get());
    if (digest == nullptr || certificateRefs(digest, chain) != *certificateRefsValue ||
        revocationRefs(digest, chain, values.responses.pointers, values.responseDers) != *revocationRefsValue)
        return verdict(check, CADES_VERIFY_REFS_AND_VALUES_NO_MATCH, CRYPT_E_HASH_VALUE);

    // Every kept OCSP answer is about a certificate of the chain and says it was good when the
    // signature was stamped; the signer's certificate has one.
    std::vector<bool> answered(values.responses.pointers.size(), false);
    for (size_t i = 0; i + 1 < chain.size(); ++i) {
        const DWORD failing = i == 0 ? CADES_VERIFY_END_CERT_REVOCATION : CADES_VERIFY_CHAIN_CERT_REVOCATION;
        const int found = responseAbout(values.responses.pointers, chain[i], chain[i + 1]);
        if (found < 0) {
            if (i == 0) return verdict(check, failing, CRYPT_E_NO_REVOCATION_CHECK);
            continue;
        }
        answered[static_cast<size_t>(found)] = true;
        if (const DWORD error = judgeKeptResponse(values.responses.pointers[static_cast<size_t>(found)], chain[i],
                                                  chain[i + 1], kept, *stampedAt))
            return verdict(check, failing, error);
    }
    for (const bool used : answered)
        if (!used) return verdict(check, CADES_VERIFY_CHAIN_CERT_REVOCATION, CRYPT_E_NO_REVOCATION_CHECK);

    const std::optional<Bytes> cadesCTimeStamp = unsignedValue(signer, kCadesCTimeStamp);
    if (!cadesCTimeStamp || !verifyTimeStampToken(*cadesCTimeStamp, cadesCTimeStampedData(signer), helpers, nullptr))
        return verdict(check, CADES_VERIFY_NO_VALID_CADES_C_TIMESTAMP, NTE_BAD_SIGNATURE);
    return check;
}

}  // namespace cades_emulator

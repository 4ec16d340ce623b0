#include "asn1_text.h"

#include <algorithm>
#include <memory>

#include "openssl_ptr.h"

namespace cades_emulator {

std::string oidText(const ASN1_OBJECT* object) {
    char buffer[128] = {};
    if (object == nullptr || OBJ_obj2txt(buffer, sizeof buffer, object, 1) <= 0) return {};
    return buffer;
}

std::vector<BYTE> derOfName(const X509_NAME* name) {
    const unsigned char* der = nullptr;
    size_t length = 0;
    if (name == nullptr || X509_NAME_get0_der(const_cast<X509_NAME*>(name), &der, &length) != 1) return {};
    return std::vector<BYTE>(der, der + length);
}

std::vector<BYTE> algorithmParameters(const X509_ALGOR* algorithm) {
    const void* value = nullptr;
    int type = V_ASN1_UNDEF;
    if (algorithm == nullptr) return {};
    X509_ALGOR_get0(nullptr, &type, &value, algorithm);
    if (type == V_ASN1_UNDEF) return {};
    std::unique_ptr<ASN1_TYPE, OpenSslDeleter<ASN1_TYPE_free>> parameter(ASN1_TYPE_new());
    if (!parameter || ASN1_TYPE_set1(parameter.get(), type, value) != 1) return {};
    unsigned char* der = nullptr;
    const int length = i2d_ASN1_TYPE(parameter.get(), &der);
    if (length <= 0) return {};
    OpenSslBuffer owned(der);
    return std::vector<BYTE>(der, der + length);
}

std::string algorithmOid(const X509_ALGOR* algorithm) {
    const ASN1_OBJECT* object = nullptr;
    if (algorithm == nullptr) return {};
    X509_ALGOR_get0(&object, nullptr, nullptr, algorithm);
    return oidText(object);
}

std::vector<BYTE> littleEndianSerial(const ASN1_INTEGER* serial) {
    unsigned char* der = nullptr;
    const int length = serial == nullptr ? 0 : i2d_ASN1_INTEGER(serial, &der);
    if (length <= 2) return {};
    OpenSslBuffer owned(der);
    const unsigned char* content = der;
    long contentLength = 0;
    int tag = 0, objectClass = 0;
    if (ASN1_get_object(&content, &contentLength, &tag, &objectClass, length) & 0x80) return {};
    std::vector<BYTE> bytes(content, content + contentLength);
    std::reverse(bytes.begin(), bytes.end());
    return bytes;
}

std::vector<BYTE> stringBytes(const ASN1_STRING* string) {
    if (string == nullptr) return {};
    const unsigned char* data = ASN1_STRING_get0_data(string);
    return std::vector<BYTE>(data, data + ASN1_STRING_length(string));
}

}  // namespace cades_emulator

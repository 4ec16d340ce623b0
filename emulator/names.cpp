// CertGetNameStringA/W: certificate names as text, following the CryptoAPI
// name-string rules (X.500 keys, reversal, separators, quoting).
#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include <openssl/objects.h>

#include "asn1_text.h"
#include "certificate.h"
#include "last_error.h"
#include "wide_chars.h"

using namespace cades_emulator;

namespace {

struct KnownKey {
    const char* oid;
    const char* key;
};

// X.500 keys as the CryptoAPI writes them, plus the Russian identifiers that
// qualified certificates carry.
const KnownKey kKnownKeys[] = {
    {"2.5.4.3", "CN"},
    {"2.5.4.7", "L"},
    {"2.5.4.10", "O"},
    {"2.5.4.11", "OU"},
    {"1.2.840.113549.1.9.1", "E"},
    {"2.5.4.6", "C"},
    {"2.5.4.8", "S"},
    {"2.5.4.9", "STREET"},
    {"2.5.4.12", "T"},
    {"2.5.4.42", "G"},
    {"2.5.4.43", "I"},
    {"2.5.4.4", "SN"},
    {"0.9.2342.19200300.100.1.25", "DC"},
    {"2.5.4.5", "SERIALNUMBER"},
    {"2.5.4.17", "PostalCode"},
    {"2.5.4.46", "dnQualifier"},
    {"1.2.643.100.1", "OGRN"},
    {"1.2.643.100.3", "SNILS"},
    {"1.2.643.3.131.1.1", "INN"},
    {"1.2.643.100.4", "INNLE"},
    {"1.2.643.100.5", "OGRNIP"},
};

std::string keyFor(const std::string& oid, DWORD stringType) {
    if (stringType == CERT_OID_NAME_STR) return oid;
    for (const KnownKey& known : kKnownKeys)
        if (oid == known.key || oid == known.oid) return known.key;
    return "OID." + oid;
}

std::string valueText(const ASN1_STRING* value) {
    unsigned char* utf8 = nullptr;
    const int length = ASN1_STRING_to_UTF8(&utf8, value);
    if (length < 0) return {};
    OpenSslBuffer owned(utf8);
    return std::string(reinterpret_cast<char*>(utf8), static_cast<size_t>(length));
}

bool needsQuotes(const std::string& value) {
    if (value.empty()) return true;
    if (value.front() == ' ' || value.back() == ' ') return true;
    return value.find_first_of(",+=\"\n\r<>#;") != std::string::npos;
}

std::string quoted(const std::string& value, DWORD flags) {
    if ((flags & CERT_NAME_STR_NO_QUOTING_FLAG) != 0 || !needsQuotes(value)) return value;
    std::string result = "\"";
    for (char c : value) result += c == '"' ? std::string("\"\"") : std::string(1, c);
    return result + "\"";
}

const char* rdnSeparator(DWORD flags) {
    if ((flags & CERT_NAME_STR_SEMICOLON_FLAG) != 0) return "; ";
    if ((flags & CERT_NAME_STR_CRLF_FLAG) != 0) return "\r\n";
    return ", ";
}

// One relative distinguished name: its attribute entries in order.
using Rdn = std::vector<const X509_NAME_ENTRY*>;

std::vector<Rdn> rdnsOf(const X509_NAME* name) {
    std::vector<Rdn> rdns;
    int currentSet = -1;
    for (int i = 0; i < X509_NAME_entry_count(name); ++i) {
        const X509_NAME_ENTRY* entry = X509_NAME_get_entry(name, i);
        const int set = X509_NAME_ENTRY_set(entry);
        if (rdns.empty() || set != currentSet) rdns.emplace_back();
        currentSet = set;
        rdns.back().push_back(entry);
    }
    return rdns;
}

std::string nameToString(const X509_NAME* name, DWORD stringType) {
    const DWORD format = stringType & 0xFFFF;
    std::vector<Rdn> rdns = rdnsOf(name);
    if ((stringType & CERT_NAME_STR_REVERSE_FLAG) != 0) std::reverse(rdns.begin(), rdns.end());
    const char* plus = (stringType & CERT_NAME_STR_NO_PLUS_FLAG) != 0 ? " " : " + ";

    std::string text;
    for (size_t r = 0; r < rdns.size(); ++r) {
        if (r > 0) text += rdnSeparator(stringType);
        for (size_t e = 0; e < rdns[r].size(); ++e) {
            const X509_NAME_ENTRY* entry = rdns[r][e];
            if (e > 0) text += plus;
            const std::string value = quoted(valueText(X509_NAME_ENTRY_get_data(entry)), stringType);
            if (format == CERT_SIMPLE_NAME_STR)
                text += value;
            else
                text += keyFor(oidText(X509_NAME_ENTRY_get_object(entry)), format) + "=" + value;
        }
    }
    return text;
}

std::string firstAttribute(const X509_NAME* name, int nid) {
    const int index = X509_NAME_get_index_by_NID(const_cast<X509_NAME*>(name), nid, -1);
    if (index < 0) return {};
    return valueText(X509_NAME_ENTRY_get_data(X509_NAME_get_entry(name, index)));
}

std::string attributeByOid(const X509_NAME* name, const char* oid) {
    if (oid == nullptr) return {};
    std::unique_ptr<ASN1_OBJECT, OpenSslDeleter<ASN1_OBJECT_free>> object(OBJ_txt2obj(oid, 1));
    if (!object) return {};
    const int index = X509_NAME_get_index_by_OBJ(const_cast<X509_NAME*>(name), object.get(), -1);
    if (index < 0) return {};
    return valueText(X509_NAME_ENTRY_get_data(X509_NAME_get_entry(name, index)));
}

std::string displayName(const X509_NAME* name) {
    for (int nid : {NID_commonName, NID_organizationalUnitName, NID_organizationName, NID_pkcs9_emailAddress}) {
        std::string value = firstAttribute(name, nid);
        if (!value.empty()) return value;
    }
    return {};
}

bool nameString(PCCERT_CONTEXT context, DWORD type, DWORD flags, void* typePara, std::string& text) {
    const CertificateData* data = findCertificate(context);
    if (data == nullptr) return false;
    const X509_NAME* name =
        (flags & CERT_NAME_ISSUER_FLAG) != 0 ? X509_get_issuer_name(data->x509()) : X509_get_subject_name(data->x509());
    switch (type) {
        case CERT_NAME_RDN_TYPE: {
            DWORD stringType = CERT_SIMPLE_NAME_STR;
            if (typePara != nullptr) std::memcpy(&stringType, typePara, sizeof stringType);
            text = nameToString(name, stringType);
            break;
        }
        case CERT_NAME_ATTR_TYPE:
            text = attributeByOid(name, static_cast<const char*>(typePara));
            break;
        case CERT_NAME_SIMPLE_DISPLAY_TYPE:
        case CERT_NAME_FRIENDLY_DISPLAY_TYPE:
            text = displayName(name);
            break;
        case CERT_NAME_EMAIL_TYPE:
            text = firstAttribute(name, NID_pkcs9_emailAddress);
            break;
        default:
            text.clear();  // DNS, URL and UPN names come from extensions these certificates lack
            break;
    }
    return true;
}

// Copies with the CryptoAPI rule: the result counts the terminator; a short buffer
// gets a cut, still terminated text.
template <typename Char>
DWORD deliver(const std::basic_string<Char>& text, Char* buffer, DWORD capacity) {
    const DWORD needed = static_cast<DWORD>(text.size() + 1);
    if (buffer == nullptr || capacity == 0) return needed;
    const DWORD copied = std::min<DWORD>(needed - 1, capacity - 1);
    std::copy(text.begin(), text.begin() + copied, buffer);
    buffer[copied] = Char(0);
    return copied + 1;
}

}  // namespace

extern "C" DWORD CertGetNameStringA(PCCERT_CONTEXT pCertContext, DWORD dwType, DWORD dwFlags, void* pvTypePara,
                                    LPSTR pszNameString, DWORD cchNameString) {
    std::string text;
    if (!nameString(pCertContext, dwType, dwFlags, pvTypePara, text)) {
        fail(E_INVALIDARG);
        return deliver(std::string(), pszNameString, cchNameString);
    }
    return deliver(text, pszNameString, cchNameString);
}

extern "C" DWORD CertGetNameStringW(PCCERT_CONTEXT pCertContext, DWORD dwType, DWORD dwFlags, void* pvTypePara,
                                    LPWSTR pszNameString, DWORD cchNameString) {
    std::string text;
    if (!nameString(pCertContext, dwType, dwFlags, pvTypePara, text)) {
        fail(E_INVALIDARG);
        return deliver(std::wstring(), pszNameString, cchNameString);
    }
    return deliver(utf8ToWide(text), pszNameString, cchNameString);
}

#include "support.h"

#include "support/Process.h"
#include "support/TempHome.h"

#include <fstream>
#include <iterator>
#include <map>
#include <stdexcept>

namespace cadestest {
namespace {

using vesk::test::shellQuote;

HCERTSTORE MyStore() {
    static StorePtr store(CertOpenSystemStoreW(0, L"My"));
    return store.get();
}

}  // namespace

KeyHandle::KeyHandle(PCCERT_CONTEXT cert) {
    ok_ = CryptAcquireCertificatePrivateKey(cert, 0, nullptr, &prov_, &keySpec_, &mustFree_);
}

KeyHandle::~KeyHandle() {
    if (ok_ && mustFree_) CryptReleaseContext(prov_, 0);
}

CMSG_SIGNER_ENCODE_INFO SignerInfo(PCCERT_CONTEXT cert, const KeyHandle& key, const char* hashOid) {
    CMSG_SIGNER_ENCODE_INFO signer{};
    signer.cbSize = sizeof signer;
    signer.pCertInfo = cert->pCertInfo;
    signer.hCryptProv = key.prov();
    signer.dwKeySpec = key.keySpec();
    signer.HashAlgorithm.pszObjId = const_cast<char*>(hashOid);
    return signer;
}

std::string TempPath(const std::string& name) { return (vesk::test::tempHome() / name).string(); }

Bytes ReadFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) throw std::runtime_error("cannot read " + path);
    return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void WriteFile(const std::string& path, const Bytes& data) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(data.data()), static_cast<std::streamsize>(data.size()));
    if (!out) throw std::runtime_error("cannot write " + path);
}

Bytes ToBytes(const std::string& s) { return Bytes(s.begin(), s.end()); }

Bytes CertFileDer(const std::string& path) {
    static std::map<std::string, Bytes> cache;
    auto it = cache.find(path);
    if (it != cache.end()) return it->second;
    const std::string der = TempPath("cert-" + std::to_string(cache.size()) + ".der");
    std::string log;
    if (openssl("x509 -in " + shellQuote(path) + " -outform DER -out " + shellQuote(der), &log) != 0)
        throw std::runtime_error("openssl x509 failed for " + path + ": " + log);
    return cache[path] = ReadFile(der);
}

Bytes CertDer(const std::string& name) { return CertFileDer(pki("pem/" + name + ".crt")); }

std::vector<CertPtr> ListStore(HCERTSTORE store) {
    std::vector<CertPtr> certs;
    for (PCCERT_CONTEXT c = CertEnumCertificatesInStore(store, nullptr); c; c = CertEnumCertificatesInStore(store, c))
        certs.emplace_back(CertDuplicateCertificateContext(c));
    return certs;
}

CertPtr FindInMy(const std::string& name) {
    const Bytes der = CertDer(name);
    for (auto& cert : ListStore(MyStore()))
        if (Bytes(cert->pbCertEncoded, cert->pbCertEncoded + cert->cbCertEncoded) == der) return std::move(cert);
    return nullptr;
}

SignOutcome Sign(PCCERT_CONTEXT cert, const char* hashOid, bool detached, const Bytes& data, DWORD cadesType,
                 const CADES_SERVICE_CONNECTION_PARA* tsp) {
    CRYPT_SIGN_MESSAGE_PARA msgPara{};
    msgPara.cbSize = sizeof msgPara;
    msgPara.dwMsgEncodingType = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;
    msgPara.pSigningCert = cert;
    msgPara.HashAlgorithm.pszObjId = const_cast<char*>(hashOid);
    msgPara.cMsgCert = 1;
    msgPara.rgpMsgCert = &cert;

    CADES_SIGN_PARA cadesPara{};
    cadesPara.dwSize = sizeof cadesPara;
    cadesPara.dwCadesType = cadesType;
    cadesPara.pTspConnectionPara = const_cast<CADES_SERVICE_CONNECTION_PARA*>(tsp);

    CADES_SIGN_MESSAGE_PARA para{};
    para.dwSize = sizeof para;
    para.pSignMessagePara = &msgPara;
    para.pCadesSignPara = &cadesPara;

    const BYTE* blocks[] = {data.data()};
    DWORD sizes[] = {static_cast<DWORD>(data.size())};
    CRYPT_DATA_BLOB* blob = nullptr;
    SignOutcome out;
    SetLastError(0);
    out.ok = CadesSignMessage(&para, detached, 1, blocks, sizes, &blob);
    out.error = GetLastError();
    out.blob.reset(blob);
    return out;
}

VerifyOutcome Verify(const Bytes& signature, DWORD signerIndex, const Bytes* detachedContent) {
    CRYPT_VERIFY_MESSAGE_PARA msgPara{};
    msgPara.cbSize = sizeof msgPara;
    msgPara.dwMsgAndCertEncodingType = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;
    CADES_VERIFICATION_PARA cadesPara{};
    cadesPara.dwSize = sizeof cadesPara;
    CADES_VERIFY_MESSAGE_PARA para{};
    para.dwSize = sizeof para;
    para.pVerifyMessagePara = &msgPara;
    para.pCadesVerifyPara = &cadesPara;

    VerifyOutcome out;
    CADES_VERIFICATION_INFO* info = nullptr;
    if (detachedContent) {
        const BYTE* blocks[] = {detachedContent->data()};
        DWORD sizes[] = {static_cast<DWORD>(detachedContent->size())};
        out.ok = CadesVerifyDetachedMessage(&para, signerIndex, signature.data(), static_cast<DWORD>(signature.size()),
                                            1, blocks, sizes, &info);
    } else {
        CRYPT_DATA_BLOB* content = nullptr;
        out.ok = CadesVerifyMessage(&para, signerIndex, signature.data(), static_cast<DWORD>(signature.size()),
                                    &content, &info);
        BlobPtr guard(content);
        if (content) out.content.assign(content->pbData, content->pbData + content->cbData);
    }
    out.info.reset(info);
    return out;
}

MsgPtr OpenDecoded(const Bytes& signature, bool detached) {
    MsgPtr msg(CryptMsgOpenToDecode(X509_ASN_ENCODING | PKCS_7_ASN_ENCODING, detached ? CMSG_DETACHED_FLAG : 0, 0, 0,
                                    nullptr, nullptr));
    if (msg && !CryptMsgUpdate(msg.get(), signature.data(), static_cast<DWORD>(signature.size()), TRUE)) msg.reset();
    return msg;
}

double UnixTime(const FILETIME& ft) {
    const unsigned long long ticks = (static_cast<unsigned long long>(ft.dwHighDateTime) << 32) | ft.dwLowDateTime;
    return static_cast<double>(ticks) / 1e7 - 11644473600.0;
}

}  // namespace cadestest

#include "store.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <mutex>

#include <openssl/pem.h>
#include <openssl/sha.h>

#include "gost_engine.h"
#include "handle_registry.h"
#include "last_error.h"
#include "wide_chars.h"

namespace cades_emulator {
namespace {

HandleRegistry<CertStore>& stores() {
    static HandleRegistry<CertStore> registry;
    return registry;
}

std::string lowerCase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::tolower(c); });
    return text;
}

// Folder name of a system store, or empty for an unknown store name.
std::string systemStoreFolder(const std::string& name) {
    const std::string lower = lowerCase(name);
    if (lower == "my") return "My";
    if (lower == "ca") return "CA";
    if (lower == "root") return "Root";
    return {};
}

std::vector<BYTE> readFile(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    return std::vector<BYTE>(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

X509Ptr parseCertificateFile(const std::vector<BYTE>& contents) {
    BioPtr bio(BIO_new_mem_buf(contents.data(), static_cast<int>(contents.size())));
    X509Ptr pem(PEM_read_bio_X509(bio.get(), nullptr, nullptr, nullptr));
    if (pem) return pem;
    return parseDerCertificate(contents.data(), contents.size());
}

std::vector<std::filesystem::path> certificateFiles(const std::filesystem::path& folder) {
    std::vector<std::filesystem::path> files;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
        if (entry.path().extension() == ".crt" && entry.is_regular_file(error)) files.push_back(entry.path());
    }
    std::sort(files.begin(), files.end());  // enumeration order is the file-name order
    return files;
}

std::string thumbprintHex(const std::vector<BYTE>& encoded) {
    unsigned char digest[SHA_DIGEST_LENGTH];
    SHA1(encoded.data(), encoded.size(), digest);
    static const char* digits = "0123456789abcdef";
    std::string text;
    for (unsigned char byte : digest) {
        text += digits[byte >> 4];
        text += digits[byte & 0xF];
    }
    return text;
}

}  // namespace

std::filesystem::path emulatorHome() {
    if (const char* home = std::getenv("CADES_EMULATOR_HOME"); home != nullptr && *home != '\0') return home;
    const char* userHome = std::getenv("HOME");
    return std::filesystem::path(userHome != nullptr ? userHome : ".") / ".cades-emulator";
}

CertStore::CertStore(std::filesystem::path folder) : folder_(std::move(folder)) {
    if (!folder_.empty()) load();
}

void CertStore::load() {
    for (const auto& file : certificateFiles(folder_)) {
        std::vector<BYTE> contents = readFile(file);
        X509Ptr certificate = parseCertificateFile(contents);
        if (!certificate) continue;  // unreadable files are skipped, as a damaged store entry would be
        std::filesystem::path keyFile = file;
        keyFile.replace_extension(".key");
        std::error_code error;
        if (!std::filesystem::is_regular_file(keyFile, error)) keyFile.clear();
        PCCERT_CONTEXT context = createCertificateContext(std::move(certificate), this, keyFile);
        if (context != nullptr) certificates_.push_back(CertificateReference::adopt(context));
    }
}

long CertStore::indexOf(PCCERT_CONTEXT context) const {
    for (size_t i = 0; i < certificates_.size(); ++i)
        if (certificates_[i].get() == context) return static_cast<long>(i);
    return -1;
}

const CertificateReference* CertStore::findEncoded(const std::vector<BYTE>& encoded) const {
    for (const auto& certificate : certificates_)
        if (certificate.data() != nullptr && certificate.data()->encoded() == encoded) return &certificate;
    return nullptr;
}

PCCERT_CONTEXT CertStore::add(X509Ptr certificate, const std::vector<BYTE>& encoded, bool writeFile) {
    if (writeFile && !folder_.empty()) {
        std::error_code error;
        std::filesystem::create_directories(folder_, error);
        const std::filesystem::path file = folder_ / ("added-" + thumbprintHex(encoded) + ".crt");
        BioPtr out(BIO_new_file(file.c_str(), "w"));
        if (!out || PEM_write_bio_X509(out.get(), certificate.get()) != 1) return nullptr;
    }
    PCCERT_CONTEXT context = createCertificateContext(std::move(certificate), this);
    if (context == nullptr) return nullptr;
    certificates_.push_back(CertificateReference::adopt(context));
    return context;
}

HCERTSTORE openSystemStore(const std::string& name) {
    const std::string folder = systemStoreFolder(name);
    if (folder.empty()) return nullptr;
    ensureGostEngine();
    auto store = std::make_unique<CertStore>(emulatorHome() / folder);
    CertStore* raw = store.get();
    stores().add(raw, std::move(store));
    return raw;
}

CertStore* findStore(HCERTSTORE handle) { return stores().find(handle); }

std::vector<X509Ptr> loadSystemStoreCertificates(const std::string& name) {
    std::vector<X509Ptr> certificates;
    for (const auto& file : certificateFiles(emulatorHome() / systemStoreFolder(name))) {
        if (X509Ptr certificate = parseCertificateFile(readFile(file))) certificates.push_back(std::move(certificate));
    }
    return certificates;
}

}  // namespace cades_emulator

using namespace cades_emulator;

namespace {

HCERTSTORE openMemoryStore() {
    auto store = std::make_unique<CertStore>(std::filesystem::path());
    CertStore* raw = store.get();
    stores().add(raw, std::move(store));
    return raw;
}

bool subjectContains(const CertificateData& data, const std::string& needle) {
    char* text = X509_NAME_oneline(X509_get_subject_name(data.x509()), nullptr, 0);
    if (text == nullptr) return false;
    std::string subject(text);
    OPENSSL_free(text);
    return lowerCase(subject).find(lowerCase(needle)) != std::string::npos;
}

bool matches(const CertificateData& data, DWORD findType, const void* findPara) {
    switch (findType) {
        case CERT_FIND_ANY:
            return true;
        case CERT_FIND_SHA1_HASH: {
            const auto* hash = static_cast<const CRYPT_HASH_BLOB*>(findPara);
            unsigned char digest[SHA_DIGEST_LENGTH];
            SHA1(data.encoded().data(), data.encoded().size(), digest);
            return hash->cbData == SHA_DIGEST_LENGTH && std::equal(digest, digest + SHA_DIGEST_LENGTH, hash->pbData);
        }
        case CERT_FIND_SUBJECT_STR_A:
            return subjectContains(data, static_cast<const char*>(findPara));
        case CERT_FIND_SUBJECT_STR_W:
            return subjectContains(data, wideToUtf8(static_cast<const wchar_t*>(findPara)));
        default:
            return false;
    }
}

}  // namespace

extern "C" HCERTSTORE CertOpenSystemStoreW(HCRYPTPROV hProv, LPCWSTR szSubsystemProtocol) {
    (void)hProv;
    if (szSubsystemProtocol == nullptr) return failNull<void>(E_INVALIDARG);
    HCERTSTORE store = openSystemStore(wideToUtf8(szSubsystemProtocol));
    if (store == nullptr) return failNull<void>(CRYPT_E_NOT_FOUND);
    return store;
}

extern "C" HCERTSTORE CertOpenStore(LPCSTR lpszStoreProvider, DWORD dwEncodingType, HCRYPTPROV hCryptProv,
                                    DWORD dwFlags, const void* pvPara) {
    (void)dwEncodingType, (void)hCryptProv, (void)dwFlags;
    if (lpszStoreProvider == CERT_STORE_PROV_MEMORY) return openMemoryStore();
    if (lpszStoreProvider == CERT_STORE_PROV_SYSTEM_W || lpszStoreProvider == CERT_STORE_PROV_SYSTEM_A) {
        if (pvPara == nullptr) return failNull<void>(E_INVALIDARG);
        const std::string name = lpszStoreProvider == CERT_STORE_PROV_SYSTEM_W
                                     ? wideToUtf8(static_cast<const wchar_t*>(pvPara))
                                     : std::string(static_cast<const char*>(pvPara));
        HCERTSTORE store = openSystemStore(name);
        return store != nullptr ? store : failNull<void>(CRYPT_E_NOT_FOUND);
    }
    return failNull<void>(E_NOTIMPL);  // message, file and PKCS #7 store providers
}

extern "C" BOOL CertCloseStore(HCERTSTORE hCertStore, DWORD dwFlags) {
    if (hCertStore == nullptr) return TRUE;
    std::unique_ptr<CertStore> store = stores().take(hCertStore);
    if (!store) return fail(E_INVALIDARG);
    // Contexts handed out stay valid until freed; with the check flag the caller
    // learns that some are still out (the store itself holds one reference to each).
    bool contextsOutstanding = false;
    for (const auto& certificate : store->certificates())
        contextsOutstanding = contextsOutstanding || certificateReferenceCount(certificate.get()) > 1;
    store.reset();
    if (contextsOutstanding && (dwFlags & CERT_CLOSE_STORE_CHECK_FLAG) != 0) return fail(CRYPT_E_PENDING_CLOSE);
    return TRUE;
}

extern "C" PCCERT_CONTEXT CertEnumCertificatesInStore(HCERTSTORE hCertStore, PCCERT_CONTEXT pPrevCertContext) {
    CertStore* store = findStore(hCertStore);
    if (store == nullptr) {
        CertFreeCertificateContext(pPrevCertContext);
        return failNull<const CERT_CONTEXT>(E_INVALIDARG);
    }
    size_t next = 0;
    if (pPrevCertContext != nullptr) {
        const long previous = store->indexOf(pPrevCertContext);
        CertFreeCertificateContext(pPrevCertContext);  // the previous context is always freed
        if (previous < 0) return failNull<const CERT_CONTEXT>(E_INVALIDARG);
        next = static_cast<size_t>(previous) + 1;
    }
    if (next >= store->certificates().size()) return failNull<const CERT_CONTEXT>(CRYPT_E_NOT_FOUND);
    PCCERT_CONTEXT context = store->certificates()[next].get();
    addCertificateReference(context);
    return context;
}

extern "C" PCCERT_CONTEXT CertFindCertificateInStore(HCERTSTORE hCertStore, DWORD dwCertEncodingType, DWORD dwFindFlags,
                                                     DWORD dwFindType, const void* pvFindPara,
                                                     PCCERT_CONTEXT pPrevCertContext) {
    (void)dwCertEncodingType, (void)dwFindFlags;
    CertStore* store = findStore(hCertStore);
    const bool supported = dwFindType == CERT_FIND_ANY || dwFindType == CERT_FIND_SHA1_HASH ||
                           dwFindType == CERT_FIND_SUBJECT_STR_A || dwFindType == CERT_FIND_SUBJECT_STR_W;
    if (store == nullptr || (dwFindType != CERT_FIND_ANY && pvFindPara == nullptr)) {
        CertFreeCertificateContext(pPrevCertContext);
        return failNull<const CERT_CONTEXT>(E_INVALIDARG);
    }
    if (!supported) {
        CertFreeCertificateContext(pPrevCertContext);
        return failNull<const CERT_CONTEXT>(E_NOTIMPL);
    }
    size_t next = 0;
    if (pPrevCertContext != nullptr) {
        const long previous = store->indexOf(pPrevCertContext);
        CertFreeCertificateContext(pPrevCertContext);
        if (previous < 0) return failNull<const CERT_CONTEXT>(E_INVALIDARG);
        next = static_cast<size_t>(previous) + 1;
    }
    for (size_t i = next; i < store->certificates().size(); ++i) {
        const CertificateReference& certificate = store->certificates()[i];
        if (certificate.data() != nullptr && matches(*certificate.data(), dwFindType, pvFindPara)) {
            addCertificateReference(certificate.get());
            return certificate.get();
        }
    }
    return failNull<const CERT_CONTEXT>(CRYPT_E_NOT_FOUND);
}

extern "C" BOOL CertAddEncodedCertificateToStore(HCERTSTORE hCertStore, DWORD dwCertEncodingType,
                                                 const BYTE* pbCertEncoded, DWORD cbCertEncoded, DWORD dwAddDisposition,
                                                 PCCERT_CONTEXT* ppCertContext) {
    if (ppCertContext != nullptr) *ppCertContext = nullptr;
    CertStore* store = findStore(hCertStore);
    if (store == nullptr || pbCertEncoded == nullptr || cbCertEncoded == 0 ||
        (dwCertEncodingType & X509_ASN_ENCODING) == 0 || dwAddDisposition < CERT_STORE_ADD_NEW ||
        dwAddDisposition > CERT_STORE_ADD_ALWAYS)
        return fail(E_INVALIDARG);
    ensureGostEngine();
    X509Ptr certificate = parseDerCertificate(pbCertEncoded, cbCertEncoded);
    if (!certificate) return fail(CRYPT_E_ASN1_BADTAG);
    std::vector<BYTE> encoded(pbCertEncoded, pbCertEncoded + cbCertEncoded);

    PCCERT_CONTEXT result = nullptr;
    const CertificateReference* existing = store->findEncoded(encoded);
    if (existing != nullptr && dwAddDisposition == CERT_STORE_ADD_NEW) return fail(CRYPT_E_EXISTS);
    if (existing != nullptr && dwAddDisposition != CERT_STORE_ADD_ALWAYS) {
        result = existing->get();  // the same certificate: nothing to write again
    } else {
        result = store->add(std::move(certificate), encoded, existing == nullptr);
        if (result == nullptr) return fail(NTE_PERM);
    }
    if (ppCertContext != nullptr) {
        addCertificateReference(result);
        *ppCertContext = result;
    }
    return TRUE;
}

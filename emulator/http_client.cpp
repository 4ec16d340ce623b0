#include "http_client.h"

#include <ctime>

#include <openssl/err.h>
#include <openssl/http.h>

#include "openssl_ptr.h"

namespace cades_emulator {
namespace {

constexpr size_t kMaxAnswerBytes = 1 << 20;

struct UrlParts {
    std::string host, port, path;
};

bool parseUrl(const std::string& address, UrlParts& parts) {
    int ssl = 0;
    char* host = nullptr;
    char* port = nullptr;
    char* path = nullptr;
    if (OSSL_HTTP_parse_url(address.c_str(), &ssl, nullptr, &host, &port, nullptr, &path, nullptr, nullptr) != 1)
        return false;
    const bool usable = ssl == 0 && host != nullptr && *host != '\0';
    if (usable) parts = {host, port, path};
    OPENSSL_free(host);
    OPENSSL_free(port);
    OPENSSL_free(path);
    return usable;
}

// One connection attempt, bounded in time: false at once when the connection is refused.
bool reachableAtOnce(const UrlParts& parts) {
    BioPtr connection(BIO_new_connect(parts.host.c_str()));
    if (!connection || BIO_set_conn_port(connection.get(), parts.port.c_str()) != 1 ||
        BIO_set_nbio(connection.get(), 1) != 1)
        return false;
    const std::time_t deadline = std::time(nullptr) + kServiceTimeoutSeconds;
    while (BIO_do_connect(connection.get()) <= 0) {
        if (!BIO_should_retry(connection.get()) || BIO_wait(connection.get(), deadline, 100) <= 0) {
            ERR_clear_error();
            return false;
        }
    }
    return true;
}

}  // namespace

bool plainHttpAddress(const std::wstring& wide, std::string& address) {
    address.clear();
    for (const wchar_t c : wide) {
        if (c <= 0x20 || c >= 0x7F) return false;
        address.push_back(static_cast<char>(c));
    }
    UrlParts parts;
    return address.rfind("http://", 0) == 0 && parseUrl(address, parts);
}

bool postToService(const std::string& address, const char* contentType, const char* expectedType,
                   const std::vector<BYTE>& request, std::vector<BYTE>& answer, Reach reach) {
    UrlParts parts;
    if (!parseUrl(address, parts)) return false;
    BioPtr body = memoryBio(request);
    if (!body) return false;
    // A service asked on the side is tried once before the exchange, which would try again.
    if (reach == Reach::Once && !reachableAtOnce(parts)) return false;
    // No proxy: the services these signatures need are named by address, as given. An answer
    // expected as ASN.1 is read whole into memory before the connection closes.
    BioPtr response(OSSL_HTTP_transfer(nullptr, parts.host.c_str(), parts.port.c_str(), parts.path.c_str(), 0, "",
                                       nullptr, nullptr, nullptr, nullptr, nullptr, 0, nullptr, contentType, body.get(),
                                       expectedType, 1, kMaxAnswerBytes, kServiceTimeoutSeconds, 0));
    ERR_clear_error();
    if (!response) return false;
    answer.clear();
    unsigned char buffer[4096];
    int read = 0;
    while ((read = BIO_read(response.get(), buffer, sizeof buffer)) > 0)
        answer.insert(answer.end(), buffer, buffer + read);
    return true;
}

}  // namespace cades_emulator

#pragma once
// The local time-stamp and OCSP services of scripts/test-services.py over the test PKI, started
// on 127.0.0.1 at a free port on first use and stopped when the test process ends (the script
// also stops by itself once this process is gone).

#include <string>

namespace vesk::test {

class LocalServices {
public:
    // Starts the services once per process and points the CAdES emulator's OCSP requests at them
    // (CADES_EMULATOR_OCSP_URL). Fails the current test when they cannot be started.
    static LocalServices& instance();

    // "http://127.0.0.1:PORT/tsa" and its misbehaving variants, e.g. tsaUrl("/garbage").
    std::string tsaUrl(const std::string& variant = "") const;
    std::string ocspUrl(const std::string& variant = "") const;
    bool running() const { return port_ != 0; }

    // Points the emulator's OCSP requests at `url` while it lives; the services' own address again after.
    class OcspRedirect {
    public:
        explicit OcspRedirect(const std::string& url);
        ~OcspRedirect();
        OcspRedirect(const OcspRedirect&) = delete;
        OcspRedirect& operator=(const OcspRedirect&) = delete;
    };

    ~LocalServices();
    LocalServices(const LocalServices&) = delete;
    LocalServices& operator=(const LocalServices&) = delete;

private:
    LocalServices();
    int pid_ = -1;
    int input_ = -1;  // the script's standard input; closing it stops the script
    int port_ = 0;
};

// An address on 127.0.0.1 where nothing listens (a port just bound and released).
std::string unreachableUrl();

}  // namespace vesk::test

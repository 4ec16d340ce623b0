#pragma once
// The plugin object: runs one JSON request per call and keeps the last answer.

#include "plugin/VeskPluginApi.h"

#include <boost/shared_ptr.hpp>

#include <string>

class VeskCryptoPlugin : public Vesk::Crypto::VeskPluginApi {
public:
    static boost::shared_ptr<VeskCryptoPlugin> create();

    ~VeskCryptoPlugin() override = default;
    bool executeRequest(const char* data, size_t length) override;
    size_t getResultLength() override;
    const char* getResultString() override;

private:
    std::string result_;
};

#pragma once
// The interface a host sees. The slot order of the virtual table is part of the module's ABI:
// destructors, executeRequest, getResultLength, getResultString.

#include <cstddef>

namespace Vesk::Crypto {

class VeskPluginApi {
public:
    virtual ~VeskPluginApi() = default;
    virtual bool executeRequest(const char* data, size_t length) = 0;
    virtual size_t getResultLength() = 0;
    virtual const char* getResultString() = 0;
};

}  // namespace Vesk::Crypto

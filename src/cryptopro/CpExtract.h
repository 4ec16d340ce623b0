#pragma once
// Takes the signed content out of an attached signature message through the CAdES library.

#include "model/IExtract.h"

namespace Vesk::Crypto::CryptoPro {

class CpExtract : public IExtract {
public:
    CpExtract() = default;
    ~CpExtract() override = default;

    RequestApiResultPtr extractMessage(const std::vector<unsigned char>& signedMessage,
                                       std::vector<unsigned char>& content) override;
};

}  // namespace Vesk::Crypto::CryptoPro

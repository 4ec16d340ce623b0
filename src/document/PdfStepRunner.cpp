#include "document/PdfStepRunner.h"

namespace Vesk::Crypto {

RequestApiResultPtr fail(RequestApiResultPtr result, const std::string& message) {
    result->success = false;
    result->errors.assign(1, message);
    return result;
}

}  // namespace Vesk::Crypto

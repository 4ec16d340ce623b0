#include "document/PdfUpdateStart.h"

namespace Vesk::Crypto {

void startUpdateOnNewLine(std::vector<char>& pdf) {
    if (!pdf.empty() && pdf.back() != '\n' && pdf.back() != '\r') pdf.push_back('\n');
}

}  // namespace Vesk::Crypto

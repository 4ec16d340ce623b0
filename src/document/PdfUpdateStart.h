#pragma once
// Where an incremental update begins. PoDoFo writes the update right after the loaded bytes; a file
// whose last line has no end-of-line ("%%EOF" as its last bytes) would get its first new object
// glued to that line. The end-of-line is added to the buffer before loading, so it belongs to the
// bytes appended: the earlier revision stays byte for byte as it was.

#include <vector>

namespace Vesk::Crypto {

// Appends "\n" when the buffer is not empty and ends neither in LF nor in CR.
void startUpdateOnNewLine(std::vector<char>& pdf);

}  // namespace Vesk::Crypto

#pragma once
// Where bytes made piece by piece go, in order; it answers false to stop the maker.

#include <cstddef>
#include <functional>

namespace Vesk::Crypto {

using ByteSink = std::function<bool(const char* bytes, size_t size)>;

}  // namespace Vesk::Crypto

#pragma once

#include <cstdint>
#include <string>

#include "ZShared/ZExport.h"

namespace ZShared {
namespace CID {

// True when `actual` is the class `wanted` or derives from it, following the base class names
// given at registration. An unregistered ID (0) is a kind of nothing.
Z_EXPORT bool IsKindOf(std::uint32_t wanted, std::uint32_t actual);

// Explains a failed check: the actual class and its chain of bases.
Z_EXPORT std::string GetIsKindOfDebugString(std::uint32_t wanted, std::uint32_t actual);

}  // namespace CID
}  // namespace ZShared

// From absolute coordinates to pixels.
#pragma once

#include <algorithm>
#include <cstdint>

#include "platform/linux/core/types.h"

namespace korvex::platform {

// The pixel that an absolute coordinate (0 to 65535) falls on, on an axis of `size` pixels; clamped
// to the axis.
inline LONG PixelOf(LONG coordinate, int size)
{
    const int64_t pixel = static_cast<int64_t>(coordinate) * size / 65536;
    return static_cast<LONG>(std::clamp<int64_t>(pixel, 0, std::max(size - 1, 0)));
}

} // namespace korvex::platform

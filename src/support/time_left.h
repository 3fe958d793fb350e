// Waiting several times under one limit.
#pragma once

#include <algorithm>

#include "platform/win32.h"

namespace korvex {

// The milliseconds that are left of `limit` since GetTickCount returned `start`; 0 when it is over.
inline DWORD TimeLeft(DWORD start, DWORD limit)
{
    return limit - std::min<DWORD>(GetTickCount() - start, limit);
}

} // namespace korvex

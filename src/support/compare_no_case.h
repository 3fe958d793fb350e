// The one comparison that every test of a device identifier goes through.
#pragma once

#include "platform/win32.h"

namespace korvex {

// CompareStringW with the caller's locale and flags; on Windows 2000, which does not know the
// invariant locale, with English (United States). Lengths in UTF-16 units, -1 for a terminated
// string. Result as of CompareStringW: CSTR_LESS_THAN, CSTR_EQUAL, CSTR_GREATER_THAN, or 0 when the
// comparison failed. Any thread.
int CompareNoCase(LCID locale, DWORD flags, const WCHAR* first, int firstLength,
    const WCHAR* second, int secondLength);

// True when the strings are equal without regard to case in the invariant locale; lengths as above.
bool EqualsNoCase(const WCHAR* first, int firstLength, const WCHAR* second, int secondLength);

} // namespace korvex

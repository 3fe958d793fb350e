#include "support/compare_no_case.h"

namespace korvex {

int CompareNoCase(LCID locale, DWORD flags, const WCHAR* first, int firstLength,
    const WCHAR* second, int secondLength)
{
    constexpr LCID ENGLISH_UNITED_STATES = 1033;
    OSVERSIONINFOW version{};
    version.dwOSVersionInfoSize = sizeof(version);
    GetVersionExW(&version);
    const bool windows2000 = version.dwMajorVersion == 5 && version.dwMinorVersion == 0;
    return CompareStringW(windows2000 ? ENGLISH_UNITED_STATES : locale, flags, first, firstLength,
        second, secondLength);
}

bool EqualsNoCase(const WCHAR* first, int firstLength, const WCHAR* second, int secondLength)
{
    return CompareNoCase(
               LOCALE_INVARIANT, NORM_IGNORECASE, first, firstLength, second, secondLength)
        == CSTR_EQUAL;
}

} // namespace korvex

#include "platform/linux/core/system.h"

#include <algorithm>
#include <string>
#include <string_view>

#include "platform/linux/core/last_error.h"
#include "platform/linux/core/text.h"
#include "platform/linux/machine.h"

BOOL GetVersionExW(OSVERSIONINFOW* version)
{
    if (version->dwOSVersionInfoSize < sizeof(*version))
        return korvex::platform::Fail(ERROR_INVALID_PARAMETER);
    const korvex::platform::Machine* machine = korvex::platform::ThisMachine();
    version->dwMajorVersion = machine->os.majorVersion;
    version->dwMinorVersion = machine->os.minorVersion;
    if (version->dwOSVersionInfoSize >= sizeof(OSVERSIONINFOEXW))
        reinterpret_cast<OSVERSIONINFOEXW*>(version)->wProductType
            = machine->os.isServer ? VER_NT_SERVER : VER_NT_WORKSTATION;
    return TRUE;
}

int CompareStringW(
    LCID locale, DWORD flags, LPCWSTR first, int firstLength, LPCWSTR second, int secondLength)
{
    const korvex::platform::Machine* machine = korvex::platform::ThisMachine();
    const bool windows2000 = machine->os.majorVersion == 5 && machine->os.minorVersion == 0;
    if (first == nullptr || second == nullptr || (windows2000 && locale == LOCALE_INVARIANT)) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }
    const auto textOf = [flags](LPCWSTR text, int length) {
        const std::u16string_view whole = length < 0
            ? std::u16string_view(text)
            : std::u16string_view(text, static_cast<size_t>(length));
        return (flags & NORM_IGNORECASE) != 0 ? korvex::platform::FoldCase(whole)
                                              : std::u16string(whole);
    };
    const int order = textOf(first, firstLength).compare(textOf(second, secondLength));
    if (order == 0)
        return CSTR_EQUAL;
    return order < 0 ? CSTR_LESS_THAN : CSTR_GREATER_THAN;
}

UINT GetWindowsDirectoryW(LPWSTR buffer, UINT capacity)
{
    const std::u16string folder
        = korvex::platform::FromNativePath(korvex::platform::ThisMachine()->folders.windows);
    if (folder.size() >= capacity)
        return static_cast<UINT>(folder.size() + 1);
    std::copy_n(folder.c_str(), folder.size() + 1, buffer);
    return static_cast<UINT>(folder.size());
}

int GetSystemMetrics(int index)
{
    const korvex::platform::Machine* machine = korvex::platform::ThisMachine();
    if (index == SM_CXSCREEN)
        return machine->screen.width;
    if (index == SM_CYSCREEN)
        return machine->screen.height;
    return index == SM_TABLETPC && machine->os.isTabletPc ? 1 : 0;
}

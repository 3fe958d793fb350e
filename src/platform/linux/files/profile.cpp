#include "platform/linux/files/profile.h"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <string>

#include "platform/linux/core/last_error.h"
#include "platform/linux/core/text.h"
#include "platform/linux/files/profile_document.h"

DWORD GetPrivateProfileStringW(LPCWSTR section, LPCWSTR key, LPCWSTR fallback, LPWSTR buffer, DWORD capacity, LPCWSTR path)
{
    if (capacity == 0)
        return 0;
    korvex::platform::ProfileDocument profile;
    korvex::platform::ReadProfile(korvex::platform::ToNativePath(path), &profile);
    std::optional<std::u16string> value = korvex::platform::FindValue(&profile, section, key);
    if (!value) {
        SetLastError(ERROR_FILE_NOT_FOUND);
        value = fallback == nullptr ? TEXT("") : fallback;
    }
    const size_t length = std::min<size_t>(value->size(), capacity - 1);
    std::copy_n(value->data(), length, buffer);
    buffer[length] = 0;
    return static_cast<DWORD>(length);
}

BOOL WritePrivateProfileStringW(LPCWSTR section, LPCWSTR key, LPCWSTR value, LPCWSTR path)
{
    const auto change = [section, key, value](korvex::platform::ProfileDocument* profile) { SetValue(profile, section, key, value); };
    return korvex::platform::UpdateProfile(korvex::platform::ToNativePath(path), change) ? TRUE : korvex::platform::FailWithErrno();
}

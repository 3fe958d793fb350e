// Any values for the keys of a settings file: they load into a calibration that maps every touch
// and survives a save. The file is in memory: the calls that read and write values are this
// program's own. The input is the values in the order in which they are read, a line each; a line
// that is empty is a key that is missing.

#include <algorithm>
#include <cstdlib>
#include <map>
#include <string>
#include <string_view>

#include "harness.h"
#include "platform/linux/files/profile.h"
#include "settings.h"

using namespace korvex; // NOLINT(google-build-using-namespace): a program of one routine

namespace {

std::string_view unread;
std::map<std::u16string, std::u16string, std::less<>> values;

std::u16string ReadValue(const WCHAR* key, const WCHAR* fallback)
{
    const auto known = values.find(std::u16string_view(key));
    if (known != values.end())
        return known->second;
    const std::string_view line = unread.substr(0, unread.find('\n'));
    unread.remove_prefix(std::min(unread.size(), line.size() + 1));
    return values
        .emplace(
            key, line.empty() ? std::u16string(fallback) : std::u16string(line.begin(), line.end()))
        .first->second;
}

} // namespace

DWORD GetPrivateProfileStringW(
    LPCWSTR, LPCWSTR key, LPCWSTR fallback, LPWSTR buffer, DWORD capacity, LPCWSTR)
{
    const std::u16string value = ReadValue(key, fallback);
    const size_t length = std::min<size_t>(value.size(), capacity - 1);
    std::copy_n(value.data(), length, buffer);
    buffer[length] = 0;
    return static_cast<DWORD>(length);
}

BOOL WritePrivateProfileStringW(LPCWSTR, LPCWSTR key, LPCWSTR value, LPCWSTR)
{
    if (key != nullptr)
        values[key] = value;
    return TRUE;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    fuzz::SilenceMachine();
    const fuzz::InOwnFolder folder; // where an empty Korvex.ini can be opened
    unread = {reinterpret_cast<const char*>(bytes), size};
    values.clear();
    fuzz::LoadMapAndSave([] { return true; });
    return 0;
}

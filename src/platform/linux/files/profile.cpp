#include "platform/linux/files/profile.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "platform/linux/core/last_error.h"
#include "platform/linux/core/text.h"
#include "platform/linux/files/profile_file.h"

namespace korvex::platform {

namespace {

struct PendingWrite {
    std::u16string section;
    std::u16string key;
    std::optional<std::u16string> value; // none: the key goes
};

// Writes of a thread that are not flushed, by file.
thread_local std::map<std::string, std::vector<PendingWrite>> pendingWrites;

// The state of the file that the thread has opened last, once it has been read.
struct Snapshot {
    std::string path;
    std::optional<ProfileDocument> profile;
};

thread_local Snapshot snapshot;

void Apply(const std::vector<PendingWrite>& writes, ProfileDocument* profile)
{
    for (const PendingWrite& write : writes)
        SetValue(profile, write.section, write.key, write.value ? write.value->c_str() : nullptr);
}

// The file, with the values that the thread has written.
ProfileDocument Read(const std::string& path)
{
    ProfileDocument profile;
    if (snapshot.path == path && snapshot.profile) {
        profile = *snapshot.profile;
    } else {
        ReadProfile(path, &profile);
        if (snapshot.path == path)
            snapshot.profile = profile;
    }
    if (const auto written = pendingWrites.find(path); written != pendingWrites.end())
        Apply(written->second, &profile);
    return profile;
}

BOOL Flush(const std::string& path)
{
    const auto written = pendingWrites.extract(path);
    snapshot.profile.reset();
    const bool flushed = written.empty()
        || UpdateProfile(
            path, [&written](ProfileDocument* profile) { Apply(written.mapped(), profile); });
    return Fail(flushed ? ERROR_SUCCESS : ErrorFromErrno(errno));
}

} // namespace

void StartReading(const std::string& path)
{
    snapshot = {path, std::nullopt};
}

} // namespace korvex::platform

DWORD GetPrivateProfileStringW(
    LPCWSTR section, LPCWSTR key, LPCWSTR fallback, LPWSTR buffer, DWORD capacity, LPCWSTR path)
{
    if (capacity == 0)
        return 0;
    const auto profile = korvex::platform::Read(korvex::platform::ToNativePath(path));
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
    const std::string native = korvex::platform::ToNativePath(path);
    if (section == nullptr)
        return korvex::platform::Flush(native);
    if (!korvex::platform::CanChangeWholeFile(native))
        return korvex::platform::FailWithErrno();
    korvex::platform::pendingWrites[native].push_back(
        {section, key, value == nullptr ? std::nullopt : std::optional<std::u16string>(value)});
    return TRUE;
}

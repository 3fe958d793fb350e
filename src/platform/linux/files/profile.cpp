#include "platform/linux/files/profile.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/linux/core/last_error.h"
#include "platform/linux/core/text.h"
#include "platform/linux/files/files.h"
#include "platform/linux/files/profile_file.h"

namespace korvex::platform {

namespace {

struct PendingWrite {
    std::u16string section;
    std::u16string key;
    std::optional<std::u16string> value; // none: the key goes
};

void Apply(const std::vector<PendingWrite>* writes, ProfileDocument* profile)
{
    for (const PendingWrite& write : *writes)
        SetValue(profile, write.section, write.key, write.value ? write.value->c_str() : nullptr);
}

// The files that a thread is writing, by path.
struct PendingWrites {
    std::map<std::string, std::vector<PendingWrite>> files;

    PendingWrites() = default;
    ~PendingWrites()
    {
        while (!files.empty())
            Flush(files.begin()->first);
    }
    PendingWrites(const PendingWrites&) = delete;
    PendingWrites& operator=(const PendingWrites&) = delete;

    // False with errno set.
    bool Flush(const std::string& path)
    {
        const auto found = files.find(path);
        if (found == files.end())
            return true;
        const std::vector<PendingWrite> writes = std::move(found->second);
        files.erase(found);
        return UpdateProfile(
            path, [&writes](ProfileDocument* profile) { Apply(&writes, profile); });
    }
};

thread_local PendingWrites pendingWrites;

// The state of the file that the thread has opened last, once it has been read.
struct Snapshot {
    uint64_t opening = 0; // the number of that opening; 0: none has been read
    std::string path;
    ProfileDocument profile;
};

thread_local Snapshot snapshot;

// A value of the file, with what the thread has written of it.
std::optional<std::u16string> ReadThrough(const std::string& path, LPCWSTR section, LPCWSTR key)
{
    const LastOpening* opening = LastOpeningOfThread();
    const auto written = pendingWrites.files.find(path);
    if (opening->path == path && snapshot.opening != opening->number) {
        snapshot = {opening->number, path, {}};
        ReadProfile(path, &snapshot.profile);
    }
    if (opening->path == path && written == pendingWrites.files.end())
        return FindValue(&snapshot.profile, section, key);
    ProfileDocument profile;
    if (opening->path == path)
        profile = snapshot.profile;
    else
        ReadProfile(path, &profile);
    if (written != pendingWrites.files.end())
        Apply(&written->second, &profile);
    return FindValue(&profile, section, key);
}

// Flushes one file of the thread.
BOOL Flush(const std::string& path)
{
    const bool flushed = pendingWrites.Flush(path);
    snapshot.opening = 0;
    return Fail(flushed ? ERROR_SUCCESS : ErrorFromErrno(errno));
}

} // namespace

} // namespace korvex::platform

DWORD GetPrivateProfileStringW(
    LPCWSTR section, LPCWSTR key, LPCWSTR fallback, LPWSTR buffer, DWORD capacity, LPCWSTR path)
{
    if (capacity == 0)
        return 0;
    std::optional<std::u16string> value
        = korvex::platform::ReadThrough(korvex::platform::ToNativePath(path), section, key);
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
    korvex::platform::pendingWrites.files[native].push_back(
        {section, key, value == nullptr ? std::nullopt : std::optional<std::u16string>(value)});
    return TRUE;
}

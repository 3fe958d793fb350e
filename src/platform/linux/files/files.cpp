#include "platform/linux/files/files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <string>
#include <system_error>

#include "platform/linux/core/descriptors.h"
#include "platform/linux/core/handle_objects.h"
#include "platform/linux/core/text.h"
#include "platform/linux/files/profile.h"
#include "platform/linux/files/whole_files.h"
#include "platform/linux/machine.h"

namespace korvex::platform {

namespace {

// Opens a regular file that can be read whole, and written where that is asked for. -1 with the
// last error set.
int OpenRegular(const std::string& path, DWORD access)
{
    struct stat status{};
    std::string target;
    if (!FollowTrustedLinks(path, &target) || lstat(target.c_str(), &status) != 0) {
        // no regular file is as good as one that may not be opened
        Fail(errno == EINVAL ? ERROR_ACCESS_DENIED : ErrorFromErrno(errno));
        return -1;
    }
    const bool writes = (access & GENERIC_WRITE) != 0;
    if (writes && IsReadOnly(&status)) {
        Fail(ERROR_ACCESS_DENIED);
        return -1;
    }
    if (static_cast<uintmax_t>(status.st_size) > MAX_FILE_BYTES) {
        Fail(ERROR_FILE_TOO_LARGE);
        return -1;
    }
    const bool attributesOnly = (access & (GENERIC_READ | GENERIC_WRITE)) == 0;
    const int mode = writes ? O_RDWR : attributesOnly ? O_PATH : O_RDONLY;
    const int descriptor = open(target.c_str(), mode | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC);
    if (descriptor < 0)
        FailWithErrno();
    return descriptor;
}

} // namespace

HANDLE OpenRegularFile(const std::string& path, DWORD access)
{
    StartReading(path);
    const int descriptor = OpenRegular(path, access);
    if (descriptor < 0)
        return INVALID_HANDLE_VALUE;
    close(descriptor);
    return HandleOf(new HandleObject);
}

} // namespace korvex::platform

using korvex::platform::ErrorFromErrno;
using korvex::platform::Fail;

DWORD GetFullPathNameW(LPCWSTR path, DWORD capacity, LPWSTR buffer, LPWSTR* filePart)
{
    if (path == nullptr || *path == 0 || filePart != nullptr) {
        Fail(ERROR_INVALID_PARAMETER);
        return 0;
    }
    std::error_code error;
    const std::filesystem::path absolute
        = std::filesystem::absolute(korvex::platform::ToNativePath(path), error);
    if (error) {
        Fail(ErrorFromErrno(error.value()));
        return 0;
    }
    const std::u16string text
        = korvex::platform::FromNativePath(absolute.lexically_normal().native());
    if (text.size() >= capacity)
        return static_cast<DWORD>(text.size() + 1);
    std::copy_n(text.c_str(), text.size() + 1, buffer);
    return static_cast<DWORD>(text.size());
}

HRESULT SHGetFolderPathW(HWND /*owner*/, int folder, HANDLE /*token*/, DWORD /*flags*/, LPWSTR path)
{
    const std::u16string text
        = korvex::platform::FromNativePath(korvex::platform::ThisMachine()->folders.system);
    if (folder != CSIDL_SYSTEM || text.empty() || text.size() >= MAX_PATH) {
        *path = 0;
        return E_FAIL;
    }
    std::copy_n(text.c_str(), text.size() + 1, path);
    return S_OK;
}

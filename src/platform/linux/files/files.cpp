#include "platform/linux/files/files.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <system_error>
#include <thread>

#include "platform/linux/core/descriptors.h"
#include "platform/linux/core/handle_objects.h"
#include "platform/linux/core/text.h"
#include "platform/linux/files/openers.h"
#include "platform/linux/machine.h"

namespace korvex::platform {

namespace {

struct FileObject : HandleObject {
    static const HandleType TYPE;
    int descriptor = -1;
};

void CloseFile(HandleObject* object)
{
    auto* file = static_cast<FileObject*>(object);
    ::close(file->descriptor);
    delete file;
}

constexpr HandleType FileObject::TYPE{CloseFile};

thread_local LastOpening lastOpening;

// Handles that are held for a moment, as while settings are loaded, are waited for this long.
constexpr std::chrono::milliseconds SHARING_LIMIT{100};
constexpr std::chrono::milliseconds SHARING_RETRY{1};

// Takes the file's lock. False with errno set, EWOULDBLOCK while someone else does not share it.
bool LockShared(int descriptor, int operation)
{
    const auto deadline = std::chrono::steady_clock::now() + SHARING_LIMIT;
    while (flock(descriptor, operation | LOCK_NB) != 0) {
        if (errno != EWOULDBLOCK || std::chrono::steady_clock::now() >= deadline)
            return false;
        std::this_thread::sleep_for(SHARING_RETRY);
    }
    return true;
}

HANDLE OpenFile(const char* path, DWORD access, DWORD shareMode)
{
    struct stat status{};
    if (stat(path, &status) != 0) {
        FailWithErrno();
        return INVALID_HANDLE_VALUE;
    }
    const bool writes = (access & GENERIC_WRITE) != 0;
    if (S_ISDIR(status.st_mode) || (writes && IsReadOnly(&status))) {
        Fail(ERROR_ACCESS_DENIED);
        return INVALID_HANDLE_VALUE;
    }
    // such a handle takes no part in sharing
    const bool attributesOnly = (access & (GENERIC_READ | GENERIC_WRITE)) == 0;
    const int mode = writes ? O_RDWR : attributesOnly ? O_PATH : O_RDONLY;
    const int descriptor = open(path, mode | O_NONBLOCK | O_CLOEXEC);
    if (descriptor < 0) {
        FailWithErrno();
        return INVALID_HANDLE_VALUE;
    }
    const bool shared = attributesOnly || (shareMode & FILE_SHARE_WRITE) != 0;
    const int lock = writes || (shareMode & FILE_SHARE_READ) == 0 ? LOCK_EX : LOCK_SH;
    if (!shared && !LockShared(descriptor, lock)) {
        Fail(errno == EWOULDBLOCK ? ERROR_SHARING_VIOLATION : ErrorFromErrno(errno));
        ::close(descriptor);
        return INVALID_HANDLE_VALUE;
    }
    auto* file = new FileObject;
    file->type = &FileObject::TYPE;
    file->descriptor = descriptor;
    return HandleOf(file);
}

} // namespace

const LastOpening* LastOpeningOfThread()
{
    return &lastOpening;
}

} // namespace korvex::platform

using korvex::platform::ErrorFromErrno;
using korvex::platform::Fail;

HANDLE CreateFileW(LPCWSTR path, DWORD access, DWORD shareMode, SECURITY_ATTRIBUTES* /*security*/,
    DWORD disposition, DWORD /*flags*/, HANDLE /*templateFile*/)
{
    if (disposition != OPEN_EXISTING) {
        Fail(ERROR_INVALID_PARAMETER);
        return INVALID_HANDLE_VALUE;
    }
    const korvex::platform::OpenRequest request{path, access, shareMode};
    if (const std::optional<HANDLE> handle = korvex::platform::AskOpeners(&request))
        return *handle;
    const std::string native = korvex::platform::ToNativePath(path);
    HANDLE handle = korvex::platform::OpenFile(native.c_str(), access, shareMode);
    korvex::platform::lastOpening = {korvex::platform::lastOpening.number + 1, native};
    return handle;
}

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

#include "platform/linux/files/files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <mutex>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "platform/linux/core/descriptors.h"
#include "platform/linux/core/handle_objects.h"
#include "platform/linux/core/text.h"
#include "platform/linux/files/whole_files.h"
#include "platform/linux/machine.h"

namespace korvex::platform {

namespace {

struct FileObject;

// Guards the files that are open.
std::mutex openFilesLock;

std::vector<const FileObject*>* OpenFiles()
{
    static auto* files
        = new std::vector<const FileObject*>; // threads may outlive what an exit tears down
    return files;
}

struct FileObject : HandleObject {
    int descriptor = -1;
    // For the sharing with the handles of this process; programs here know no other.
    dev_t device = 0;
    ino_t inode = 0;
    DWORD access = 0; // of reading and writing
    DWORD shareMode = 0;

    ~FileObject() override
    {
        const std::lock_guard guard(openFilesLock);
        std::erase(*OpenFiles(), this);
        ::close(descriptor);
    }
};

thread_local LastOpening lastOpening;

// Handles that are held for a moment, as while settings are loaded, are waited for this long.
constexpr std::chrono::milliseconds SHARING_LIMIT{100};
constexpr std::chrono::milliseconds SHARING_RETRY{1};

// Whether a share mode lets somebody else have that access.
bool Allows(DWORD shareMode, DWORD access)
{
    return ((access & GENERIC_READ) == 0 || (shareMode & FILE_SHARE_READ) != 0)
        && ((access & GENERIC_WRITE) == 0 || (shareMode & FILE_SHARE_WRITE) != 0);
}

// Counts the file among the open ones; false where one of those or this one does not share.
bool Share(const FileObject* file)
{
    const std::lock_guard guard(openFilesLock);
    for (const FileObject* other : *OpenFiles()) {
        const bool same = other->device == file->device && other->inode == file->inode;
        if (same
            && !(Allows(other->shareMode, file->access) && Allows(file->shareMode, other->access)))
            return false;
    }
    OpenFiles()->push_back(file);
    return true;
}

// Opens a regular file that can be read whole, and written where that is asked for. -1 with the
// last error set.
int OpenRegular(const std::string& path, DWORD access, struct stat* status)
{
    std::string target;
    if (!FollowTrustedLinks(path, &target) || lstat(target.c_str(), status) != 0) {
        // no regular file is as good as one that may not be opened
        Fail(errno == EINVAL ? ERROR_ACCESS_DENIED : ErrorFromErrno(errno));
        return -1;
    }
    const bool writes = (access & GENERIC_WRITE) != 0;
    if (writes && IsReadOnly(status)) {
        Fail(ERROR_ACCESS_DENIED);
        return -1;
    }
    if (static_cast<uintmax_t>(status->st_size) > MAX_FILE_BYTES) {
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

HANDLE OpenFile(const std::string& path, DWORD access, DWORD shareMode)
{
    struct stat status{};
    const int descriptor = OpenRegular(path, access, &status);
    if (descriptor < 0)
        return INVALID_HANDLE_VALUE;
    auto* file = new FileObject;
    file->descriptor = descriptor;
    file->device = status.st_dev;
    file->inode = status.st_ino;
    file->access = access;
    // a handle for the attributes alone takes no part in sharing
    file->shareMode = (access & (GENERIC_READ | GENERIC_WRITE)) != 0
        ? shareMode
        : FILE_SHARE_READ | FILE_SHARE_WRITE;
    const auto deadline = std::chrono::steady_clock::now() + SHARING_LIMIT;
    while (!Share(file)) {
        if (std::chrono::steady_clock::now() >= deadline) {
            delete file;
            Fail(ERROR_SHARING_VIOLATION);
            return INVALID_HANDLE_VALUE;
        }
        std::this_thread::sleep_for(SHARING_RETRY);
    }
    return HandleOf(file);
}

} // namespace

HANDLE OpenRegularFile(const std::string& path, DWORD access, DWORD shareMode)
{
    HANDLE handle = OpenFile(path, access, shareMode);
    lastOpening = {lastOpening.number + 1, path};
    return handle;
}

const LastOpening* LastOpeningOfThread()
{
    return &lastOpening;
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

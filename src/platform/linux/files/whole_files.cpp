#include "platform/linux/files/whole_files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <system_error>
#include <utility>

#include "platform/linux/core/descriptors.h"
#include "platform/linux/core/last_error.h"
#include "platform/linux/files/lock_file.h"
#include "platform/linux/machine.h"

namespace korvex::platform {

namespace {

namespace fs = std::filesystem;

// How long a change waits for another process that is changing a file in the same folder.
constexpr std::chrono::milliseconds LOCK_LIMIT{2000};
constexpr std::chrono::milliseconds SHORT_LIMIT{5}; // after a wait in vain

constexpr std::string_view TEMPORARY_ENDING = ".new";
constexpr const char* LOCK_NAME = ".korvex.lock";

// Closes a descriptor, and leaves errno alone.
struct DescriptorOwner {
    int descriptor;

    explicit DescriptorOwner(int opened) : descriptor(opened) { }
    ~DescriptorOwner()
    {
        const int error = errno;
        if (descriptor >= 0)
            close(descriptor);
        errno = error;
    }
    DescriptorOwner(const DescriptorOwner&) = delete;
    DescriptorOwner& operator=(const DescriptorOwner&) = delete;
};

fs::path FolderOf(const fs::path& file)
{
    return file.has_parent_path() ? file.parent_path() : fs::path(".");
}

bool FailWith(int error)
{
    errno = error;
    return false;
}

// Gives a new file to its folder's owner. Only the superuser can: everyone else's stays their own.
void GiveToOwnerOf(int folder, int file)
{
    struct stat status{};
    if (fstat(folder, &status) == 0 && status.st_uid != geteuid()) {
        [[maybe_unused]] const int refused = fchown(file, status.st_uid, status.st_gid);
    }
}

// Holds the lock of a folder while it lives: a file in it, which goes with the lock. `folder` is
// the folder's descriptor; -1, with errno set, when the lock could not be had. Once it has been
// waited for in vain, later ones are not waited for until one is had: a holder that is stopped must
// not hold this process up again and again.
struct FolderLock {
    DescriptorOwner folder;
    std::string path;
    int file = -1;

    explicit FolderLock(const fs::path& place)
        : folder(open(place.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC))
        , path(place / LOCK_NAME)
    {
        static std::atomic<bool> waitedInVain{false};
        if (folder.descriptor < 0)
            return;
        file = OpenLockFile(path, waitedInVain ? SHORT_LIMIT : LOCK_LIMIT);
        const int error = errno;
        waitedInVain = file < 0 && error == EWOULDBLOCK;
        if (file >= 0) {
            GiveToOwnerOf(
                folder.descriptor, file); // for others who wait for it or find it left over
            return;
        }
        close(std::exchange(folder.descriptor, -1));
        errno = waitedInVain ? EBUSY : error;
    }
    ~FolderLock()
    {
        const int error = errno;
        if (file >= 0) {
            unlink(path.c_str());
            close(file);
        }
        errno = error;
    }
    FolderLock(const FolderLock&) = delete;
    FolderLock& operator=(const FolderLock&) = delete;
};

// Whether a name in the folder is that of a temporary file of `file`: "Korvex.ini.812-0.new".
bool IsTemporaryOf(std::string_view name, std::string_view file)
{
    if (!name.starts_with(file) || !name.ends_with(TEMPORARY_ENDING)
        || name.size() < file.size() + 1 + TEMPORARY_ENDING.size())
        return false;
    name = name.substr(file.size(), name.size() - file.size() - TEMPORARY_ENDING.size());
    return name.size() > 1 && name.front() == '.'
        && name.find_first_not_of("0123456789-", 1) == std::string_view::npos;
}

// While the folder's lock is held no other process writes one, so those that are there were left by
// processes that were killed.
void RemoveTemporaries(const fs::path& target)
{
    std::error_code error;
    for (const fs::directory_entry& entry : fs::directory_iterator(FolderOf(target), error)) {
        if (IsTemporaryOf(entry.path().filename().native(), target.filename().native()))
            unlink(entry.path().c_str());
    }
}

// The new content as a temporary file beside the old one, null for none; empty with errno set.
std::string WriteTemporary(const fs::path& target, int folder, const struct stat* old,
    std::string_view content, Durability durability)
{
    std::string temporary = target.native() + "." + std::to_string(getpid()) + "-0";
    temporary += TEMPORARY_ENDING;
    const DescriptorOwner file(
        open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666));
    if (file.descriptor < 0)
        return {};
    bool written = true;
    if (old != nullptr) {
        // Only the superuser can change a file's owner; everyone else's new file stays their own.
        [[maybe_unused]] const int refused = fchown(file.descriptor, old->st_uid, old->st_gid);
        written = fchmod(file.descriptor, old->st_mode & 0777) == 0;
    } else {
        GiveToOwnerOf(folder, file.descriptor);
    }
    if (written && WriteWhole(file.descriptor, content)
        && (durability == Durability::DEFERRED || fsync(file.descriptor) == 0))
        return temporary;
    const int error = errno;
    unlink(temporary.c_str());
    errno = error;
    return {};
}

// Puts the content in the file's place. The caller holds the folder's lock.
bool Replace(
    const fs::path& target, const FolderLock* lock, std::string_view content, Durability durability)
{
    struct stat status{};
    const bool exists = lstat(target.c_str(), &status) == 0;
    if (exists && !S_ISREG(status.st_mode))
        return FailWith(EINVAL);
    if (exists && IsReadOnly(&status))
        return FailWith(EACCES);
    RemoveTemporaries(target);
    const std::string temporary = WriteTemporary(
        target, lock->folder.descriptor, exists ? &status : nullptr, content, durability);
    if (temporary.empty())
        return false;
    if (rename(temporary.c_str(), target.c_str()) == 0)
        return durability == Durability::DEFERRED || fsync(lock->folder.descriptor) == 0;
    const int error = errno;
    unlink(temporary.c_str());
    return FailWith(error);
}

// Reads a regular file, opened with `flags` too.
bool Read(const std::string& path, int flags, size_t limit, std::string* content)
{
    struct stat status{};
    // Looked at first: to open a device can have effects.
    if (stat(path.c_str(), &status) != 0)
        return false;
    if (!S_ISREG(status.st_mode))
        return FailWith(EINVAL);
    const DescriptorOwner file(
        open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC | flags));
    if (file.descriptor < 0 || fstat(file.descriptor, &status) != 0)
        return false;
    if (!S_ISREG(status.st_mode))
        return FailWith(EINVAL);
    return ReadWhole(file.descriptor, limit, content);
}

bool Change(const std::string& path,
    const std::function<std::optional<std::string>(std::string_view)>& change,
    Durability durability)
{
    std::string target;
    if (!FollowTrustedLinks(path, &target))
        return false;
    const FolderLock lock(FolderOf(target));
    std::string before;
    if (lock.folder.descriptor < 0
        || (!Read(target, O_NOFOLLOW, MAX_FILE_BYTES, &before) && errno != ENOENT))
        return false;
    const std::optional<std::string> after = change(before);
    return !after || *after == before || Replace(target, &lock, *after, durability);
}

} // namespace

bool FollowTrustedLinks(const std::string& path, std::string* target)
{
    constexpr int LONGEST_CHAIN = 40; // as the kernel has it
    *target = path;
    for (int i = 0; i < LONGEST_CHAIN; ++i) {
        struct stat status{};
        if (lstat(target->c_str(), &status) != 0)
            return errno == ENOENT;
        if (S_ISREG(status.st_mode))
            return true;
        if (!S_ISLNK(status.st_mode))
            return FailWith(EINVAL);
        if (status.st_uid != geteuid() && status.st_uid != 0)
            return FailWith(EPERM);
        std::error_code error;
        *target = fs::path(*target).parent_path() / fs::read_symlink(*target, error);
        if (error)
            return FailWith(error.value());
    }
    return FailWith(ELOOP);
}

bool ReadWholeFile(const std::string& path, std::string* content, size_t limit)
{
    return Read(path, 0, limit, content);
}

bool ChangeWholeFile(const std::string& path,
    const std::function<std::optional<std::string>(std::string_view content)>& change,
    Durability durability)
{
    if (Change(path, change, durability))
        return true;
    const int error = errno;
    if (const auto& told = ThisMachine()->handlers.fileNotWritten)
        told(path, error);
    return FailWith(error);
}

bool CanChangeWholeFile(const std::string& path)
{
    std::string target;
    if (!FollowTrustedLinks(path, &target))
        return false;
    struct stat status{};
    if (stat(target.c_str(), &status) == 0 && IsReadOnly(&status))
        return FailWith(EACCES);
    return access(FolderOf(target).c_str(), W_OK | X_OK) == 0;
}

bool CreateWholeFile(const std::string& path, std::string_view content)
{
    std::error_code failure;
    fs::create_directories(FolderOf(path), failure);
    const DescriptorOwner file(
        open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666));
    if (file.descriptor < 0)
        return false;
    if (WriteWhole(file.descriptor, content))
        return true;
    const int error = errno;
    unlink(path.c_str());
    return FailWith(error);
}

} // namespace korvex::platform

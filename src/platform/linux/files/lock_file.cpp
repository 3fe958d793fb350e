#include "platform/linux/files/lock_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <thread>

namespace korvex::platform {

namespace {

constexpr mode_t OTHERS = S_IRWXG | S_IRWXO;
constexpr std::chrono::milliseconds RETRY{5};

bool IsOwnLock(int descriptor)
{
    struct stat status{};
    if (fstat(descriptor, &status) != 0)
        return false;
    // With a second name it would be a different file that was linked there.
    const bool own = S_ISREG(status.st_mode) && (status.st_mode & OTHERS) == 0
        && status.st_nlink <= 1 && (status.st_uid == geteuid() || geteuid() == 0);
    if (!own)
        errno = EPERM;
    return own;
}

// Whether the path still names the file: the previous holder may have removed it.
bool IsThere(int descriptor, const std::string& path)
{
    struct stat locked{};
    struct stat there{};
    const bool same = fstat(descriptor, &locked) == 0 && lstat(path.c_str(), &there) == 0
        && locked.st_ino == there.st_ino;
    if (!same)
        errno = EWOULDBLOCK;
    return same;
}

int TryLock(const std::string& path)
{
    const int lock = open(path.c_str(),
        O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY, S_IRUSR | S_IWUSR);
    if (lock < 0 || (IsOwnLock(lock) && flock(lock, LOCK_EX | LOCK_NB) == 0 && IsThere(lock, path)))
        return lock;
    const int error = errno;
    close(lock);
    errno = error;
    return -1;
}

} // namespace

int OpenLockFile(const std::string& path, std::chrono::milliseconds limit)
{
    const auto deadline = std::chrono::steady_clock::now() + limit;
    for (;;) {
        const int lock = TryLock(path);
        if (lock >= 0 || errno != EWOULDBLOCK || std::chrono::steady_clock::now() >= deadline)
            return lock;
        std::this_thread::sleep_for(RETRY);
    }
}

bool IsOwnFolder(const std::string& path)
{
    struct stat status{};
    if (lstat(path.c_str(), &status) != 0)
        return false;
    const bool own = S_ISDIR(status.st_mode) && status.st_uid == geteuid()
        && (status.st_mode & (S_IWGRP | S_IWOTH)) == 0;
    if (!own)
        errno = EPERM;
    return own;
}

std::string SessionFolder()
{
    const std::string user = std::to_string(geteuid());
    const char* named = getenv("XDG_RUNTIME_DIR");
    if (named != nullptr && IsOwnFolder(named))
        return named;
    if (std::string folder = "/run/user/" + user; IsOwnFolder(folder))
        return folder;
    std::string folder = "/tmp/korvex-" + user;
    if (mkdir(folder.c_str(), S_IRWXU) != 0 && errno != EEXIST)
        return {};
    return IsOwnFolder(folder) ? folder : std::string();
}

} // namespace korvex::platform

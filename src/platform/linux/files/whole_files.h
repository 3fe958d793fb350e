// Small files that are read and replaced whole: a reader sees the old content or the new, also
// after a crash.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace korvex::platform {

// The largest content that is read, in bytes: far above what any of these files holds.
inline constexpr size_t MAX_FILE_BYTES = size_t{1} << 20;

// When a change is on the disk: as soon as its call returns, or when the system gets to it, so that
// a power cut can take it back.
enum class Durability { SYNCED, DEFERRED };

// Reads a regular file of at most `limit` bytes whole. False with errno set: ENOENT, EINVAL for
// anything but a regular file, EFBIG.
bool ReadWholeFile(const std::string& path, std::string* content, size_t limit = MAX_FILE_BYTES);

// Follows the path's symbolic links to the regular file that is meant, which need not exist. Only
// the user's own and root's are followed: others could have a privileged user read or change any
// file. False with errno set: EPERM for another user's link, EINVAL for anything but a regular
// file.
bool FollowTrustedLinks(const std::string& path, std::string* target);

// Replaces the file's content by the result of `change`, which is called with the present content
// (empty when the file is missing), under a lock in the folder (lock_file.h): written beside the
// file, then renamed over it. Without a result, or with the same content, nothing is written.
// A symbolic link stays, and the file that it leads to is replaced (FollowTrustedLinks). Owner and
// permissions stay; a new file gets its folder's owner. A file without write permission is not
// replaced (EACCES). Temporary files of killed processes are removed. False with errno set (EBUSY:
// another process has held the lock for 2 s), and the machine notified (fileNotWritten); the file
// is then unchanged.
bool ChangeWholeFile(const std::string& path,
    const std::function<std::optional<std::string>(std::string_view content)>& change,
    Durability durability);

// Whether ChangeWholeFile may write the file now; else false with errno set.
bool CanChangeWholeFile(const std::string& path);

// Creates a file that is not there yet, with its folders. False with errno set: EEXIST also for a
// link, whatever it names.
bool CreateWholeFile(const std::string& path, std::string_view content);

} // namespace korvex::platform

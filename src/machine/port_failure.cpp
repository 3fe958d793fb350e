#include "machine/port_failure.h"

#include <grp.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <system_error>

#include "cli/text_layout.h"

namespace korvex::command {

namespace {

namespace fs = std::filesystem;

// The process that holds the file's lock, by the kernel's list of them ("1: FLOCK  ADVISORY  WRITE
// 812 00:1a:3 0 EOF"); 0 for none.
pid_t LockHolder(const std::string& path)
{
    struct stat status{};
    if (stat(path.c_str(), &status) != 0)
        return 0;
    const std::string place = Formatted("%02x:%02x:%llu", major(status.st_dev),
        minor(status.st_dev), static_cast<unsigned long long>(status.st_ino));
    std::ifstream locks("/proc/locks");
    for (std::string line; std::getline(locks, line);) {
        std::istringstream words(line);
        std::string number;
        std::string kind;
        std::string word;
        pid_t process = 0;
        std::string file;
        words >> number >> kind >> word >> word >> process >> file;
        if (kind == "FLOCK" && file == place)
            return process;
    }
    return 0;
}

// A process that has the file open, by its links below /proc; 0 for none. Those of other users
// cannot be seen.
pid_t OpenHolder(const fs::path& file)
{
    std::error_code error;
    if (file.empty())
        return 0; // the port is gone by now
    for (const fs::directory_entry& entry : fs::directory_iterator("/proc", error)) {
        const pid_t process
            = static_cast<pid_t>(strtol(entry.path().filename().c_str(), nullptr, 10));
        if (process == 0 || process == getpid())
            continue;
        const fs::directory_iterator descriptors(entry.path() / "fd", error);
        const bool open = std::any_of(
            begin(descriptors), end(descriptors), [&file](const fs::directory_entry& descriptor) {
                std::error_code unreadable;
                return fs::read_symlink(descriptor.path(), unreadable) == file;
            });
        if (open)
            return process;
    }
    return 0;
}

// A running program's name; empty once it has ended, although a child of its may go on holding what
// it held.
std::string ProgramName(pid_t process)
{
    std::string name;
    std::ifstream file("/proc/" + std::to_string(process) + "/comm");
    std::getline(file, name);
    return name;
}

// "minicom (process 812)", the program that has the port; "another program" when none can be seen.
std::string HolderOf(const std::string& path)
{
    std::error_code error;
    for (const pid_t process : {LockHolder(path), OpenHolder(fs::canonical(path, error))}) {
        const std::string name = process == 0 ? "" : ProgramName(process);
        if (!name.empty())
            return (name == "korvex" ? "another Korvex program" : name) + " (process "
                + std::to_string(process) + ")";
    }
    return "another program";
}

// The group of the port's node; if it has none but root's, the group of Debian's rules for ports.
std::string GroupOf(const std::string& path)
{
    struct stat status{};
    group entry{};
    group* found = nullptr;
    std::array<char, 4096> names{};
    if (stat(path.c_str(), &status) == 0 && status.st_gid != 0)
        getgrgid_r(status.st_gid, &entry, names.data(), names.size(), &found);
    return found == nullptr ? "dialout" : entry.gr_name;
}

} // namespace

std::string PortFailureText(const std::string& path, DWORD error)
{
    switch (error) {
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
        return "there is no such port";
    case ERROR_ACCESS_DENIED:
        return "no permission (is the user in the group \"" + GroupOf(path) + "\"?)";
    case ERROR_SHARING_VIOLATION:
        return HolderOf(path) + " is using it";
    case ERROR_DEVICE_NOT_CONNECTED:
        return "no device is connected";
    case ERROR_TOO_MANY_OPEN_FILES:
        return "this process may not open more files";
    case ERROR_INVALID_FUNCTION:
        return "it is not a serial port";
    default:
        return "the system refuses it";
    }
}

} // namespace korvex::command

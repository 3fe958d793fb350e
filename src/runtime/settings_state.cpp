#include "runtime/settings_state.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "calibration/settings_file.h"
#include "link/touch_controller.h"
#include "platform/linux/core/text.h"
#include "platform/linux/files/whole_files.h"
#include "platform/win32.h"

namespace korvex::command {

namespace {

// Why the runtime does not use the file that is there, by the last error.
std::string UnusedReason(const std::string& path)
{
    const DWORD error = GetLastError();
    std::string target;
    if (!platform::FollowTrustedLinks(path, &target))
        return errno == EPERM ? "it is a link of another user's" : "it is no regular file";
    switch (error) {
    case ERROR_ACCESS_DENIED:
        return "it cannot be read and written; give yourself permission";
    case ERROR_FILE_TOO_LARGE:
        return "it is larger than a megabyte";
    default:
        return "it cannot be opened";
    }
}

} // namespace

std::string SettingsFilePath()
{
    SettingsPath path{};
    return LocateCalibrationFile(&path) ? platform::ToNativePath(path.data()) : "";
}

std::string SettingsFault()
{
    SettingsPath path{};
    std::error_code error;
    if (std::filesystem::current_path(error).empty())
        return "the current folder is not there any more, so no 'Korvex.ini' is used; start in one "
               "that is";
    if (!LocateCalibrationFile(&path))
        return "the path of 'Korvex.ini' in this folder is too long, so it is not used; start in a "
               "folder with a shorter path";
    const std::string name = platform::ToNativePath(path.data());
    CalibrationData unneeded{};
    const bool used = ReadCalibrationFile(&unneeded);
    const bool missing = !used && GetLastError() == ERROR_FILE_NOT_FOUND;
    if (!used && !missing)
        return "'" + name + "' is not used: " + UnusedReason(name);
    if (!platform::CanChangeWholeFile(name))
        return "'" + name + "' cannot be " + (missing ? "created" : "saved") + ": "
            + strerror(errno)
            + "; give yourself permission to write it and its folder, or start in another one";
    return "";
}

std::chrono::system_clock::time_point TimeOfChange(const std::string& file)
{
    using std::chrono::system_clock;
    std::error_code error;
    const auto time = std::filesystem::last_write_time(file, error);
    return error ? system_clock::time_point()
                 : std::chrono::time_point_cast<system_clock::duration>(
                       std::chrono::file_clock::to_sys(time));
}

FolderVisit::FolderVisit(const std::string& folder)
    : before(open(".", O_PATH | O_CLOEXEC))
    , entered(before >= 0 && chdir(folder.c_str()) == 0)
{
}

FolderVisit::~FolderVisit()
{
    if (entered && fchdir(before) != 0)
        entered = false; // it is not there any more
    close(before);
}

} // namespace korvex::command

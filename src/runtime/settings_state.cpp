#include "runtime/settings_state.h"

#include <cerrno>
#include <cstring>
#include <memory>

#include "calibration/settings_file.h"
#include "link/touch_controller.h"
#include "platform/linux/core/text.h"
#include "platform/linux/files/whole_files.h"
#include "platform/win32.h"

namespace korvex::command {

namespace {

using ControllerPointer = std::unique_ptr<TouchController, decltype(&ReleaseController)>;

// Why the runtime does not use the file that is there, by the last error.
std::string UnusedReason()
{
    switch (GetLastError()) {
    case ERROR_ACCESS_DENIED:
        return "it cannot be read and written; give yourself permission";
    case ERROR_SHARING_VIOLATION:
        return "another program holds it";
    default:
        return "it is not a file that can be read and written";
    }
}

} // namespace

std::string SettingsFilePath()
{
    SettingsPath path{};
    return LocateCalibrationFile(&path) ? platform::ToNativePath(path.data()) : "";
}

std::string SavingFault()
{
    SettingsPath path{};
    if (!LocateCalibrationFile(&path))
        return "the path of 'Korvex.ini' in this folder is too long, so it is not used; start in a "
               "folder with a shorter path";
    const std::string name = platform::ToNativePath(path.data());
    const ControllerPointer controller(CreateController(), ReleaseController);
    if (controller == nullptr)
        return "memory is short; end other programs";
    const bool used = LoadCalibrationFile(controller.get());
    const bool missing = !used && GetLastError() == ERROR_FILE_NOT_FOUND;
    if (!used && !missing)
        return "'" + name + "' is not used: " + UnusedReason();
    std::string content;
    if (used && !platform::ReadWholeFile(name, &content))
        return "'" + name + "' cannot be read: " + strerror(errno);
    if (!platform::CanChangeWholeFile(name))
        return "'" + name + "' cannot be " + (missing ? "created" : "saved") + ": "
            + strerror(errno)
            + "; give yourself permission to write it and its folder, or start in another one";
    return "";
}

} // namespace korvex::command

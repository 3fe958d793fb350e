#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstring>
#include <filesystem>
#include <string>
#include <system_error>

#include "command/subcommands.h"
#include "korvex/korvex.h"
#include "platform/linux/core/text.h"
#include "platform/linux/devices/registry.h"
#include "platform/win32.h"
#include "process/exit_codes.h"
#include "process/message.h"
#include "support/bounded_text.h"

namespace korvex::command {

namespace {

namespace fs = std::filesystem;

// The separate calibration program, and where the registry has its folder.
constexpr const char* CALIBRATION_PROGRAM = "KxConsole.exe";
constexpr const WCHAR* PROGRAM_FOLDER_KEY = u"HKLM\\SOFTWARE\\Korvex";
constexpr const WCHAR* PROGRAM_FOLDER_VALUE = u"Path";

// The entries report nothing when they cannot start the program, so its folder is checked first.
bool CanStartProgram()
{
    const std::string folder = platform::ToNativePath(
        platform::ReadRegistryText(PROGRAM_FOLDER_KEY, PROGRAM_FOLDER_VALUE));
    if (folder.empty()) {
        Error(std::string("the folder of ")
                .append(CALIBRATION_PROGRAM)
                .append(" is not known; store it with 'korvex set-path'"));
        return false;
    }
    const std::string program = folder + "/" + CALIBRATION_PROGRAM;
    if (access(program.c_str(), X_OK) != 0) {
        Error("cannot start '" + program + "': " + strerror(errno));
        return false;
    }
    return true;
}

} // namespace

int RunCalib(const Options* options)
{
    if (!CanStartProgram())
        return EXIT_FAULT;
    const std::string& argument = options->arguments[0];
    int number = 0;
    const auto [end, error]
        = std::from_chars(argument.data(), argument.data() + argument.size(), number);
    if (error == std::errc{} && end == argument.data() + argument.size()) {
        kxCALIB(number);
        return EXIT_DONE;
    }
    std::u16string text = platform::FromUtf8(argument);
    kxCALIBW(nullptr, nullptr, text.data(), SW_SHOW);
    return EXIT_DONE;
}

int RunSetPath(const Options* options)
{
    const std::string& folder = options->arguments[0];
    std::error_code error;
    const std::u16string path = platform::FromNativePath(fs::absolute(folder, error).string());
    // The entries form the program's path, with a separator, in a buffer of that size.
    if (!fs::is_directory(folder, error)
        || path.size() + 1 + strlen(CALIBRATION_PROGRAM) >= TEXT_CAPACITY) {
        Error("'" + folder + "' is not a folder, or its path is too long");
        return EXIT_FAULT;
    }
    platform::WriteRegistryText(PROGRAM_FOLDER_KEY, PROGRAM_FOLDER_VALUE, path);
    return EXIT_DONE; // what could not be written has been said
}

} // namespace korvex::command

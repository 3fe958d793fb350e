#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <string>
#include <system_error>

#include "command/calibration_program.h"
#include "command/subcommands.h"
#include "korvex/korvex.h"
#include "platform/linux/core/text.h"
#include "platform/linux/devices/registry.h"
#include "platform/win32.h"
#include "process/exit_codes.h"
#include "process/message.h"

namespace korvex::command {

namespace {

// The stored folder of the calibration program; empty when there is none.
std::u16string StoredFolder()
{
    return platform::ReadRegistryText(PROGRAM_FOLDER_KEY, PROGRAM_FOLDER_VALUE);
}

// The entries say nothing when they cannot start the program, so what they need is looked at first.
bool CanStartProgram()
{
    const std::string folder = platform::ToNativePath(StoredFolder());
    if (folder.empty()) {
        Error("the folder of " + std::string(CALIBRATION_PROGRAM)
            + " is not known; store it with 'korvex set-path'");
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

} // namespace korvex::command

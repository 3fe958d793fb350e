#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <system_error>

#include "command/calibration_program.h"
#include "command/subcommands.h"
#include "platform/linux/core/text.h"
#include "platform/linux/devices/registry.h"
#include "process/exit_codes.h"
#include "process/message.h"
#include "support/bounded_text.h"

namespace korvex::command {

namespace fs = std::filesystem;

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

#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <system_error>

#include "command/exit_codes.h"
#include "command/machine_setup.h"
#include "command/options.h"
#include "command/subcommands.h"
#include "korvex/korvex.h"
#include "platform/linux/core/text.h"
#include "platform/linux/devices/registry.h"
#include "platform/win32.h"
#include "support/bounded_text.h"

namespace korvex::command {

namespace {

namespace fs = std::filesystem;

constexpr const char* PROGRAM = "KxConsole.exe";
constexpr const WCHAR* FOLDER_KEY = u"HKLM\\SOFTWARE\\Korvex";
constexpr const WCHAR* FOLDER_VALUE = u"Path";

// The stored folder of the calibration program; empty when there is none.
std::u16string StoredFolder()
{
    return platform::ReadRegistryText(FOLDER_KEY, FOLDER_VALUE);
}

// The entries say nothing when they cannot start the program, so what they need is looked at first.
bool CanStartProgram(const Options* options)
{
    const std::string folder = platform::ToNativePath(StoredFolder());
    if (folder.empty()) {
        fprintf(stderr, "%s: the folder of %s is not known; store it with 'korvex set-path'\n",
            options->command.c_str(), PROGRAM);
        return false;
    }
    const std::string program = folder + "/" + PROGRAM;
    if (access(program.c_str(), X_OK) != 0) {
        fprintf(stderr, "%s: cannot start '%s': %s\n", options->command.c_str(), program.c_str(),
            strerror(errno));
        return false;
    }
    return true;
}

} // namespace

int RunCalib(const Options* options)
{
    if (!CanStartProgram(options))
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
    if (!fs::is_directory(folder, error) || path.size() + 1 + strlen(PROGRAM) >= TEXT_CAPACITY) {
        fprintf(stderr, "%s: '%s' is not a folder, or its path is too long\n",
            options->command.c_str(), folder.c_str());
        return EXIT_FAULT;
    }
    platform::WriteRegistryText(FOLDER_KEY, FOLDER_VALUE, path);
    return EXIT_DONE; // what could not be written has been said
}

} // namespace korvex::command

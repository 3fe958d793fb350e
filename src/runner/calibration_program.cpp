#include "runner/calibration_program.h"

#include <charconv>
#include <cstdio>
#include <filesystem>
#include <string>
#include <system_error>

#include "host/korvex.h"
#include "platform/posix/text.h"
#include "platform/win32.h"
#include "runner/machine_setup.h"
#include "runner/options.h"
#include "runner/runner.h"

namespace korvex::runner {

int RunCalib(int argc, char** argv)
{
    Options options;
    if (!ParseOptions(argc, argv, {"state"}, 1, &options))
        return EXIT_USAGE_ERROR;
    if (const int exitCode = SetUpDevices(&options); exitCode != EXIT_DONE)
        return exitCode;
    const std::string& argument = options.arguments[0];
    int number = 0;
    const auto [end, error] = std::from_chars(argument.data(), argument.data() + argument.size(), number);
    if (error == std::errc{} && end == argument.data() + argument.size()) {
        kxCALIB(number);
        return EXIT_DONE;
    }
    std::u16string text = platform::FromUtf8(argument);
    kxCALIBW(nullptr, nullptr, text.data(), SW_SHOW);
    return EXIT_DONE;
}

int RunSetPath(int argc, char** argv)
{
    Options options;
    if (!ParseOptions(argc, argv, {"state"}, 1, &options))
        return EXIT_USAGE_ERROR;
    if (const int exitCode = SetUpDevices(&options); exitCode != EXIT_DONE)
        return exitCode;
    std::error_code error;
    const std::u16string path = platform::FromNativePath(std::filesystem::absolute(options.arguments[0], error).string());
    HKEY key = nullptr;
    const bool stored = RegCreateKeyExW(HKEY_LOCAL_MACHINE, u"SOFTWARE\\Korvex", 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_ALL_ACCESS,
                            nullptr, &key, nullptr)
            == ERROR_SUCCESS
        && RegSetValueExW(
               key, u"Path", 0, REG_SZ, reinterpret_cast<const BYTE*>(path.c_str()), static_cast<DWORD>((path.size() + 1) * sizeof(WCHAR)))
            == ERROR_SUCCESS;
    if (key != nullptr)
        RegCloseKey(key);
    if (!stored)
        fprintf(stderr, "%s: cannot write the registry in '%s'\n", options.command.c_str(), options.stateFolder.c_str());
    return stored ? EXIT_DONE : EXIT_FAULT;
}

} // namespace korvex::runner

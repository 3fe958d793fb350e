// A Windows of the test's own: a Wine prefix with KORVEX.dll and its test programs in a folder,
// which is current while the guard lives.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

#include "emulator/emulator.h"
#include "testing/process.h"
#include "testing/temporary_folder.h"

namespace korvex::testing {

inline constexpr const char* IN_ROOT = WINE_COMMAND; // runs a program where Wine is
inline constexpr const char* LOADER = "/usr/lib/wine/wine";
inline constexpr const char* SERVER = "/usr/lib/wine/wineserver32";

// The command that runs these words, a program's name first; and that of "host.exe" with them.
inline std::vector<std::string> Windows(const std::vector<std::string>& words)
{
    return Joined({IN_ROOT, LOADER}, words);
}

inline std::vector<std::string> Host(const std::vector<std::string>& words)
{
    return Joined(Windows({"host.exe"}), words);
}

struct Wine {
    TemporaryFolder folder;
    std::filesystem::path prefix = folder.path / "prefix";

    // Throws where there is none (scripts/make-wine-root).
    Wine()
    {
        const std::filesystem::path build = KORVEX_WINDOWS_BUILD;
        setenv("WINEARCH", "win32", 1);
        setenv("WINEDEBUG", "-all", 1);
        // The first two are not needed, and would ask to be downloaded; the third would copy start
        // menu entries into the root's desktop.
        setenv("WINEDLLOVERRIDES", "mscoree,mshtml,winemenubuilder.exe=", 1);
        unsetenv("PRELOAD");
        CopyTemplate(build.parent_path() / "wine-prefix");
        setenv("WINEPREFIX", prefix.c_str(), 1);
        // Server and services stay for a minute when no program runs, so that the next one starts
        // sooner; should this process be killed, they still end. They must not hold the pipes of a
        // program that is waited for.
        Process server({IN_ROOT, SERVER, "-p60"}); // whose output has no end before the server's
        WaitForExit(&server);
        if (RunProgram({"sh", "-c", R"(exec "$0" "$1" wineboot </dev/null >/dev/null 2>&1)",
                           IN_ROOT, LOADER})
                .exitCode
            != 0)
            throw std::runtime_error("wineboot has not ended well");
        std::filesystem::copy_file(build / "KORVEX.dll", "KORVEX.dll");
        std::filesystem::copy_file(build / "KxConsole.exe", "KxConsole.exe");
        std::filesystem::copy_file(build / "tests/korvex_host.exe", "host.exe");
    }
    ~Wine() // ends everything that still runs in it
    {
        unsetenv("PRELOAD");
        RunProgram({IN_ROOT, SERVER, "-k"});
        RunProgram({IN_ROOT, SERVER, "-w"});
    }
    Wine(const Wine&) = delete;
    Wine& operator=(const Wine&) = delete;

    // The files of its drive, 600 MB which nothing changes, are those of the template of
    // scripts/make-wine-root where links can reach there.
    void CopyTemplate(const std::filesystem::path& original) const
    {
        using std::filesystem::copy_options;
        constexpr auto COPY = copy_options::recursive | copy_options::copy_symlinks;
        std::filesystem::create_directory(prefix);
        for (const auto& entry : std::filesystem::directory_iterator(original)) {
            const std::filesystem::path copy = prefix / entry.path().filename();
            std::error_code refusal = std::make_error_code(std::errc::cross_device_link);
            if (entry.path().filename() == "drive_c")
                std::filesystem::copy(
                    entry.path(), copy, COPY | copy_options::create_hard_links, refusal);
            if (refusal)
                std::filesystem::copy(entry.path(), copy, COPY | copy_options::overwrite_existing);
        }
    }

    // Makes the emulator's terminal COM3, or another one, as a device that SetupAPI lists.
    void PlugIn(const emulator::Emulator* emulator, const std::string& number = "3") const
    {
        RunProgram(Host({"register-port", number}));
        for (const std::string& name : {"com" + number,
                 "root#ports#000" + number + "#{86e0d1e0-8089-11d0-9ce4-08003e301f73}"}) {
            std::filesystem::remove(prefix / "dosdevices" / name);
            std::filesystem::create_symlink(TerminalPath(emulator), prefix / "dosdevices" / name);
        }
    }

    // Has programs that are started from now on block in a wait for a character, as on a real port.
    void BlockInWaits() const
    {
        const std::string library = (folder.path / "modem_lines.so").string();
        RunProgram({"gcc", "-m32", "-fPIC", "-shared", "-nostdlib", "-fno-stack-protector", "-o",
            library, MODEM_LINES_SOURCE});
        setenv("PRELOAD", library.c_str(), 1);
    }
};

} // namespace korvex::testing

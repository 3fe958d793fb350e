#include "windows/wine.h"

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <system_error>

namespace korvex::testing {

namespace {

namespace fs = std::filesystem;

constexpr const char* IN_ROOT = WINE_COMMAND; // runs a program where Wine is
constexpr const char* LOADER = "/usr/lib/wine/wine";
constexpr const char* SERVER = "/usr/lib/wine/wineserver32";
const fs::path BUILD = KORVEX_WINDOWS_BUILD;
const fs::path TEMPLATE = BUILD.parent_path() / "wine-prefix"; // of scripts/make-wine-root

int Run(const std::vector<std::string>& command)
{
    Process process(command);
    return WaitForExit(&process);
}

// A prefix of the test's own. The files of its drive, 600 MB which nothing changes, are those of
// the template where links can reach there.
void CopyTemplate(const fs::path& prefix)
{
    constexpr auto COPY = fs::copy_options::recursive | fs::copy_options::copy_symlinks;
    fs::create_directory(prefix);
    for (const auto& entry : fs::directory_iterator(TEMPLATE)) {
        const fs::path copy = prefix / entry.path().filename();
        std::error_code refusal = std::make_error_code(std::errc::cross_device_link);
        if (entry.path().filename() == "drive_c")
            fs::copy(entry.path(), copy, COPY | fs::copy_options::create_hard_links, refusal);
        if (refusal)
            fs::copy(entry.path(), copy, COPY | fs::copy_options::overwrite_existing);
    }
}

} // namespace

bool HasWine()
{
    return RunProgram({IN_ROOT, LOADER, "--version"}).exitCode == 0;
}

Wine::Wine()
{
    setenv("WINEARCH", "win32", 1);
    setenv("WINEDEBUG", "-all", 1);
    // The first two are not needed, and would ask to be downloaded; the third would copy start menu
    // entries into the root's desktop.
    setenv("WINEDLLOVERRIDES", "mscoree,mshtml,winemenubuilder.exe=", 1);
    unsetenv("PRELOAD");
    const fs::path prefix = folder.path / "prefix";
    CopyTemplate(prefix);
    setenv("WINEPREFIX", prefix.c_str(), 1);
    // Server and services stay for a minute when no program runs, so that the next one starts
    // sooner; should this process be killed, they still end. They must not hold the pipes of a
    // program that is waited for.
    Run({IN_ROOT, SERVER, "-p60"});
    if (Run({"sh", "-c", R"(exec "$0" "$1" wineboot </dev/null >/dev/null 2>&1)", IN_ROOT, LOADER})
        != 0)
        throw std::runtime_error("wineboot has not ended well");
    fs::copy_file(BUILD / "KORVEX.dll", "KORVEX.dll");
    fs::copy_file(BUILD / "KxConsole.exe", "KxConsole.exe");
    fs::copy_file(BUILD / "tests/korvex_host.exe", "host.exe");
}

Wine::~Wine()
{
    unsetenv("PRELOAD");
    Run({IN_ROOT, SERVER, "-k"});
    Run({IN_ROOT, SERVER, "-w"});
}

void PlugIn(const Wine* wine, const emulator::Emulator* emulator)
{
    RunProgram(Host({"register-port", "3"}));
    const fs::path devices = wine->folder.path / "prefix/dosdevices";
    for (const char* name : {"com3", "root#ports#0003#{86e0d1e0-8089-11d0-9ce4-08003e301f73}"}) {
        fs::remove(devices / name);
        fs::create_symlink(TerminalPath(emulator), devices / name);
    }
}

std::vector<std::string> Windows(const std::vector<std::string>& words)
{
    return Joined({IN_ROOT, LOADER}, words);
}

std::vector<std::string> Host(const std::vector<std::string>& words)
{
    return Joined(Windows({"host.exe"}), words);
}

void BlockInWaits(const Wine* wine)
{
    const std::string library = (wine->folder.path / "modem_lines.so").string();
    Run({"gcc", "-m32", "-fPIC", "-shared", "-nostdlib", "-fno-stack-protector", "-o", library,
        MODEM_LINES_SOURCE});
    setenv("PRELOAD", library.c_str(), 1);
}

} // namespace korvex::testing

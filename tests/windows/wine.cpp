#include "windows/wine.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

namespace korvex::testing {

namespace {

namespace fs = std::filesystem;

constexpr const char* LOADER = "/usr/lib/wine/wine";
constexpr const char* SERVER = "/usr/lib/wine/wineserver32";
const fs::path BUILD = KORVEX_WINDOWS_BUILD;
const fs::path TEMPLATE = BUILD / "wine-prefix";

void Run(const std::vector<std::string>& command)
{
    Process process(command);
    WaitForExit(&process);
}

// Makes the prefix that all others are copies of, once for all tests, which may run side by side.
void MakeTemplate()
{
    const int lock = open((BUILD / "wine-prefix.lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
    flock(lock, LOCK_EX);
    if (!fs::exists(TEMPLATE)) {
        const std::string unfinished = TEMPLATE.string() + ".new";
        fs::remove_all(unfinished);
        setenv("WINEPREFIX", unfinished.c_str(), 1);
        Run({"timeout", "60", LOADER, "wineboot", "-i"});
        Run({SERVER, "-k"});
        Run({SERVER, "-w"});
        fs::rename(unfinished, TEMPLATE);
    }
    close(lock);
}

} // namespace

bool HasWine()
{
    return access(LOADER, X_OK) == 0;
}

Wine::Wine()
{
    setenv("WINEARCH", "win32", 1);
    setenv("WINEDEBUG", "-all", 1);
    setenv("WINEDLLOVERRIDES", "mscoree,mshtml=", 1); // neither is needed, and both would ask to be downloaded
    unsetenv("LD_PRELOAD");
    MakeTemplate();
    const fs::path prefix = folder.path / "prefix";
    fs::copy(TEMPLATE, prefix, fs::copy_options::recursive | fs::copy_options::copy_symlinks);
    setenv("WINEPREFIX", prefix.c_str(), 1);
    // Server and services stay while no program runs, so that the next one starts sooner. They must not hold the pipes of a program that is
    // waited for.
    Run({SERVER, "-p"});
    Run({"sh", "-c", std::string(LOADER) + " wineboot </dev/null >/dev/null 2>&1"});
    fs::copy_file(BUILD / "KORVEX.dll", "KORVEX.dll");
    fs::copy_file(BUILD / "tests/korvex_host.exe", "host.exe");
}

Wine::~Wine()
{
    unsetenv("LD_PRELOAD");
    Run({SERVER, "-k"});
    Run({SERVER, "-w"});
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

std::vector<std::string> Host(const std::vector<std::string>& words)
{
    std::vector<std::string> command{LOADER, "host.exe"};
    command.insert(command.end(), words.begin(), words.end());
    return command;
}

void BlockInWaits(const Wine* wine)
{
    const std::string library = (wine->folder.path / "modem_lines.so").string();
    Run({"gcc", "-m32", "-fPIC", "-shared", "-nostdlib", "-fno-stack-protector", "-o", library, MODEM_LINES_SOURCE});
    setenv("LD_PRELOAD", library.c_str(), 1);
}

} // namespace korvex::testing

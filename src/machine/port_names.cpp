#include "machine/port_names.h"

#include <sys/stat.h>

#include <charconv>
#include <filesystem>
#include <system_error>

#include "platform/linux/serial/port_scan.h"

namespace korvex::command {

namespace {

namespace fs = std::filesystem;

// Folders in which a name may stand for a tty, the panels' names first.
constexpr const char* OTHER_FOLDERS[] = {"/dev/", "/dev/serial/by-id/", "/dev/serial/by-path/"};

bool IsDevice(const std::string& path)
{
    std::error_code error;
    return fs::is_character_file(path, error);
}

// The UART of a name, COM1 for ttyS0, even if it is not among the ports that are asked, as a
// console is; empty: none.
std::string UartPath(const std::string& port)
{
    constexpr std::string_view PREFIX = "COM";
    int number = 0;
    const char* end = port.data() + port.size();
    if (!port.starts_with(PREFIX)
        || std::from_chars(port.data() + PREFIX.size(), end, number).ptr != end || number < 1
        || number >= platform::FIRST_OTHER_PORT)
        return "";
    std::string path = "/dev/ttyS" + std::to_string(number - 1);
    return IsDevice(path) ? path : "";
}

} // namespace

std::string PathOfPort(const std::vector<GivenPort>& given, const std::string& port)
{
    for (const GivenPort& one : given) {
        if (one.name == port)
            return one.path;
    }
    if (port.find('/') != std::string::npos || port.empty())
        return port;
    if (IsDevice(PANEL_FOLDER + port))
        return PANEL_FOLDER + port;
    for (const platform::ScannedPort& scanned : platform::ScanSerialPorts()) {
        if (scanned.name == port)
            return scanned.stablePath;
    }
    if (std::string uart = UartPath(port); !uart.empty())
        return uart;
    std::error_code error;
    for (const char* folder : OTHER_FOLDERS) {
        if (!fs::exists(port, error) && IsDevice(folder + port))
            return folder + port;
    }
    return port;
}

bool IsSamePort(const std::string& path, const std::string& other)
{
    // std::filesystem::equivalent of libstdc++ compares no devices.
    struct stat first{};
    struct stat second{};
    return path == other
        || (stat(path.c_str(), &first) == 0 && stat(other.c_str(), &second) == 0
            && first.st_dev == second.st_dev && first.st_ino == second.st_ino);
}

std::string PanelNameOf(const std::string& path)
{
    const std::string name = platform::GivenPanelNameOf(path);
    return name.empty() ? fs::path(TtyOf(path)).filename().string() : name;
}

std::string PanelTitle(const std::string& path)
{
    const std::string name = platform::GivenPanelNameOf(path);
    const std::string shown = name.empty() ? path : name;
    const std::string tty = TtyOf(path);
    return tty == shown ? shown : shown + " (" + tty + ")";
}

PanelSubject PanelSubjectOf(const std::string& path, Happening happening)
{
    return {happening, PanelNameOf(path), PanelTitle(path)};
}

bool IsPanelName(const std::string& name)
{
    constexpr size_t MAX_LENGTH = 64;
    constexpr const char* VALID
        = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";
    return !name.empty() && name.size() <= MAX_LENGTH
        && name.find_first_not_of(VALID) == std::string::npos;
}

std::string FolderOfPanel(const std::string& name)
{
    return std::string(STATE_FOLDER).append("/").append(name);
}

std::string TtyOf(const std::string& path)
{
    std::error_code error;
    const fs::path tty = fs::canonical(path, error);
    return error ? path : tty.string();
}

std::string ShownPath(const std::string& path)
{
    return path.starts_with(PANEL_FOLDER) || path.starts_with("/dev/serial/") ? TtyOf(path) : path;
}

} // namespace korvex::command

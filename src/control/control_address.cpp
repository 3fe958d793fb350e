#include "control/control_address.h"

#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <system_error>

#include "process/options.h"

namespace korvex::command {

namespace {

namespace fs = std::filesystem;

constexpr const char* UNIT_SOCKET = "control";

void AddSockets(const std::string& folder, std::vector<std::string>* paths)
{
    std::error_code error;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder, error)) {
        std::error_code ignored;
        if (entry.is_socket(ignored))
            paths->push_back(entry.path().string());
    }
    if (error == std::errc::permission_denied) // the client reports it when it connects
        paths->push_back(folder + "/" + UNIT_SOCKET);
}

} // namespace

ControlPlace ControlPlaceOf(const std::string& name)
{
    const std::string unit = EnvironmentText("RUNTIME_DIRECTORY");
    if (!unit.empty())
        return {unit.substr(0, unit.find(':')), UNIT_SOCKET}; // the first of several
    const std::string user = EnvironmentText("XDG_RUNTIME_DIR");
    return user.empty() ? ControlPlace{} : ControlPlace{user + "/korvex", name};
}

std::vector<std::string> ControlSockets()
{
    std::vector<std::string> paths;
    std::error_code error;
    for (const fs::directory_entry& unit : fs::directory_iterator(UNIT_FOLDER, error))
        AddSockets(unit.path().string(), &paths);
    if (const std::string user = EnvironmentText("XDG_RUNTIME_DIR"); !user.empty())
        AddSockets(user + "/korvex", &paths);
    std::sort(paths.begin(), paths.end());
    return paths;
}

std::string ControlFolders()
{
    const std::string user = EnvironmentText("XDG_RUNTIME_DIR");
    return UNIT_FOLDER
        + (user.empty() ? std::string("; XDG_RUNTIME_DIR is not set") : " and " + user + "/korvex");
}

bool ControlAddressOf(const std::string& path, sockaddr_un* address)
{
    *address = {};
    address->sun_family = AF_UNIX;
    if (path.size() >= sizeof(address->sun_path)) {
        errno = ENAMETOOLONG;
        return false;
    }
    std::copy(path.begin(), path.end(), address->sun_path);
    return true;
}

int ConnectTo(const sockaddr_un* address)
{
    const int connection = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): the form of every socket address
    if (connection >= 0
        && connect(connection, reinterpret_cast<const sockaddr*>(address), sizeof(*address)) == 0)
        return connection;
    const int error = errno;
    if (connection >= 0)
        close(connection);
    errno = error;
    return -1;
}

} // namespace korvex::command

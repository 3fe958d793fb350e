#include "process/service_manager.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <string_view>

namespace korvex::command {

void NotifyServiceManager(const std::string& assignments)
{
    const char* path = getenv("NOTIFY_SOCKET");
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string_view name = path == nullptr ? "" : path;
    if (name.empty() || name.size() >= sizeof(address.sun_path))
        return;
    std::copy(name.begin(), name.end(), address.sun_path);
    if (name.front() == '@')
        address.sun_path[0] = 0; // of the abstract namespace
    const int connection = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (connection < 0)
        return;
    const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size());
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): the form of every socket address
    sendto(connection, assignments.data(), assignments.size(), MSG_NOSIGNAL,
        reinterpret_cast<const sockaddr*>(&address), length);
    close(connection);
}

bool IsStandardErrorJournal()
{
    const char* stream = getenv("JOURNAL_STREAM");
    struct stat status{};
    return stream != nullptr && fstat(STDERR_FILENO, &status) == 0
        && std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino) == stream;
}

} // namespace korvex::command

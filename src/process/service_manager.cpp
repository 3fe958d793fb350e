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

namespace {

// Sends a datagram to the socket of that name; false if that is not possible, without a wait unless
// `waits`.
bool SendDatagram(std::string_view name, const std::string& text, bool waits)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (name.empty() || name.size() >= sizeof(address.sun_path))
        return false;
    std::copy(name.begin(), name.end(), address.sun_path);
    if (name.front() == '@')
        address.sun_path[0] = 0; // of the abstract namespace
    const int connection = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (connection < 0)
        return false;
    const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size());
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): the form of every socket address
    const auto* place = reinterpret_cast<const sockaddr*>(&address);
    const bool sent = sendto(connection, text.data(), text.size(),
                          MSG_NOSIGNAL | (waits ? 0 : MSG_DONTWAIT), place, length)
        >= 0;
    close(connection);
    return sent;
}

} // namespace

void NotifyServiceManager(const std::string& assignments)
{
    const char* path = getenv("NOTIFY_SOCKET");
    SendDatagram(path == nullptr ? "" : path, assignments, false);
}

bool SendToJournal(const std::string& fields, bool waits)
{
    struct stat status{};
    // a pipe that stands in for it has the lines alone
    return fstat(STDERR_FILENO, &status) == 0 && S_ISSOCK(status.st_mode)
        && SendDatagram("/run/systemd/journal/socket", fields, waits);
}

bool IsStandardErrorJournal()
{
    const char* stream = getenv("JOURNAL_STREAM");
    struct stat status{};
    return stream != nullptr && fstat(STDERR_FILENO, &status) == 0
        && std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino) == stream;
}

} // namespace korvex::command

#include "runtime/control_server.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <exception>
#include <filesystem>
#include <list>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "control/control_address.h"
#include "platform/linux/files/lock_file.h"
#include "process/message.h"
#include "runtime/control_protocol.h"

namespace korvex::command {

namespace {

using std::chrono::steady_clock;

constexpr size_t MAX_CLIENTS = 16;
constexpr size_t MAX_LINE = 64UL * 1024;
constexpr size_t MAX_OUTPUT = 256UL * 1024; // that a client has not taken yet
// after its last request a client that waits for nothing makes room for another
constexpr std::chrono::seconds IDLE_LIMIT{1};
// and what it tries is taken back
constexpr std::chrono::seconds TRY_LIMIT{60};
constexpr int BACKLOG = 64;
constexpr std::chrono::milliseconds NAMES_LIMIT{500}; // for the lock of a folder's names
// between two tries to have a socket
constexpr std::chrono::milliseconds TRY_INTERVAL{10000};

struct Client {
    int socket;
    std::string input; // an unfinished line
    std::string output;
    Conversation conversation;
    steady_clock::time_point lastAsked = steady_clock::now();
    bool dropped = false;
};

struct Server {
    ControlPlace place;
    std::string path;                 // of the socket
    int listener = -1;                // -1: there is none
    steady_clock::time_point nextTry; // to have one
    int reserve = -1; // a spare descriptor, closed to refuse a client when there is no other
    int stop = -1;    // an eventfd
    int events = -1;  // an eventfd: something has happened on a panel
    bool listening = false;
    std::list<Client> clients;
    std::thread thread;
};

Server* TheServer()
{
    static auto* server = new Server;
    return server;
}

bool IsIdle(const Client* client)
{
    return !client->conversation.listens && client->conversation.tried.empty()
        && steady_clock::now() - client->lastAsked >= IDLE_LIMIT;
}

void Send(Client* client, const std::string& text)
{
    client->output += text;
    while (!client->output.empty()) {
        const ssize_t sent = send(client->socket, client->output.data(), client->output.size(),
            MSG_DONTWAIT | MSG_NOSIGNAL);
        if (sent < 0) {
            client->dropped = client->dropped || (errno != EAGAIN && errno != EINTR)
                || client->output.size() > MAX_OUTPUT;
            return;
        }
        client->output.erase(0, static_cast<size_t>(sent));
    }
}

bool HasRequest(const Client* client)
{
    return !client->dropped && client->input.find('\n') != std::string::npos;
}

// Takes in what has come, a little at a time.
void Receive(Client* client)
{
    std::array<char, 4096> bytes{};
    const ssize_t count = recv(client->socket, bytes.data(), bytes.size(), MSG_DONTWAIT);
    if (count <= 0) {
        client->dropped = client->dropped || count == 0 || (errno != EAGAIN && errno != EINTR);
        return;
    }
    client->input.append(bytes.data(), static_cast<size_t>(count));
    if (std::min(client->input.find('\n'), client->input.size()) > MAX_LINE) {
        Send(client, "{\"error\":\"a line is longer than 65536 bytes\"}\n");
        client->dropped = true;
    }
}

// Makes sessions keep events while a client listens.
void UpdateListening(Server* server)
{
    const bool listening = std::any_of(server->clients.begin(), server->clients.end(),
        [](const Client& client) { return !client.dropped && client.conversation.listens; });
    if (listening != server->listening)
        ListenToSessions(listening ? server->events : -1);
    server->listening = listening;
}

// Answers a client's next request; one, so that no client keeps the others waiting.
void AnswerNext(Server* server, Client* client)
{
    const size_t end = client->input.find('\n');
    const std::string line = client->input.substr(0, end);
    client->input.erase(0, end + 1);
    client->lastAsked = steady_clock::now();
    const std::string answer = Answer(line, &client->conversation);
    UpdateListening(server); // before the answer: a client that knows it listens misses nothing
    Send(client, answer);
}

// Accepts a connection, even if the process may not open one more descriptor: a listener that stays
// readable would keep the thread busy.
int Accept(Server* server)
{
    const int socket = accept4(server->listener, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (socket >= 0 || (errno != EMFILE && errno != ENFILE))
        return socket;
    close(server->reserve);
    const int unwanted = accept(server->listener, nullptr, nullptr);
    if (unwanted >= 0)
        close(unwanted);
    server->reserve = open("/dev/null", O_RDONLY | O_CLOEXEC);
    return -1;
}

void Welcome(Server* server)
{
    const int socket = Accept(server);
    if (socket < 0)
        return;
    if (server->clients.size() >= MAX_CLIENTS) {
        const auto idle = std::find_if(server->clients.begin(), server->clients.end(),
            [](const Client& client) { return IsIdle(&client); });
        if (idle == server->clients.end()) {
            constexpr std::string_view REFUSAL = "{\"error\":\"too many clients\"}\n";
            send(socket, REFUSAL.data(), REFUSAL.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
            close(socket);
            return;
        }
        close(idle->socket);
        server->clients.erase(idle);
    }
    server->clients.push_back({socket, {}, {}, {}});
    ucred peer{};
    socklen_t size = sizeof(peer);
    if (getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0) {
        server->clients.back().conversation.process = peer.pid;
        server->clients.back().conversation.user = peer.uid;
    }
    Send(&server->clients.back(), Greeting());
}

void PassEventsOn(Server* server)
{
    eventfd_t count = 0;
    // Read it even if no client listens: a count that is left keeps poll from waiting.
    if (eventfd_read(server->events, &count) != 0 || !server->listening)
        return;
    for (const PanelEvent& event : PopPanelEvents()) {
        const std::string line = FormatEvent(&event);
        for (Client& client : server->clients) {
            if (ListensTo(&client.conversation, &event))
                Send(&client, line);
        }
    }
}

void DropClients(Server* server)
{
    for (auto client = server->clients.begin(); client != server->clients.end();) {
        if (!client->dropped) {
            ++client;
            continue;
        }
        RevertAll(&client->conversation);
        close(client->socket);
        client = server->clients.erase(client);
    }
    UpdateListening(server);
}

// Ends the tries of clients that have asked nothing for long: they may be stopped, or their
// terminal may be dead.
void EndOldTries(Server* server)
{
    for (Client& client : server->clients) {
        if (steady_clock::now() - client.lastAsked >= TRY_LIMIT)
            RevertAll(&client.conversation);
    }
}

// Milliseconds until the thread must act by itself; -1: never.
int WaitLimit(const Server* server)
{
    const steady_clock::time_point never = steady_clock::time_point::max();
    steady_clock::time_point next = server->listener >= 0 ? never : server->nextTry;
    for (const Client& client : server->clients) {
        if (!client.conversation.tried.empty())
            next = std::min(next, client.lastAsked + TRY_LIMIT);
    }
    if (next == never)
        return -1;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(next - steady_clock::now());
    return static_cast<int>(std::max<int64_t>(0, left.count()));
}

// Serves all that is ready; false once it must stop. A client whose next request has come already
// is asked for no more.
bool ServeOnce(Server* server)
{
    std::vector<pollfd> polled{
        {server->stop, POLLIN, 0}, {server->listener, POLLIN, 0}, {server->events, POLLIN, 0}};
    bool pending = false;
    for (const Client& client : server->clients) {
        const bool hasRequest = HasRequest(&client);
        pending = pending || hasRequest;
        polled.push_back({client.socket,
            static_cast<short>((hasRequest ? 0 : POLLIN) | (client.output.empty() ? 0 : POLLOUT)),
            0});
    }
    if (poll(polled.data(), polled.size(), pending ? 0 : WaitLimit(server)) < 0)
        return errno == EINTR;
    if (polled[0].revents != 0)
        return false;
    size_t next = 3;
    for (Client& client : server->clients) {
        const short ready = polled[next++].revents;
        PassEventsOn(server);
        if ((ready & POLLOUT) != 0)
            Send(&client, "");
        if (!HasRequest(&client) && (ready & ~POLLOUT) != 0)
            Receive(&client);
        if (HasRequest(&client))
            AnswerNext(server, &client);
    }
    PassEventsOn(server);
    DropClients(server);
    if (polled[1].revents != 0)
        Welcome(server);
    return true;
}

// Binds the socket under the first name that no living process has. False with errno set.
bool Bind(Server* server, const std::string& folder, const std::string& name)
{
    // against the user's other processes; one that hangs in there delays no other client for long
    const int lock = platform::OpenLockFile(folder + "/.lock", NAMES_LIMIT);
    if (lock < 0)
        return false;
    bool bound = false;
    for (int number = 1; !bound && number < 100; ++number) {
        server->path = folder;
        server->path.append("/").append(name).append(
            number == 1 ? "" : "." + std::to_string(number));
        sockaddr_un address{};
        if (!ControlAddressOf(server->path, &address))
            break;
        const int living = ConnectTo(&address);
        if (living >= 0)
            close(living);
        if (living >= 0 || errno == EAGAIN) // it has not taken those before yet
            continue;
        struct stat status{};
        // its process has died
        if (errno == ECONNREFUSED && lstat(server->path.c_str(), &status) == 0
            && S_ISSOCK(status.st_mode))
            unlink(server->path.c_str());
        // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): as bind takes it
        bound = bind(server->listener, reinterpret_cast<const sockaddr*>(&address), sizeof(address))
                == 0
            && chmod(server->path.c_str(), S_IRUSR | S_IWUSR | S_IRGRP | S_IWGRP) == 0
            && listen(server->listener, BACKLOG) == 0;
        if (!bound)
            break;
    }
    const int error = errno;
    close(lock);
    errno = error;
    return bound;
}

// Opens the socket; empty, or why there is none.
std::string OpenSocket(Server* server)
{
    const std::string& folder = server->place.folder;
    // Somebody else's folder is not touched: they could have this process change what is theirs.
    bool own = platform::IsOwnFolder(folder);
    if (!own && errno == ENOENT)
        own = platform::IsOwnFolder(std::filesystem::path(folder).parent_path().string())
            && mkdir(folder.c_str(), S_IRWXU | S_IRGRP | S_IXGRP | S_IROTH | S_IXOTH) == 0;
    if (!own)
        return errno == EPERM ? "it is not this user's own" : strerror(errno);
    server->listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (server->listener >= 0 && Bind(server, folder, server->place.name))
        return "";
    std::string fault = strerror(errno);
    if (server->listener >= 0)
        close(std::exchange(server->listener, -1));
    return fault;
}

void CloseSocket(Server* server)
{
    if (server->listener < 0)
        return;
    unlink(server->path.c_str());
    close(std::exchange(server->listener, -1));
}

// Tries again to open a socket that could not be had.
void TryAgain(Server* server)
{
    const steady_clock::time_point now = steady_clock::now();
    if (server->listener >= 0 || now < server->nextTry)
        return;
    server->nextTry = now + TRY_INTERVAL;
    if (OpenSocket(server).empty())
        Notice("there is a control socket now: '" + server->path + "'");
}

void Serve(Server* server)
{
    for (bool running = true; running;) {
        try {
            TryAgain(server);
            EndOldTries(server);
            running = ServeOnce(server);
        } catch (const std::exception&) { // for example out of memory; the client that asked for so
                                          // much goes
            for (Client& client : server->clients)
                client.dropped = true;
        }
    }
    CloseSocket(server);
    for (Client& client : server->clients)
        client.dropped = true;
    DropClients(server);
}

} // namespace

void StartControl(const std::string& name)
{
    Server* server = TheServer();
    server->place = ControlPlaceOf(name);
    if (server->place.folder.empty()) {
        NoticeAtFirstSession("without a control socket: XDG_RUNTIME_DIR is not set, so status and "
                             "calibrate cannot ask this runtime");
        return;
    }
    server->stop = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    server->events = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    server->reserve = open("/dev/null", O_RDONLY | O_CLOEXEC);
    const bool possible = server->stop >= 0 && server->events >= 0;
    std::string fault = possible ? OpenSocket(server) : strerror(errno);
    server->nextTry = steady_clock::now() + TRY_INTERVAL;
    try {
        if (possible)
            server->thread = std::thread(Serve, server);
    } catch (const std::system_error& refused) {
        fault = refused.what();
        CloseSocket(server);
    }
    if (!fault.empty())
        Warning("no control socket in '" + server->place.folder + "': " + fault);
}

void EndControl()
{
    Server* server = TheServer();
    if (!server->thread.joinable())
        return;
    eventfd_write(server->stop, 1);
    server->thread.join();
}

} // namespace korvex::command

#include "control/control_client.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <utility>

#include "control/control_address.h"
#include "control/json_line.h"
#include "machine/port_names.h"
#include "process/message.h"

namespace korvex::command {

namespace {

using std::chrono::steady_clock;

constexpr size_t MAX_ANSWER = 1024UL * 1024;

// The next line without its end; none, with the connection closed, when it does not come in time.
std::optional<std::string> NextLine(
    ControlClient* client, std::chrono::milliseconds limit = ANSWER_LIMIT)
{
    const steady_clock::time_point end = steady_clock::now() + limit;
    for (;;) {
        if (std::optional<std::string> line = PopLine(client); line)
            return line;
        const auto left
            = std::chrono::duration_cast<std::chrono::milliseconds>(end - steady_clock::now())
                  .count();
        pollfd ready{client->socket, POLLIN, 0};
        if (left <= 0 || poll(&ready, 1, static_cast<int>(left)) <= 0
            || client->received.size() > MAX_ANSWER || !Receive(client)) {
            Disconnect(client);
            return std::nullopt;
        }
    }
}

// The sound entries of a list in an answer to "status".
template <typename Entry>
std::vector<Entry> ListOf(
    const Json* status, const char* name, std::optional<Entry> (*parse)(const Json&))
{
    const auto list = status->find(name);
    std::vector<Entry> sound;
    for (size_t i = 0; list != status->end() && list->is_array() && i < list->size(); ++i) {
        if (std::optional<Entry> entry = parse(list->at(i)); entry)
            sound.push_back(*std::move(entry));
    }
    return sound;
}

// The panel on a port among those of a runtime; none when it is not.
std::optional<PanelState> PanelOn(
    const RuntimeStatus* status, const std::string& path, const std::string& name)
{
    for (const PanelState& panel : status->panels) {
        if (IsSamePort(panel.tty, path) || panel.path == path
            || (!name.empty() && panel.panel == name))
            return panel;
    }
    return std::nullopt;
}

} // namespace

bool Connect(ControlClient* client, const std::string& path, std::string* fault)
{
    sockaddr_un address{};
    client->socket = ControlAddressOf(path, &address) ? ConnectTo(&address) : -1;
    *fault = client->socket >= 0 || errno == ECONNREFUSED || errno == ENOENT ? "" : strerror(errno);
    if (client->socket < 0)
        return false;
    const std::optional<std::string> greeting = NextLine(client);
    const Json first = greeting ? ParseAnswer(*greeting) : Json();
    if (first.is_object() && first.contains("protocol") && first["protocol"] == CONTROL_PROTOCOL)
        return true;
    *fault = !first.is_object()   ? "it does not answer"
        : first.contains("error") ? "it has no place for another client"
                                  : "it speaks another version of the protocol";
    Disconnect(client);
    return false;
}

void Disconnect(ControlClient* client)
{
    if (client->socket >= 0)
        close(std::exchange(client->socket, -1));
    client->received.clear();
}

bool Receive(ControlClient* client)
{
    std::array<char, 4096> bytes{};
    const ssize_t count = recv(client->socket, bytes.data(), bytes.size(), 0);
    if (count > 0)
        client->received.append(bytes.data(), static_cast<size_t>(count));
    else
        Disconnect(client);
    return count > 0;
}

std::optional<std::string> PopLine(ControlClient* client)
{
    const size_t length = client->received.find('\n');
    if (length == std::string::npos)
        return std::nullopt;
    std::string line = client->received.substr(0, length);
    client->received.erase(0, length + 1);
    return line;
}

std::optional<Json> Ask(ControlClient* client, const Json& request, std::chrono::milliseconds limit)
{
    const std::string line = LineOf(request);
    if (client->socket < 0
        || send(client->socket, line.data(), line.size(), MSG_NOSIGNAL)
            != static_cast<ssize_t>(line.size())) {
        Disconnect(client);
        return std::nullopt;
    }
    const std::optional<std::string> answer = NextLine(client, limit);
    Json object = answer ? ParseAnswer(*answer) : Json();
    if (object.is_object())
        return object;
    Disconnect(client);
    return std::nullopt;
}

std::optional<RuntimeStatus> AskStatus(ControlClient* client)
{
    const std::optional<Json> answer = Ask(client, {{"do", "status"}});
    if (!answer)
        return std::nullopt;
    const auto process = answer->find("process");
    return RuntimeStatus{process != answer->end() ? NumberOf(*process).value_or(0) : 0,
        ListOf(&*answer, "panels", PanelStateFrom), ListOf(&*answer, "awaited", PendingPanelFrom)};
}

std::vector<AskedRuntime> AskRuntimes()
{
    std::vector<AskedRuntime> all;
    for (const std::string& socket : ControlSockets()) {
        AskedRuntime asked{socket, {}, ""};
        ControlClient client;
        if (Connect(&client, socket, &asked.fault)) {
            asked.status = AskStatus(&client);
            asked.fault = asked.status ? "" : "it does not answer";
        }
        Disconnect(&client);
        all.push_back(std::move(asked));
    }
    return all;
}

std::vector<RuntimeStatus> AskStatuses()
{
    std::vector<RuntimeStatus> all;
    for (AskedRuntime& runtime : AskRuntimes()) {
        if (!runtime.fault.empty())
            Error("cannot ask '" + runtime.socket + "': " + runtime.fault);
        if (runtime.status)
            all.push_back(*std::move(runtime.status));
    }
    return all;
}

std::optional<RemotePanel> FindDrivenPanel(
    const std::string& path, const std::string& name, std::string* unasked)
{
    for (const std::string& socket : ControlSockets()) {
        RemotePanel panel{};
        std::string fault;
        if (!Connect(&panel.runtime, socket, &fault)) {
            if (unasked != nullptr && !fault.empty())
                unasked->append(unasked->empty() ? "cannot ask '" : ", '")
                    .append(socket)
                    .append("': ")
                    .append(fault);
            continue;
        }
        const std::optional<RuntimeStatus> status = AskStatus(&panel.runtime);
        std::optional<PanelState> state = status ? PanelOn(&*status, path, name) : std::nullopt;
        if (state) {
            panel.state = *std::move(state);
            panel.process = status->process;
            return panel;
        }
        Disconnect(&panel.runtime);
    }
    return std::nullopt;
}

std::vector<RemotePanel> FindAllPanels()
{
    std::vector<RemotePanel> all;
    for (const AskedRuntime& runtime : AskRuntimes()) {
        for (size_t i = 0; runtime.status && i < runtime.status->panels.size(); ++i) {
            RemotePanel panel{{}, runtime.status->panels[i], runtime.status->process};
            if (std::string fault; Connect(&panel.runtime, runtime.socket, &fault))
                all.push_back(std::move(panel));
        }
    }
    return all;
}

bool RefreshState(RemotePanel* panel)
{
    const std::optional<RuntimeStatus> status = AskStatus(&panel->runtime);
    std::optional<PanelState> state
        = status ? PanelOn(&*status, panel->state.path, "") : std::nullopt;
    if (!state) {
        Disconnect(&panel->runtime);
        return false;
    }
    panel->state = *std::move(state);
    return true;
}

} // namespace korvex::command

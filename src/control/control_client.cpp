#include "control/control_client.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <initializer_list>
#include <iterator>
#include <utility>

#include "control/control_address.h"
#include "control/json_line.h"
#include "machine/port_names.h"

namespace korvex::command {

namespace {

using std::chrono::steady_clock;

constexpr size_t MAX_ANSWER = 1024UL * 1024;

// The next line without its end; none, with the connection closed, when it does not come in time.
std::optional<std::string> NextLine(
    ControlClient* client, std::chrono::milliseconds limit = ANSWER_LIMIT)
{
    const steady_clock::time_point end = steady_clock::now() + limit;
    size_t length = client->received.find('\n');
    while (length == std::string::npos) {
        const auto left
            = std::chrono::duration_cast<std::chrono::milliseconds>(end - steady_clock::now())
                  .count();
        pollfd ready{client->socket, POLLIN, 0};
        std::array<char, 4096> bytes{};
        const ssize_t count = left > 0 && poll(&ready, 1, static_cast<int>(left)) > 0
            ? recv(client->socket, bytes.data(), bytes.size(), 0)
            : 0;
        if (count <= 0 || client->received.size() > MAX_ANSWER) {
            Disconnect(client);
            return std::nullopt;
        }
        client->received.append(bytes.data(), static_cast<size_t>(count));
        length = client->received.find('\n');
    }
    std::string line = client->received.substr(0, length);
    client->received.erase(0, length + 1);
    return line;
}

// Whether a panel's state is made as the protocol has it, so that its parts can be used without a
// further look.
bool IsState(const Json& panel)
{
    const auto holds = [&panel](std::initializer_list<const char*> keys, auto isRight) {
        return std::all_of(keys.begin(), keys.end(),
            [&](const char* key) { return panel.contains(key) && isRight(panel[key]); });
    };
    const auto isNumber = [](const Json& value) { return NumberOf(value).has_value(); };
    const auto isCount = [](const Json& value) {
        return value.is_number_unsigned() && value.get<uint64_t>() <= UINT32_MAX;
    };
    const auto isResolution = [](const Json& value) {
        const int32_t bits = NumberOf(value).value_or(0);
        return bits == 10 || bits == 12;
    };
    return panel.is_object()
        && holds({"panel", "path", "tty", "model", "controller"},
            [](const Json& value) { return value.is_string(); })
        && holds({"gone", "touching"}, [](const Json& value) { return value.is_boolean(); })
        && holds({"resolutionBits"}, isResolution)
        && holds({"reports", "rejected", "outOfRange", "resynchronisations", "dropped", "inputs"},
            isCount)
        && holds({"raw", "mapped"},
            [&](const Json& value) {
                return value.is_array() && std::all_of(value.begin(), value.end(), isNumber);
            })
        && holds({"calibration"}, [&](const Json& value) {
               return value.is_object() && value.contains("kind") && value["kind"].is_string()
                   && value.contains("points") && isNumber(value["points"])
                   && value.contains("tried") && value["tried"].is_boolean();
           });
}

bool IsAwaited(const Json& panel)
{
    const auto isText
        = [&panel](const char* key) { return panel.contains(key) && panel[key].is_string(); };
    return panel.is_object() && isText("panel") && isText("path") && isText("reason");
}

// The sound entries of a list in an answer to "status".
std::vector<Json> ListOf(const Json* status, const char* name, bool (*isSound)(const Json&))
{
    const auto list = status->find(name);
    std::vector<Json> sound;
    if (list != status->end() && list->is_array())
        std::copy_if(list->begin(), list->end(), std::back_inserter(sound), isSound);
    return sound;
}

// The panel on a port in an answer to "status"; none when it is not among them.
std::optional<Json> PanelOn(
    const RuntimeStatus* status, const std::string& path, const std::string& name)
{
    for (const Json& panel : status->panels) {
        if (IsSamePort(panel.value("tty", ""), path) || panel.value("path", "") == path
            || (!name.empty() && panel.value("panel", "") == name))
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

std::string TextIn(const Json& object, const char* key)
{
    const bool isText = object.is_object() && object.contains(key) && object.at(key).is_string();
    return isText ? object.at(key).get<std::string>() : "";
}

std::optional<Point> PointIn(const Json& object, const char* key)
{
    if (!object.is_object() || !object.contains(key))
        return std::nullopt;
    const Json& pair = object.at(key);
    if (!pair.is_array() || pair.size() != 2)
        return std::nullopt;
    const std::optional<int32_t> x = NumberOf(pair[0]);
    const std::optional<int32_t> y = NumberOf(pair[1]);
    return x && y ? std::optional(Point{*x, *y}) : std::nullopt;
}

std::optional<RuntimeStatus> AskStatus(ControlClient* client)
{
    const std::optional<Json> answer = Ask(client, {{"do", "status"}});
    if (!answer)
        return std::nullopt;
    const auto process = answer->find("process");
    return RuntimeStatus{process != answer->end() ? NumberOf(*process).value_or(0) : 0,
        ListOf(&*answer, "panels", IsState), ListOf(&*answer, "awaited", IsAwaited)};
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

std::string UnaskedText(const AskedRuntime* runtime)
{
    return runtime->fault.empty() ? "" : "cannot ask '" + runtime->socket + "': " + runtime->fault;
}

std::optional<RemotePanel> FindRuntime(
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
        std::optional<Json> state = status ? PanelOn(&*status, path, name) : std::nullopt;
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
    for (const std::string& socket : ControlSockets()) {
        ControlClient client;
        std::string fault;
        const std::optional<RuntimeStatus> status
            = Connect(&client, socket, &fault) ? AskStatus(&client) : std::nullopt;
        Disconnect(&client);
        for (size_t i = 0; status && i < status->panels.size(); ++i) {
            RemotePanel panel{{}, status->panels[i], status->process};
            if (Connect(&panel.runtime, socket, &fault))
                all.push_back(std::move(panel));
        }
    }
    return all;
}

bool RefreshState(RemotePanel* panel)
{
    const std::optional<RuntimeStatus> status = AskStatus(&panel->runtime);
    std::optional<Json> state
        = status ? PanelOn(&*status, panel->state.value("path", ""), "") : std::nullopt;
    if (!state) {
        Disconnect(&panel->runtime);
        return false;
    }
    panel->state = *std::move(state);
    return true;
}

} // namespace korvex::command

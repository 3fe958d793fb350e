// The other end of the control socket (control_protocol.h): what the commands ask of runtimes that
// run.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "control/json_line.h"
#include "control/panel_state.h"

namespace korvex::command {

// A connection; -1: none.
struct ControlClient {
    int socket = -1;
    std::string received; // not yet a whole line
};

// Connects to a socket whose other end speaks this protocol; else false with the reason, which is
// empty where its process has died.
bool Connect(ControlClient* client, const std::string& path, std::string* fault);

void Disconnect(ControlClient* client);

// How long an answer may take.
inline constexpr std::chrono::milliseconds ANSWER_LIMIT{2000};
inline constexpr std::chrono::milliseconds STORE_LIMIT{15000}; // of a save: a slow disk

// Asks, and returns the answer; none, with the connection closed, if it does not come in time.
std::optional<Json> Ask(
    ControlClient* client, const Json& request, std::chrono::milliseconds limit = ANSWER_LIMIT);

// Takes in what has come: false, with the connection closed, when the runtime has ended it.
bool Receive(ControlClient* client);

// The next line without its end; none when it has not come yet.
std::optional<std::string> PopLine(ControlClient* client);

// The panels that a runtime drives and waits for.
struct RuntimeStatus {
    int process;
    std::vector<PanelState> panels;
    std::vector<PendingPanel> pending;
};

// Asks for it; none as in Ask.
std::optional<RuntimeStatus> AskStatus(ControlClient* client);

// A socket that is there, and what its runtime says; or why that cannot be asked: empty where its
// process has died.
struct AskedRuntime {
    std::string socket;
    std::optional<RuntimeStatus> status;
    std::string fault;
};

// Asks all runtimes for their status.
std::vector<AskedRuntime> AskRuntimes();

// The status of those that can be asked; which cannot is said on standard error.
std::vector<RuntimeStatus> AskStatuses();

// A panel that a runtime drives.
struct RemotePanel {
    ControlClient runtime;
    PanelState state;
    int process; // of the runtime
};

// The runtime that drives the controller on a port, connected; none if no runtime that can be asked
// does. The panel's name, which may be empty, finds it even if the port is lost. `unasked`, which
// may be null, then has the sockets that cannot be asked, and why; empty: none.
std::optional<RemotePanel> FindDrivenPanel(
    const std::string& path, const std::string& name, std::string* unasked = nullptr);

// All panels of all runtimes that can be asked, each with a connection of its own.
std::vector<RemotePanel> FindAllPanels();

// Asks for the panel's state again: false, with the connection closed, when the runtime does not
// drive it any more.
bool RefreshState(RemotePanel* panel);

} // namespace korvex::command

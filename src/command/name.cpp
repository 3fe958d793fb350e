// `korvex name`: gives a panel its name, by a rule of the administrator's.
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "cli/text_layout.h"
#include "command/subcommands.h"
#include "control/control_client.h"
#include "input/host_handlers.h"
#include "input/session.h"
#include "machine/port_names.h"
#include "platform/linux/files/whole_files.h"
#include "platform/linux/serial/port_scan.h"
#include "process/exit_codes.h"
#include "process/message.h"
#include "process/options.h"
#include "process/shutdown.h"
#include "runtime/calibration_history.h"
#include "runtime/opened_controller.h"
#include "runtime/running_sessions.h"
#include "runtime/settings_state.h"

namespace korvex::command {

namespace {

namespace fs = std::filesystem;

constexpr const char* NAME_RULES = "/etc/udev/rules.d/71-korvex-panels.rules";
constexpr const char* NAME_PROPERTY = "ID_KORVEX_PANEL";
constexpr std::chrono::seconds TOUCH_LIMIT{60};

// A port that the touch may come from.
struct Candidate {
    platform::ScannedPort port;
    std::optional<RemotePanel> driven; // by a runtime, which is asked in place of the port
    TouchController* controller = nullptr;
};

// The first touch of a session. Set on its reader thread.
struct Touched {
    std::atomic<TouchController*> controller = nullptr;
    int event = -1; // an eventfd, written to with it
} touched;

void NoteTouch(TouchController* controller, SessionEvent event)
{
    if (event != SessionEvent::TOUCHED)
        return;
    touched.controller = controller;
    eventfd_write(touched.event, 1);
}

// The name that rules give to the port; empty: none.
std::string NameOf(const platform::ScannedPort& port)
{
    return platform::UdevProperty(port.path, NAME_PROPERTY);
}

// Whether a rule contains the words; comments do not count.
bool HasRule(const std::string& words)
{
    std::string rules;
    platform::ReadWholeFile(NAME_RULES, &rules);
    std::istringstream lines(rules);
    for (std::string line; std::getline(lines, line);) {
        if (!line.starts_with('#') && line.find(words) != std::string::npos)
            return true;
    }
    return false;
}

// How a rule gives the name, and how another one asks for it.
std::string Assignment(const std::string& name)
{
    return Formatted("ENV{%s}=\"%s\"", NAME_PROPERTY, name.c_str());
}

std::string Condition(const std::string& name)
{
    return Formatted("ENV{%s}==\"%s\"", NAME_PROPERTY, name.c_str());
}

// Why no panel can get that name; empty if one can.
std::string NameFault(const std::string& name)
{
    if (!IsPanelName(name))
        return "'" + name + "' is no name: it has at most 64 letters, digits, '-' and '_'";
    for (const platform::PortProperty& port : platform::PortsWithProperty(NAME_PROPERTY)) {
        if (port.value == name)
            return "'" + port.path + "' has the name '" + name + "'";
    }
    return HasRule(Assignment(name))
        ? Formatted(
              "'%s' has a rule for '%s', whose adapter is not there; plug it in, or remove the "
              "rule",
              NAME_RULES, name.c_str())
        : "";
}

// The ports that --port selects, all if it selects none, without those that are never asked.
std::vector<Candidate> CandidatesOf(const Options* options)
{
    std::vector<Candidate> candidates;
    for (const platform::ScannedPort& port : platform::ScanSerialPorts()) {
        const auto isMeant = [&port](const std::string& selected) {
            return IsSamePort(PathOfPort({}, selected), port.path);
        };
        const std::vector<std::string>& selected = options->selectedPorts;
        if (!selected.empty() && std::none_of(selected.begin(), selected.end(), isMeant))
            continue;
        if (platform::IsPortIgnored(port.path))
            printf("Left out: %s, which is never asked (ID_KORVEX_IGNORE).\n", port.path.c_str());
        else
            candidates.push_back({port, FindDrivenPanel(port.path, NameOf(port)), nullptr});
    }
    return candidates;
}

// Reads a line of the terminal: true for a word that begins with y.
bool IsConfirmed()
{
    fputs("Go on? [y/N] ", stdout);
    fflush(stdout);
    std::array<pollfd, 2> polled{
        pollfd{STDIN_FILENO, POLLIN, 0}, pollfd{ShutdownDescriptor(), POLLIN, 0}};
    while (poll(polled.data(), polled.size(), -1) < 0 && errno == EINTR) { }
    std::array<char, 64> answer{};
    return polled[1].revents == 0 && fgets(answer.data(), answer.size(), stdin) != nullptr
        && (answer[0] == 'y' || answer[0] == 'Y');
}

// Says what will be asked; false if the person does not want that.
bool Announce(const Options* options, const std::vector<Candidate>& candidates)
{
    bool asks = false;
    for (const bool driven : {false, true}) {
        bool any = false;
        for (const Candidate& candidate : candidates) {
            if (candidate.driven.has_value() != driven)
                continue;
            if (!any)
                puts(driven
                        ? "These are driven by a runtime, and receive nothing:"
                        : "These ports will be asked: whatever is on them receives some bytes.");
            const std::string name = NameOf(candidate.port);
            printf("  %-6s %s%s\n", candidate.port.name.c_str(), candidate.port.path.c_str(),
                name.empty() ? "" : (", panel " + name).c_str());
            any = true;
        }
        asks = asks || (any && !driven);
    }
    return !asks || options->yes || IsConfirmed();
}

// Has the touches of the candidate reported; false, with a line, if that is not possible.
bool Listen(const Options* options, Candidate* candidate)
{
    const std::string& path = candidate->port.path;
    if (candidate->driven)
        return Ask(&candidate->driven->runtime,
            {{"do", "listen"}, {"panel", candidate->driven->state.path}})
            .has_value();
    if (OpenController(options, path, &candidate->controller) != EXIT_DONE
        || candidate->controller == nullptr)
        return false;
    printf("  %s: %s\n", path.c_str(), DescriptionOf(candidate->controller).c_str());
    return StartSession(candidate->controller);
}

// Whether a runtime has reported a touch of the candidate since the last call.
bool WasTouched(Candidate* candidate)
{
    if (candidate->controller != nullptr)
        return touched.controller == candidate->controller;
    if (!candidate->driven || candidate->driven->runtime.socket < 0)
        return false;
    Receive(&candidate->driven->runtime);
    bool seen = false;
    while (const std::optional<std::string> line = PopLine(&candidate->driven->runtime)) {
        const Json event = ParseAnswer(*line);
        seen = seen
            || (TextIn(event, "event") == "touch" && event.value("touching", Json()) == true);
    }
    return seen;
}

// Waits for the first touch; null if none comes.
Candidate* AwaitTouch(std::vector<Candidate>* candidates)
{
    const auto end = std::chrono::steady_clock::now() + TOUCH_LIMIT;
    for (;;) {
        std::vector<pollfd> polled{{ShutdownDescriptor(), POLLIN, 0}, {touched.event, POLLIN, 0}};
        for (const Candidate& candidate : *candidates)
            polled.push_back({candidate.driven ? candidate.driven->runtime.socket : -1, POLLIN, 0});
        const auto left
            = std::chrono::ceil<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
        if (left.count() <= 0
            || poll(polled.data(), polled.size(), static_cast<int>(left.count())) == 0
            || polled[0].revents != 0)
            return nullptr;
        for (Candidate& candidate : *candidates) {
            if (WasTouched(&candidate))
                return &candidate;
        }
    }
}

// How a rule tells the port from all others; empty: nothing does.
std::string MatchOf(const platform::ScannedPort& port)
{
    constexpr const char* PLAIN
        = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_:.+#";
    const auto isAlone = [&port](const char* property, const char* second) {
        const std::string value = platform::UdevProperty(port.path, property);
        const std::string other = platform::UdevProperty(port.path, second);
        const std::vector<platform::PortProperty> all = platform::PortsWithProperty(property);
        return !value.empty() && value.find_first_not_of(PLAIN) == std::string::npos
            && std::count_if(all.begin(), all.end(),
                   [&](const platform::PortProperty& one) {
                       return one.value == value
                           && platform::UdevProperty(one.path, second) == other;
                   })
            == 1;
    };
    const auto match = [&port](const char* property) {
        const std::string value = platform::UdevProperty(port.path, property);
        return value.empty() ? "" : std::string(", ENV{") + property + "}==\"" + value + "\"";
    };
    if (isAlone("ID_SERIAL_SHORT", "ID_USB_INTERFACE_NUM"))
        return match("ID_SERIAL_SHORT") + match("ID_USB_INTERFACE_NUM");
    if (isAlone("ID_PATH", "ID_PATH"))
        return match("ID_PATH");
    const std::string tty = fs::path(TtyOf(port.path)).filename().string();
    const bool isBuiltIn = !tty.starts_with("ttyUSB") && !tty.starts_with("ttyACM");
    return isBuiltIn ? Formatted(", KERNEL==\"%s\"", tty.c_str()) : "";
}

void ReplaceAll(std::string* text, const std::string& word, const std::string& replacement)
{
    for (size_t at = text->find(word); at != std::string::npos;
        at = text->find(word, at + replacement.size()))
        text->replace(at, word.size(), replacement);
}

// Writes the rule, or puts the new name into the port's own; empty, or why not.
std::string WriteRule(
    const platform::ScannedPort& port, const std::string& old, const std::string& name)
{
    const std::string match = old.empty() ? MatchOf(port) : "";
    const std::string rule = "SUBSYSTEM==\"tty\"" + match + ", " + Assignment(name);
    if (old.empty() && match.empty())
        return "nothing tells '" + port.path
            + "' from the other adapters: neither a serial number nor a socket of its own";
    if (!old.empty() && !IsPanelName(old)) // it becomes a part of commands
        return "'" + old + "' is no name that a unit can have; change it in the rule";
    if (!old.empty() && !HasRule(Assignment(old)))
        return Formatted("the name '%s' is given by another file than '%s'; change it there",
            old.c_str(), NAME_RULES);
    const auto change = [&](std::string_view content) -> std::optional<std::string> {
        std::string rules(content);
        if (old.empty())
            return rules + (rules.empty() || rules.ends_with('\n') ? "" : "\n") + rule + "\n";
        ReplaceAll(&rules, Assignment(old), Assignment(name));
        ReplaceAll(&rules, Condition(old), Condition(name));
        return rules;
    };
    if (!platform::ChangeWholeFile(NAME_RULES, change, platform::Durability::SYNCED))
        return Formatted("'%s' cannot be written: %s", NAME_RULES, strerror(errno));
    if (old.empty())
        printf("Wrote to %s:\n  %s\n", NAME_RULES, rule.c_str());
    else
        printf("Replaced '%s' by '%s' in %s.\n", old.c_str(), name.c_str(), NAME_RULES);
    return "";
}

// Runs a program of the system, whose words mean nothing to a shell.
bool RunSystem(const std::string& command)
{
    // NOLINTNEXTLINE(cert-env33-c,concurrency-mt-unsafe): fixed words, and names of panels
    const bool done = system((command + " >/dev/null 2>&1").c_str()) == 0;
    if (!done)
        Warning("'" + command + "' failed");
    return done;
}

// Moves a file or folder that is kept by a panel's name.
void MoveKept(const std::string& from, const std::string& to)
{
    std::error_code error;
    if (!fs::exists(from, error))
        return;
    if (fs::exists(to, error)) {
        Warning("'" + from + "' stays, since there is '" + to + "'");
        return;
    }
    fs::rename(from, to, error);
    if (error)
        Warning("'" + from + "' cannot be moved to '" + to + "': " + error.message());
    else
        printf("Moved %s to %s.\n", from.c_str(), to.c_str());
}

// Stops the old name's unit, which still has the port, and moves what is kept by its name.
void EndOldName(const std::string& old, const std::string& name)
{
    if (RunSystem("systemctl stop korvex@" + old))
        printf("Stopped korvex@%s.\n", old.c_str());
    const std::string settings = "/etc/korvex/";
    MoveKept(FolderOfPanel(old), FolderOfPanel(name));
    const FolderVisit visit(FolderOfPanel(name));
    const std::string fault
        = visit.entered ? ChangePortInHistory(PANEL_FOLDER + old, PANEL_FOLDER + name) : "";
    if (!fault.empty())
        Warning(fault);
    MoveKept(settings + old + ".conf", settings + name + ".conf");
    MoveKept(settings + old + ".env", settings + name + ".env");
}

int GiveName(const Candidate& candidate, const std::string& name)
{
    const std::string old = NameOf(candidate.port);
    if (const std::string fault = WriteRule(candidate.port, old, name); !fault.empty()) {
        Error(fault);
        return EXIT_FAULT;
    }
    if (!old.empty())
        EndOldName(old, name);
    else if (candidate.driven)
        Warning("process " + std::to_string(candidate.driven->process)
            + " drives the port; end it, so that korvex@" + name + " can");
    if (!RunSystem("udevadm control --reload")
        || !RunSystem("udevadm trigger --settle --subsystem-match=tty"))
        return EXIT_FAULT;
    printf(
        "The panel is '%s' now: /dev/korvex/%s, driven by korvex@%s. Next: korvex calibrate %s\n",
        name.c_str(), name.c_str(), name.c_str(), name.c_str());
    return EXIT_DONE;
}

} // namespace

int RunName(const Options* options)
{
    const std::string& name = options->arguments[0];
    if (const std::string fault = NameFault(name); !fault.empty()) {
        Error(fault);
        return IsPanelName(name) ? EXIT_FAULT : EXIT_USAGE_ERROR;
    }
    if (!platform::CanChangeWholeFile(NAME_RULES)) {
        Error(Formatted("'%s' cannot be written: %s; start as root", NAME_RULES, strerror(errno)));
        return EXIT_FAULT;
    }
    std::vector<Candidate> candidates = CandidatesOf(options);
    if (candidates.empty()) {
        Error("there is no serial port that may be asked");
        return EXIT_NO_PORT;
    }
    if (!Announce(options, candidates)) {
        Error("nothing was asked or changed");
        return EXIT_FAULT;
    }
    touched.event = eventfd(0, EFD_CLOEXEC);
    SetHostHandlers({.sessionEvent = NoteTouch});
    std::vector<TouchController*> controllers;
    bool listens = false;
    for (Candidate& candidate : candidates) {
        listens = Listen(options, &candidate) || listens;
        if (candidate.controller != nullptr)
            controllers.push_back(candidate.controller);
    }
    Candidate* found = nullptr;
    if (listens && !IsShutdownRequested()) {
        printf("Touch the panel that is to be '%s'.\n", name.c_str());
        fflush(stdout);
        found = AwaitTouch(&candidates);
    }
    EndControllers(&controllers, EXIT_NO_CONTROLLER);
    if (found != nullptr)
        return GiveName(*found, name);
    if (!IsShutdownRequested())
        Error(listens ? "no panel was touched; nothing was changed"
                      : "no controller answers; nothing was changed");
    return IsShutdownRequested() ? EXIT_DONE : EXIT_NO_CONTROLLER;
}

} // namespace korvex::command

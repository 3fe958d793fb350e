#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "cli/text_layout.h"
#include "command/check/check_panels.h"
#include "command/check/check_settings.h"
#include "command/check/finding.h"
#include "command/subcommands.h"
#include "console/rest_noise.h"
#include "control/control_client.h"
#include "control/json_line.h"
#include "input/host_handlers.h"
#include "input/session.h"
#include "link/command_protocol.h"
#include "link/port_link.h"
#include "machine/machine_setup.h"
#include "machine/port_failure.h"
#include "machine/port_state.h"
#include "platform/linux/machine.h"
#include "platform/linux/pointer/pointer_uinput.h"
#include "platform/linux/pointer/pointer_x11.h"
#include "platform/linux/pointer/smoothing.h"
#include "platform/linux/serial/port_scan.h"
#include "process/exit_codes.h"
#include "process/message.h"
#include "process/options.h"
#include "process/shutdown.h"
#include "runtime/opened_controller.h"
#include "runtime/running_sessions.h"
#include "runtime/settings_state.h"

namespace korvex::command {

namespace {

constexpr double LISTENING_SECONDS = 3;

// A port on which a controller answers that can be driven: by a session of this process, or by a
// runtime that is running.
struct Listener {
    std::string name;
    TouchController* controller;
    std::optional<RemotePanel> remote;
    std::unique_ptr<RestNoise> restNoise; // of a session of this process
    PanelCounters before{};               // when it began to be listened to
};

PanelCounters CountedBy(const Listener* listener)
{
    return listener->remote ? listener->remote->state.reading.counters
                            : CountersOf(listener->controller);
}

uint32_t ResolutionOf(const Listener* listener)
{
    return listener->remote ? listener->remote->state.resolutionBits
                            : static_cast<uint32_t>(listener->controller->resolutionBits);
}

// The remedy where no display, or the wrong one, is used.
std::string DisplayCure()
{
    return getenv("SSH_CONNECTION") == nullptr
        ? "start in the desktop session, as the user who is logged in"
        : "over ssh, as the user who is logged in there, name its display: DISPLAY=:0, and "
          "XAUTHORITY where it asks for more";
}

// A display that ssh forwards is the one of the user's own computer.
bool IsDisplayForwarded()
{
    const char* display = getenv("DISPLAY");
    return display != nullptr && getenv("SSH_CONNECTION") != nullptr && display[0] != ':';
}

void CheckDisplay(Findings* findings)
{
    std::string reason;
    const bool hasDevices = platform::CanMakeInputDevices(&reason);
    if (hasDevices && (!HasDisplay() || IsWaylandSession()))
        findings->push_back(
            {Severity::OK, "display", "touches go to touch screen devices of the kernel"});
    else if (!HasDisplay())
        findings->push_back({Severity::FAULT, "display",
            "no X display is named in DISPLAY, and " + reason + "; " + DisplayCure()
                + ", or let korvex open /dev/uinput (72-korvex.rules), or use '--pointer log' and"
                  " '--windows none'"});
    else if (IsWaylandSession())
        findings->push_back({Severity::FAULT, "display",
            "this is a Wayland session, and " + reason
                + ": only X programs will see the touches; let korvex open /dev/uinput "
                  "(72-korvex.rules)"});
    else if (!platform::UseX11Pointer({}, &reason))
        findings->push_back({Severity::FAULT, "display", reason + "; " + DisplayCure()});
    else if (IsDisplayForwarded())
        findings->push_back({Severity::FAULT, "display",
            "the X display is that of the computer that you come from; " + DisplayCure()});
    else
        findings->push_back({Severity::OK, "display", "the X display takes pointer input"});
}

// The rate at which something answers that was not identified: the last candidate's or that of the
// short packets; 0 when nothing does.
uint32_t AnsweringBaudRate(TouchController* controller)
{
    if (controller->link.baudRate == 0) {
        controller->model = MODEL_7700;
        controller->reportLength = ReportLengthOf(MODEL_7700);
        ProbeBaud(controller);
    }
    return controller->link.baudRate;
}

// Its panel's name where it has one.
std::string SubjectOf(const PortState* port)
{
    return port->panel.empty() ? port->name : port->panel;
}

// Whether the controller that answers on the port can be driven, and is the one that the port is
// bound to.
bool CheckController(const PortState* port, TouchController* controller, Findings* findings)
{
    const std::string stored = port->model == 0 ? "" : ModelText(port->model);
    if (!IdentifyController(controller)) {
        if (IsShutdownRequested())
            return false; // it was not asked everything
        const std::string known = stored.empty() ? "" : ", though a " + stored + " is known here";
        const uint32_t baudRate = AnsweringBaudRate(controller);
        if (baudRate == 0)
            findings->push_back({stored.empty() ? Severity::NOTE : Severity::FAULT, SubjectOf(port),
                "no controller answers on '" + port->path + "', neither at 19200 nor at 9600 baud"
                    + known + "; if there is one, check its cable and power"});
        else
            findings->push_back({Severity::FAULT, SubjectOf(port),
                "what answers on '" + port->path + "' at " + std::to_string(baudRate)
                    + " baud did not answer every question; unplug it and plug it in again; if "
                      "that does "
                      "not help, its model cannot be driven"});
        return false;
    }
    const uint32_t number = controller->answers.modelNumber;
    if (number != 0 && number != MODEL_NUMBER_5200 && number != MODEL_NUMBER_5460) {
        findings->push_back({Severity::FAULT, SubjectOf(port),
            "the controller calls itself model " + std::to_string(number)
                + ", which cannot be driven; it is driven as a 5200 and may measure"
                  " nonsense"});
        return false;
    }
    if (!stored.empty() && port->model != controller->model) {
        findings->push_back({Severity::FAULT, SubjectOf(port),
            "a " + stored + " is known here, but a " + ModelText(controller->model)
                + " answers; 'korvex unbind " + port->name
                + "' forgets the old one, and the next start finds the new one"});
        return true;
    }
    findings->push_back(
        {Severity::OK, SubjectOf(port), "'" + port->path + "', " + DescriptionOf(controller)});
    return true;
}

// Whether a program of that name runs.
bool IsRunning(const std::string& name)
{
    std::error_code error;
    for (const std::filesystem::directory_entry& entry :
        std::filesystem::directory_iterator("/proc", error)) {
        std::string running;
        if (std::ifstream(entry.path() / "comm") >> running && running == name)
            return true;
    }
    return false;
}

// Programs that reach for serial ports of any kind, and take a controller's answers or disturb it.
void CheckIntruders(const PortState* port, Findings* findings)
{
    const auto isSet
        = [port](const char* property) { return platform::IsUdevSwitchOn(port->path, property); };
    if (IsRunning("ModemManager") && !isSet("ID_MM_PORT_IGNORE") && !isSet("ID_MM_DEVICE_IGNORE"))
        findings->push_back({Severity::NOTE, SubjectOf(port),
            "ModemManager runs and may ask '" + port->path
                + "' too; ENV{ID_MM_PORT_IGNORE}=\"1\" in a udev rule for the port, or a name for "
                  "the panel, keeps it away"});
    if (IsRunning("brltty"))
        findings->push_back({Severity::NOTE, SubjectOf(port),
            "brltty runs and may take the adapter of '" + port->path
                + "' for a braille display; name the display that it is for in /etc/brltty.conf "
                  "(braille-device), or remove it"});
}

// A runtime reads the settings of its own folder, which may not be the current one.
void CheckItsSettings(const Listener* listener, Findings* findings)
{
    const std::string& file = listener->remote->state.calibration.file;
    const std::string folder = std::filesystem::path(file).parent_path().string();
    if (file.empty())
        findings->push_back({Severity::NOTE, listener->name,
            "its runtime has read no settings file and goes by the controller's own; 'korvex "
            "calibrate' makes one for it"});
    else if (file != SettingsFilePath() && !IsPanelFolder(folder, listener->name))
        CheckSettingsIn(folder, listener->name, findings);
}

void CheckPort(const Options* options, const PortState* port, Findings* findings,
    std::vector<Listener>* listeners)
{
    const std::string subject = SubjectOf(port);
    if (port->ignored) {
        findings->push_back({Severity::NOTE, subject,
            "'" + port->path + "' is skipped: its udev property ID_KORVEX_IGNORE is set"});
        return;
    }
    if (std::optional<RemotePanel> remote = FindDrivenPanel(port->path, port->panel); remote) {
        const bool gone = remote->state.reading.lost;
        findings->push_back({gone ? Severity::FAULT : Severity::OK, subject,
            "'" + port->path + "', " + remote->state.controller + ", driven by process "
                + std::to_string(remote->process)
                + (gone ? "; its port has gone, or its controller does not answer: check cable and "
                          "power"
                        : "")});
        listeners->push_back({subject, nullptr, std::move(remote), nullptr, {}});
        CheckItsSettings(&listeners->back(), findings);
        CheckIntruders(port, findings);
        return;
    }
    if (!options->probe && options->selectedPorts.empty() && !IsPanelPort(options, port)) {
        findings->push_back({Severity::NOTE, subject,
            "'" + port->path
                + "' is not asked, since no panel is known there and it may be another device's; "
                  "'--probe' asks it"});
        return;
    }
    CheckIntruders(port, findings);
    HANDLE handle = OpenPort(port->path);
    if (handle == INVALID_HANDLE_VALUE) {
        findings->push_back({Severity::FAULT, subject,
            "cannot open '" + port->path + "': " + PortFailureText(port->path, GetLastError())});
        return;
    }
    TouchController* controller = ControllerOn(handle);
    if (controller == nullptr) {
        findings->push_back({Severity::FAULT, subject, "out of memory"});
        return;
    }
    const bool drivable = CheckController(port, controller, findings);
    auto restNoise = std::make_unique<RestNoise>();
    controller->handlerData = restNoise.get();
    if (drivable && StartSession(controller)) {
        listeners->push_back({subject, controller, {}, std::move(restNoise), {}});
        return;
    }
    if (drivable)
        findings->push_back({Severity::FAULT, subject,
            "cannot start a thread for the session; end other programs"});
    ReleaseController(controller);
}

// How far a resting finger wanders, and the setting that holds it still.
void CheckRestNoise(const Listener* listener, Findings* findings)
{
    const uint32_t noise = listener->remote ? listener->remote->state.restNoise
                                            : listener->restNoise->deviation.load();
    if (noise == 0)
        return;
    const double part = noise / 65536.0;
    const std::string used = listener->remote ? listener->remote->state.smooth : "";
    const std::string advised = platform::SmoothingFor(part);
    const std::string text = Formatted("rest noise: %.2f %% of the screen", part * 100);
    if (advised == "off" || advised == used)
        findings->push_back({Severity::OK, listener->name, text});
    else
        findings->push_back({Severity::NOTE, listener->name,
            text + "; 'drive --smooth " + advised + "' holds a resting finger still"});
}

// The counters of a session while it listened.
void CheckReports(const Listener* listener, Findings* findings)
{
    const PanelCounters now = CountedBy(listener);
    const uint32_t reports = now.reports - listener->before.reports;
    const uint32_t bad = now.rejected - listener->before.rejected;
    if (now.outOfRange != listener->before.outOfRange)
        findings->push_back({Severity::FAULT, listener->name,
            "it measures beyond its " + std::to_string(ResolutionOf(listener))
                + " bits; such touches are dropped; unplug it and plug it in again, so that it is "
                  "asked for its resolution again"});
    else if (bad > 0)
        findings->push_back({Severity::FAULT, listener->name,
            "rejected packets: " + std::to_string(bad) + ", good ones: " + std::to_string(reports)
                + "; check cable, grounding and what else is on the line"});
    else if (reports == 0)
        findings->push_back({Severity::NOTE, listener->name,
            "it was not touched, so its reports were not checked"});
    else
        findings->push_back(
            {Severity::OK, listener->name, "reports: " + std::to_string(reports) + ", all good"});
    CheckRestNoise(listener, findings);
}

const char* NameOf(Severity severity)
{
    return severity == Severity::OK ? "ok" : severity == Severity::NOTE ? "note" : "FAULT";
}

std::string TextOf(const Findings* findings)
{
    std::string text;
    for (const Finding& finding : *findings) {
        std::string line
            = Formatted("%-5s  %-8s  ", NameOf(finding.severity), finding.subject.c_str())
            + finding.text;
        ReplaceControls(&line);
        text += line + "\n";
    }
    return text;
}

std::string JsonOf(const Findings* findings)
{
    Json list = Json::array();
    for (const Finding& finding : *findings)
        list.push_back({{"severity", NameOf(finding.severity)}, {"subject", finding.subject},
            {"text", finding.text}});
    return list.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

// False, with a message, when standard output fails.
bool Print(const std::string& text)
{
    if (WriteOutput(text) || IsShutdownRequested())
        return true;
    OutputFailed();
    return false;
}

} // namespace

int RunCheck(const Options* options)
{
    SetHostHandlers({.sessionEvent = [](TouchController* controller, SessionEvent event) {
        if (event == SessionEvent::TOUCHED)
            AddTouchToRestNoise(static_cast<RestNoise*>(controller->handlerData), controller);
    }});
    const std::string stateFault = PrepareState(options);
    if (const int exitCode = SetUpPorts(options); exitCode != EXIT_DONE)
        return exitCode;
    Findings findings;
    CheckDisplay(&findings);
    SetUpPointer(options); // in place of the display's
    if (!stateFault.empty())
        findings.push_back({Severity::FAULT, "state",
            "'" + options->stateFolder + "' cannot be written: " + stateFault
                + "; put that right, or name another folder with '--state'"});
    std::error_code error;
    const std::string file = SettingsFilePath(); // empty: its path is too long
    if (!CheckPanels(&findings) || file.empty() || std::filesystem::exists(file, error))
        CheckSettings(&findings);
    const std::vector<PortState> ports = AllPorts();
    if (ports.empty())
        findings.push_back({Severity::FAULT, "ports",
            "there is no serial port; plug the adapter in, or name one with '--port'"});
    std::vector<Listener> listeners;
    for (const PortState& port : ports) {
        if (IsShutdownRequested())
            break;
        CheckPort(options, &port, &findings, &listeners);
    }
    bool printed = options->json || Print(TextOf(&findings));

    Findings heard;
    std::vector<TouchController*> controllers;
    for (Listener& listener : listeners)
        listener.before = CountedBy(&listener);
    const double seconds = options->seconds.value_or(LISTENING_SECONDS);
    if (!listeners.empty() && seconds > 0 && !IsShutdownRequested()) {
        fprintf(stderr, "Touch each panel now, all over (%g s)\n", seconds);
        WaitForShutdown(std::chrono::duration_cast<std::chrono::milliseconds>(
            std::chrono::duration<double>(seconds)));
    }
    for (Listener& listener : listeners) {
        if (listener.remote && !RefreshState(&*listener.remote))
            listener.remote = FindDrivenPanel(listener.remote->state.path, "");
        if (listener.controller == nullptr && !listener.remote)
            heard.push_back({Severity::NOTE, listener.name,
                "the runtime that drives it has ended, or answers no more"});
        else if (seconds > 0)
            CheckReports(&listener, &heard);
        if (listener.remote)
            Disconnect(&listener.remote->runtime);
        else if (listener.controller != nullptr)
            controllers.push_back(listener.controller);
    }
    const bool isFine = !HasFault(&findings) && !HasFault(&heard);
    findings.insert(findings.end(), heard.begin(), heard.end());
    printed = Print(options->json ? JsonOf(&findings) : TextOf(&heard)) && printed;
    return EndControllers(&controllers, isFine && printed ? EXIT_DONE : EXIT_FAULT);
}

} // namespace korvex::command

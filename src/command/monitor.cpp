#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "command/monitor_table.h"
#include "command/subcommands.h"
#include "control/control_client.h"
#include "control/json_line.h"
#include "input/host_handlers.h"
#include "input/session.h"
#include "machine/port_names.h"
#include "platform/linux/pointer/pixels.h"
#include "platform/linux/x11/monitors.h"
#include "process/end_request.h"
#include "process/exit_codes.h"
#include "process/message.h"
#include "process/options.h"
#include "process/output.h"
#include "process/terminal.h"
#include "runtime/opened_controller.h"
#include "runtime/port_return.h"

namespace korvex::command {

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr milliseconds TICK{100};
constexpr size_t TICKS_PER_SECOND = 10;

struct Watched {
    std::string port;
    TouchController* controller;
    std::unique_ptr<ReturnedPort> returned; // of that controller
    // where another process drives it; then there is no controller here, also when that one has
    // ended
    std::optional<RemotePanel> remote;
    Clock::time_point soughtAt;   // when a runtime was looked for last, after that
    std::deque<uint32_t> reports; // at the last ticks, newest first
    Sample shown;
    bool changed; // since it was shown before
};

PortReturn DecideWatchedReturn(TouchController* controller, ReadResult result, const Packet* report)
{
    return DecidePortReturn(
        static_cast<ReturnedPort*>(controller->observed), controller, result, report);
}

// The reports of the last second.
uint32_t RateOf(Watched* watched, uint32_t reports)
{
    watched->reports.push_front(reports);
    if (watched->reports.size() > TICKS_PER_SECOND + 1)
        watched->reports.pop_back();
    return reports - watched->reports.back();
}

// A runtime that has ended reports nothing any more.
PanelReading LatestReading(const Watched* watched)
{
    if (!watched->remote)
        return ReadingOf(watched->controller);
    PanelReading reading = watched->remote->state.reading;
    reading.gone = reading.gone || watched->remote->runtime.socket < 0;
    return reading;
}

Sample SampleOf(Watched* watched)
{
    const PanelReading reading = LatestReading(watched);
    const uint32_t rate = RateOf(watched, reading.counters.reports);
    return {reading, reading.gone ? 0 : rate};
}

std::string JsonOf(
    const Watched* watched, milliseconds time, const std::optional<platform::MonitorArea>& screen)
{
    const PanelReading& reading = watched->shown.reading;
    Json line{{"port", watched->port},
        {"time", std::round(static_cast<double>(time.count()) / 100) / 10},
        {"raw", {reading.raw.x, reading.raw.y}}, {"mapped", {reading.mapped.x, reading.mapped.y}},
        {"percent", {PercentOf(reading.mapped.x), PercentOf(reading.mapped.y)}}};
    if (screen)
        line["pixel"] = {platform::PixelOf(reading.mapped.x, screen->width),
            platform::PixelOf(reading.mapped.y, screen->height)};
    line.update(
        {{"touching", reading.touching}, {"gone", reading.gone}, {"rate", watched->shown.rate}});
    AddCounters(reading.counters, &line);
    return LineOf(line);
}

// What is on the terminal, or has been printed.
struct View {
    // whose pixels are shown; none: there is no X display
    std::optional<platform::MonitorArea> screen;
    bool inPlace; // on a terminal the table stays where it is
    size_t width; // of that terminal
    bool begun;
};

// The table in its place. Where the terminal has another size now it begins anew, for what was
// there has been wrapped or cut.
std::string TableInPlace(const std::vector<MonitorRow>* rows, View* view)
{
    constexpr size_t USUAL_WIDTH = 80;
    const size_t columnsNow = TerminalColumns();
    const size_t width = columnsNow == 0 ? USUAL_WIDTH : columnsNow;
    const MonitorColumns columns = ChooseColumns(rows, view->screen, width);
    std::string text; // control sequences as ECMA-48 has them: CUP with ED, CUU, EL
    if (view->begun && width != view->width)
        text = "\x1b[H\x1b[2J";
    else if (view->begun)
        text = "\x1b[" + std::to_string(rows->size() + 2) + "A";
    view->width = width;
    text += HeaderOf(&columns) + "\x1b[K\n";
    for (const MonitorRow& row : *rows)
        text += LineOf(&row, &columns) + "\x1b[K\n";
    return text + "q ends it.\x1b[K\n";
}

// What has changed, as text: on a terminal the table in its place, else a line for each port that
// has.
std::string Changes(
    std::vector<Watched>* all, const Options* options, View* view, milliseconds time)
{
    std::string text;
    std::vector<MonitorRow> rows;
    for (Watched& watched : *all) {
        const Sample sample = SampleOf(&watched);
        const bool changed = !view->begun || !(sample == watched.shown);
        watched.shown = sample;
        rows.push_back({watched.port, sample});
        if (options->json && changed)
            text += JsonOf(&watched, time, view->screen);
        watched.changed = changed;
    }
    if (view->inPlace)
        text = TableInPlace(&rows, view);
    const MonitorColumns columns = ChooseColumns(&rows, view->screen, SIZE_MAX);
    if (!view->inPlace && !options->json && !view->begun)
        text = HeaderOf(&columns) + "\n";
    for (size_t i = 0; !view->inPlace && !options->json && i < rows.size(); ++i)
        text += (*all)[i].changed ? LineOf(&rows[i], &columns) + "\n" : "";
    view->begun = true;
    return text;
}

// The monitor that touches on the X display mean.
std::optional<platform::MonitorArea> ShownScreen(const Options* options)
{
    platform::MonitorArea area{};
    return HasDisplay() && platform::MeasureMonitor(nullptr, options->monitor, &area)
        ? std::optional(area)
        : std::nullopt;
}

// Finds who drives the controller on a port, or drives it. Not EXIT_DONE, with the reason on
// standard error, when neither can be had; EXIT_DONE with neither when the end was requested
// meanwhile.
int StartWatching(Watched* watched, const Options* options)
{
    watched->controller = nullptr;
    watched->reports.clear();
    std::string unasked;
    watched->remote
        = FindRuntime(PathOfPort(options->ports, watched->port), watched->port, &unasked);
    if (watched->remote) {
        Notice(watched->port,
            watched->remote->state.controller + ", driven by process "
                + std::to_string(watched->remote->process));
        return EXIT_DONE;
    }
    const int exitCode = OpenController(options, watched->port, &watched->controller);
    if (exitCode == EXIT_NO_PORT && !unasked.empty()) // who holds it may be one of these
        Error(unasked);
    if (watched->controller == nullptr)
        return exitCode;
    watched->returned = std::make_unique<ReturnedPort>();
    watched->controller->observed = watched->returned.get();
    return StartDriving(options, watched->port, watched->controller);
}

// A runtime that has ended may start again, and the port is its own: it is looked for, and not
// opened here.
void FollowRuntime(Watched* watched)
{
    constexpr milliseconds INTERVAL{1000};
    if (watched->remote->runtime.socket >= 0 ? RefreshState(&*watched->remote)
                                             : Clock::now() - watched->soughtAt < INTERVAL)
        return;
    watched->soughtAt = Clock::now();
    if (auto found = FindRuntime(watched->remote->state.path, watched->port); found) {
        watched->remote = std::move(found);
        watched->reports.clear();
    }
}

// Looks after what is watched; a controller that has taken the place of one whose session has ended
// by itself is driven. The result is as StartWatching's.
int GoOnWatching(std::vector<Watched>* all, const Options* options)
{
    for (Watched& watched : *all) {
        if (watched.remote)
            FollowRuntime(&watched);
        if (watched.remote || !HasReaderEnded(watched.controller))
            continue;
        ReleaseController(watched.controller);
        const int exitCode = StartWatching(&watched, options);
        if (exitCode != EXIT_DONE || (watched.controller == nullptr && !watched.remote))
            return exitCode;
    }
    return EXIT_DONE;
}

// Shows the changes until the time is over or the end is requested; the exit code.
int Watch(std::vector<Watched>* all, const Options* options)
{
    const Clock::time_point start = Clock::now();
    View view{ShownScreen(options), !options->json && isatty(STDOUT_FILENO) == 1, 0, false};
    const SingleKeys keys(view.inPlace);
    for (;;) {
        const auto elapsed = std::chrono::duration_cast<milliseconds>(Clock::now() - start);
        if (!WriteOutput(Changes(all, options, &view, elapsed))) {
            if (IsEndRequested())
                return EXIT_DONE;
            return OutputFailed();
        }
        const bool over = options->seconds
            && std::chrono::duration<double>(elapsed).count() >= *options->seconds;
        if (over || WaitForEnd(TICK) || WasKeyPressed(&keys, 'q'))
            return EXIT_DONE;
        if (const int exitCode = GoOnWatching(all, options);
            exitCode != EXIT_DONE || IsEndRequested())
            return exitCode;
    }
}

} // namespace

int RunMonitor(const Options* options)
{
    int exitCode = EXIT_DONE;
    SetHostHandlers({.portReturned = DecideWatchedReturn});
    std::vector<Watched> all;
    for (const std::string& port : options->arguments) {
        all.push_back({port, nullptr, {}, {}, {}, {}, {}, false});
        exitCode = StartWatching(&all.back(), options);
        if (exitCode != EXIT_DONE || (all.back().controller == nullptr && !all.back().remote))
            break;
    }
    if (all.size() == options->arguments.size() && exitCode == EXIT_DONE && !IsEndRequested())
        exitCode = Watch(&all, options);
    std::vector<TouchController*> controllers;
    for (Watched& watched : all) {
        if (watched.remote)
            Disconnect(&watched.remote->runtime);
        if (watched.controller != nullptr)
            controllers.push_back(watched.controller);
    }
    return EndControllers(&controllers, exitCode);
}

} // namespace korvex::command

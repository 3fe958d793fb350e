#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "cli/text_layout.h"
#include "command/subcommands.h"
#include "control/control_client.h"
#include "control/json_line.h"
#include "control/panel_state.h"
#include "input/host_handlers.h"
#include "input/session.h"
#include "machine/port_names.h"
#include "platform/linux/pointer/pixels.h"
#include "platform/linux/x11/monitors.h"
#include "process/exit_codes.h"
#include "process/message.h"
#include "process/options.h"
#include "process/shutdown.h"
#include "process/terminal.h"
#include "runtime/opened_controller.h"
#include "runtime/port_return.h"

namespace korvex::command {

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr milliseconds TICK{100};
constexpr size_t TICKS_PER_SECOND = 10;

// A controller as a line of the table shows it.
struct Sample {
    PanelReading reading;
    uint32_t rate; // reports in the last second

    bool operator==(const Sample&) const = default;
};

struct Watched {
    std::string port;
    TouchController* controller;
    std::unique_ptr<ReturnedPort> returned; // of that controller
    // another process drives the port, or has driven it and ended; there is no controller here
    std::optional<RemotePanel> remote;
    Clock::time_point soughtAt;   // when a runtime was last searched for, after that
    std::deque<uint32_t> reports; // at the last ticks, newest first
    Sample shown;
};

constexpr size_t MAX_PORT_WIDTH = 16;
constexpr double OUTPUT_PARTS = 65536;

using Screen = std::optional<platform::MonitorArea>;

// A line's entry in one column of the table.
struct Cell {
    const char* title;
    size_t width;
    size_t rank; // the columns of the lowest ranks stay on a narrow terminal
    std::string text;
};

// A mapped position in percent of the screen, with a tenth.
double PercentOf(int32_t mapped)
{
    return std::round(mapped * 1000 / OUTPUT_PARTS) / 10;
}

// All columns after the port's, in their order.
std::vector<Cell> CellsOf(const Sample* sample, const Screen& screen)
{
    const PanelReading& reading = sample->reading;
    const Point mapped = reading.mapped;
    std::vector<Cell> cells{
        {"RAW     Y", 9, 3, Formatted("%4d %4d", reading.raw.x, reading.raw.y)},
        {"    %     %", 11, 0, Formatted("%5.1f %5.1f", PercentOf(mapped.x), PercentOf(mapped.y))},
        {"PIXEL   Y", 9, 4,
            screen ? Formatted("%4d %4d", platform::PixelOf(mapped.x, screen->width),
                         platform::PixelOf(mapped.y, screen->height))
                   : "-"},
        {"TOUCH", 5, 1,
            reading.lost           ? "gone"
                : reading.touching ? "down"
                                   : "up"},
        {"RATE", 4, 2, std::to_string(sample->rate)},
    };
    const size_t ranks = cells.size();
    for (const PanelCounter& counter : PANEL_COUNTERS) {
        if (counter.title != nullptr)
            cells.push_back({counter.title, counter.width, ranks + counter.rank,
                std::to_string(reading.counters.*counter.value)});
    }
    return cells;
}

// The columns of the table that fit a width; at 40 still those on touches.
struct Layout {
    size_t portWidth;
    size_t ranks;  // those below this are shown
    Screen screen; // whose pixels are shown
};

Layout LayOut(const std::vector<Watched>* all, const Screen& screen, size_t width)
{
    Layout layout{4, 0, screen};
    for (const Watched& watched : *all)
        layout.portWidth = std::max(layout.portWidth, watched.port.size());
    layout.portWidth = std::min(layout.portWidth, MAX_PORT_WIDTH);
    std::vector<Cell> cells = CellsOf(&all->front().shown, screen);
    std::sort(cells.begin(), cells.end(),
        [](const Cell& one, const Cell& other) { return one.rank < other.rank; });
    size_t used = layout.portWidth;
    for (const Cell& cell : cells) {
        used += 1 + cell.width;
        layout.ranks += used <= width ? 1 : 0;
    }
    return layout;
}

// A line without its end: the titles, or what is shown of one; a longer port name shows its end.
std::string TableLine(const Watched* watched, const Layout* layout, bool isTitle)
{
    const std::string port = isTitle ? "PORT" : watched->port;
    std::string line = port.substr(port.size() - std::min(port.size(), layout->portWidth));
    line.resize(layout->portWidth, ' ');
    for (const Cell& cell : CellsOf(&watched->shown, layout->screen)) {
        const std::string text = isTitle ? cell.title : cell.text;
        if (cell.rank < layout->ranks)
            line += std::string(1 + cell.width - std::min(cell.width, text.size()), ' ') + text;
    }
    return line;
}

PortReturn DecideWatchedReturn(TouchController* controller, ReadResult result, const Packet* report)
{
    return DecidePortReturn(
        static_cast<ReturnedPort*>(controller->handlerData), controller, result, report);
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
    reading.lost = reading.lost || watched->remote->runtime.socket < 0;
    return reading;
}

Sample SampleOf(Watched* watched)
{
    const PanelReading reading = LatestReading(watched);
    const uint32_t rate = RateOf(watched, reading.counters.reports);
    return {reading, reading.lost ? 0 : rate};
}

std::string JsonOf(const Watched* watched, milliseconds time, const Screen& screen)
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
        {{"touching", reading.touching}, {"gone", reading.lost}, {"rate", watched->shown.rate}});
    AddCounters(reading.counters, &line);
    return LineOf(line);
}

// The output so far.
struct View {
    // whose pixels are shown; none: there is no X display
    Screen screen;
    bool inPlace; // on a terminal the table stays where it is
    size_t width; // of that terminal
    bool begun;
};

// The table, drawn over the previous one. After a change of the terminal's size it is drawn below,
// because the previous one was wrapped or cut.
std::string TableInPlace(const std::vector<Watched>* all, View* view)
{
    constexpr size_t USUAL_WIDTH = 80;
    const size_t columnsNow = TerminalColumns();
    const size_t width = columnsNow == 0 ? USUAL_WIDTH : columnsNow;
    const Layout layout = LayOut(all, view->screen, width);
    std::string text; // control sequences as ECMA-48 has them: CUP with ED, CUU, EL
    if (view->begun && width != view->width)
        text = "\x1b[H\x1b[2J";
    else if (view->begun)
        text = "\x1b[" + std::to_string(all->size() + 2) + "A";
    view->width = width;
    text += TableLine(&all->front(), &layout, true) + "\x1b[K\n";
    for (const Watched& watched : *all)
        text += TableLine(&watched, &layout, false) + "\x1b[K\n";
    return text + "q ends it.\x1b[K\n";
}

// The changes as text: on a terminal the whole table, drawn over the previous one, else a line for
// each port that has changed.
std::string Changes(
    std::vector<Watched>* all, const Options* options, View* view, milliseconds time)
{
    const Layout layout = LayOut(all, view->screen, SIZE_MAX);
    const bool isList = !view->inPlace && !options->json;
    std::string text = isList && !view->begun ? TableLine(&all->front(), &layout, true) + "\n" : "";
    for (Watched& watched : *all) {
        const Sample sample = SampleOf(&watched);
        const bool changed = !view->begun || !(sample == watched.shown);
        watched.shown = sample;
        if (changed && options->json)
            text += JsonOf(&watched, time, view->screen);
        else if (changed && isList)
            text += TableLine(&watched, &layout, false) + "\n";
    }
    if (view->inPlace)
        text = TableInPlace(all, view);
    view->begun = true;
    return text;
}

// The monitor that touches on the X display mean.
Screen ShownScreen(const Options* options)
{
    platform::MonitorArea area{};
    return HasDisplay() && platform::MeasureMonitor(nullptr, options->monitor, &area)
        ? std::optional(area)
        : std::nullopt;
}

// Finds the runtime that drives the controller on a port, or drives it here. Not EXIT_DONE, with
// the reason on standard error, if neither works; EXIT_DONE with neither if shutdown was requested.
int StartWatching(Watched* watched, const Options* options)
{
    watched->controller = nullptr;
    watched->reports.clear();
    std::string unasked;
    watched->remote
        = FindDrivenPanel(PathOfPort(options->givenPorts, watched->port), watched->port, &unasked);
    if (watched->remote) {
        Notice({Happening::DRIVEN, watched->remote->state.panel, watched->port},
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
    watched->controller->handlerData = watched->returned.get();
    return StartDriving(options, watched->port, watched->controller);
}

// A runtime that has ended may start again, and the port is its own: the runtime is searched for,
// and the port not opened here.
void FollowRuntime(Watched* watched)
{
    constexpr milliseconds INTERVAL{1000};
    if (watched->remote->runtime.socket >= 0 ? RefreshState(&*watched->remote)
                                             : Clock::now() - watched->soughtAt < INTERVAL)
        return;
    watched->soughtAt = Clock::now();
    if (auto found = FindDrivenPanel(watched->remote->state.path, watched->port); found) {
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
            if (IsShutdownRequested())
                return EXIT_DONE;
            return OutputFailed();
        }
        const bool over = options->seconds
            && std::chrono::duration<double>(elapsed).count() >= *options->seconds;
        if (over || WaitForShutdown(TICK) || WasKeyPressed(&keys, 'q'))
            return EXIT_DONE;
        if (const int exitCode = GoOnWatching(all, options);
            exitCode != EXIT_DONE || IsShutdownRequested())
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
        all.push_back({port, nullptr, {}, {}, {}, {}, {}});
        exitCode = StartWatching(&all.back(), options);
        if (exitCode != EXIT_DONE || (all.back().controller == nullptr && !all.back().remote))
            break;
    }
    if (all.size() == options->arguments.size() && exitCode == EXIT_DONE && !IsShutdownRequested())
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

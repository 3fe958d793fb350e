#include "command/remote_panels.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <thread>
#include <utility>

#include "command/page_words.h"
#include "control/calibration_json.h"
#include "control/json_line.h"
#include "machine/port_names.h"

namespace korvex::command {

namespace {

using std::chrono::steady_clock;

using std::chrono::milliseconds;

constexpr milliseconds SEARCH_INTERVAL{1000};

struct Remote {
    RemotePanel panel;    // as first found; the connection belongs to the window's thread
    std::string title;    // its tty may be gone later
    std::string previous; // until when the calibration was used that an undo brings back
    ControlClient events; // the listener's, once it runs
    steady_clock::time_point searchedAt{};
};

// The panels are filled before the listener starts, and change by their users alone.
struct Remotes {
    std::vector<Remote> panels;
    HWND window;
    std::thread listener;
    int wake = -1; // readable: the listener must end
};

Remotes remotes;

void Post(UINT message, WPARAM panelOrPlace, LPARAM value)
{
    PostMessageW(remotes.window, message, panelOrPlace, value);
}

void PostLoss(size_t panel, PanelLoss loss)
{
    Post(WM_PANEL_LOST, panel, static_cast<LPARAM>(loss));
}

// Has the runtime send what happens on the panel.
bool Listen(Remote* remote, ControlClient&& client)
{
    remote->events = std::move(client);
    const std::optional<Json> answer
        = Ask(&remote->events, {{"do", "listen"}, {"panel", remote->panel.state.path}});
    if (answer && !answer->contains("error"))
        return true;
    Disconnect(&remote->events);
    return false;
}

// Finds the process that drives the panel now, once a second. If the process or the controller has
// changed, the calibration takes it for a new panel.
void FindAgain(size_t panel)
{
    Remote* remote = &remotes.panels[panel];
    if (steady_clock::now() - remote->searchedAt < SEARCH_INTERVAL)
        return;
    remote->searchedAt = steady_clock::now();
    std::optional<RemotePanel> found
        = FindDrivenPanel(remote->panel.state.path, remote->panel.state.panel);
    if (!found)
        return;
    if (Listen(remote, std::move(found->runtime)))
        Post(WM_PANEL_CAME, panel, static_cast<LPARAM>(found->state.resolutionBits));
    if (found->state.reading.lost)
        PostLoss(panel, PanelLoss::PORT);
}

std::optional<Point> PositionIn(const Json& event, const char* key)
{
    return event.is_object() && event.contains(key) ? PointFrom(event.at(key)) : std::nullopt;
}

void HandleEvent(size_t panel, const Json& event)
{
    const std::string kind = TextIn(event, "event");
    const std::optional<Point> raw = PositionIn(event, "raw");
    const std::optional<Point> mapped = PositionIn(event, "mapped");
    if (kind == "touch" && raw && mapped)
        Post(WM_PANEL_TOUCH, PackPlace(static_cast<uint32_t>(panel), *mapped),
            PackTouch(*raw, event.contains("touching") && event["touching"] == true));
    else if (kind == "gone" || kind == "ended")
        PostLoss(panel, PanelLoss::PORT);
    else if (kind == "back")
        Post(WM_PANEL_RETURNED, panel, 0);
    else if (kind == "began")
        Disconnect(&remotes.panels[panel].events); // FindAgain asks what is driven now
}

void ListenToAll()
{
    for (;;) {
        std::vector<pollfd> polled{{remotes.wake, POLLIN, 0}};
        for (size_t panel = 0; panel < remotes.panels.size(); ++panel) {
            while (const std::optional<std::string> line = PopLine(&remotes.panels[panel].events))
                HandleEvent(panel, ParseAnswer(*line));
            // poll passes -1 over
            polled.push_back({remotes.panels[panel].events.socket, POLLIN, 0});
        }
        const bool missing = std::any_of(
            polled.begin(), polled.end(), [](const pollfd& one) { return one.fd < 0; });
        poll(
            polled.data(), polled.size(), missing ? static_cast<int>(SEARCH_INTERVAL.count()) : -1);
        if (polled[0].revents != 0)
            return;
        for (size_t panel = 0; panel < remotes.panels.size(); ++panel) {
            if (polled[panel + 1].revents != 0 && !Receive(&remotes.panels[panel].events))
                PostLoss(panel, PanelLoss::RUNTIME);
            else if (remotes.panels[panel].events.socket < 0)
                FindAgain(panel);
        }
    }
}

void Begin(HWND window)
{
    remotes.window = window;
    remotes.wake = eventfd(0, EFD_CLOEXEC);
    for (size_t panel = 0; panel < remotes.panels.size(); ++panel)
        FindAgain(panel);
    Post(WM_SEARCH_DONE, 0, 0); // runtimes that have ended since then may come back
    remotes.listener = std::thread(ListenToAll);
}

void End()
{
    eventfd_write(remotes.wake, 1);
    remotes.listener.join();
    close(std::exchange(remotes.wake, -1));
    for (Remote& remote : remotes.panels) {
        Disconnect(&remote.events);
        Disconnect(&remote.panel.runtime);
    }
}

// Asks the runtime, over a new connection if the previous one has ended. If nothing answers in
// time, the request may still take effect: an answer with "error" says so.
Json AskFor(Remote* remote, Json request, milliseconds limit = ANSWER_LIMIT)
{
    request["panel"] = remote->panel.state.path;
    const auto asked = steady_clock::now();
    std::optional<Json> answer = Ask(&remote->panel.runtime, request, limit);
    if (!answer && steady_clock::now() - asked < limit) {
        if (std::optional<RemotePanel> found
            = FindDrivenPanel(remote->panel.state.path, remote->panel.state.panel);
            found)
            remote->panel.runtime = std::move(found->runtime);
        answer = Ask(&remote->panel.runtime, request, limit);
    }
    return answer.value_or(Json{
        {"error", "The runtime does not answer; it may do what it was asked for all the same."}});
}

Json PointsOf(const CalibrationData* points)
{
    return {{"points", CalibrationJson(points)["points"]}};
}

void Describe(uint32_t panel, SourceText* text)
{
    SetWords(text, remotes.panels[panel].title);
}

void DescribeFile(uint32_t panel, PanelFile* file)
{
    const Json answer = AskFor(&remotes.panels[panel], {{"do", "calibration"}});
    const std::string other = TextIn(answer, "otherPanel");
    SetWords(&file->path, TextIn(answer, "file"));
    SetWords(&file->other, other);
    const bool isKept = answer.contains("previous") && answer["previous"].is_array()
        && !answer["previous"].empty() && other.empty();
    remotes.panels[panel].previous = isKept ? TextIn(answer["previous"][0], "until") : "";
    SetWords(&file->previous, remotes.panels[panel].previous);
}

void ExplainNoneFound(SourceText* text)
{
    SetWords(text, "The runtime that drove it has ended.");
}

// The calibration has judged the points, and a person has seen what is wrong with them: so "force".
void TryPoints(uint32_t panel, const CalibrationData* points)
{
    AskFor(&remotes.panels[panel],
        {{"do", "try"}, {"calibration", PointsOf(points)}, {"force", true}});
}

void Revert(uint32_t panel)
{
    AskFor(&remotes.panels[panel], {{"do", "takeBack"}});
}

bool Save(uint32_t panel, const CalibrationData* points, SourceText* reason)
{
    const Json answer = AskFor(&remotes.panels[panel],
        {{"do", "store"}, {"calibration", PointsOf(points)}, {"force", true}}, STORE_LIMIT);
    SetWords(reason, TextIn(answer, "error"));
    return answer.contains("stored") && answer["stored"] == true;
}

bool Undo(uint32_t panel, SourceText* reason)
{
    // The request is repeated where a connection breaks: "until" keeps it from undoing two saves.
    Remote* remote = &remotes.panels[panel];
    const Json answer = AskFor(remote, {{"do", "undo"}, {"until", remote->previous}}, STORE_LIMIT);
    SetWords(reason, TextIn(answer, "error"));
    return answer.contains("undone") && answer["undone"] == true;
}

} // namespace

PanelSource UseRemotePanels(std::vector<RemotePanel> panels)
{
    panels.resize(std::min<size_t>(panels.size(), MAX_PANELS));
    for (RemotePanel& panel : panels) {
        const std::string title = PanelTitle(panel.state.path) + ", " + panel.state.controller;
        remotes.panels.push_back({std::move(panel), title, "", {}, {}});
    }
    return {Begin, nullptr, End, Describe, DescribeFile, ExplainNoneFound, TryPoints, Revert, Save,
        Undo};
}

} // namespace korvex::command

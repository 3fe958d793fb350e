#include "command/remote_panels.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <thread>
#include <utility>

#include "command/page_words.h"
#include "control/json_line.h"
#include "machine/port_names.h"
#include "support/bounded_text.h"

namespace korvex::command {

namespace {

using std::chrono::steady_clock;

using std::chrono::milliseconds;

constexpr milliseconds SEARCH_INTERVAL{1000};
constexpr milliseconds STORE_LIMIT{15000}; // a slow disk

struct Remote {
    std::string name;        // "left", or the name of its tty
    std::string path;        // of its port, as the runtime has opened it
    std::string description; // for people
    std::string previous;    // until when the calibration was used that an undo brings back
    uint32_t resolutionBits;
    ControlClient requests; // the window thread's
    ControlClient events;   // the listener's, once it runs
    steady_clock::time_point searchedAt{};
};

// The panels are filled before the listener starts, and change by their users alone.
struct Remotes {
    std::vector<Remote> panels;
    HWND window;
    std::thread listener;
    int wake = -1; // readable: the listener is to end
};

Remotes remotes;

void Post(UINT message, size_t panel, LPARAM value)
{
    PostMessageW(remotes.window, message, panel, value);
}

void PostLoss(size_t panel, PanelLoss loss)
{
    Post(WM_PANEL_GONE, panel, static_cast<LPARAM>(loss));
}

// Has the runtime send what happens on the panel.
bool Listen(Remote* remote, ControlClient&& client)
{
    remote->events = std::move(client);
    const std::optional<Json> answer
        = Ask(&remote->events, {{"do", "listen"}, {"panel", remote->path}});
    if (answer && !answer->contains("error"))
        return true;
    Disconnect(&remote->events);
    return false;
}

// Finds the process that drives the panel now, once a second. Where the process or the controller
// has changed, the calibration takes it for a new panel.
void FindAgain(size_t panel)
{
    Remote* remote = &remotes.panels[panel];
    if (steady_clock::now() - remote->searchedAt < SEARCH_INTERVAL)
        return;
    remote->searchedAt = steady_clock::now();
    std::optional<RemotePanel> found = FindRuntime(remote->path, remote->name);
    if (!found)
        return;
    remote->resolutionBits = found->state.resolutionBits;
    if (Listen(remote, std::move(found->runtime)))
        Post(WM_PANEL_CAME, panel, static_cast<LPARAM>(remote->resolutionBits));
    if (found->state.reading.gone)
        PostLoss(panel, PanelLoss::PORT);
}

std::optional<Point> PositionIn(const Json& event, const char* key)
{
    return event.is_object() && event.contains(key) ? PointFrom(event.at(key)) : std::nullopt;
}

void TakeEvent(size_t panel, const Json& event)
{
    const std::string kind = TextIn(event, "event");
    const std::optional<Point> raw = PositionIn(event, "raw");
    const std::optional<Point> mapped = PositionIn(event, "mapped");
    if (kind == "touch" && raw && mapped)
        PostMessageW(remotes.window, WM_PANEL_TOUCH,
            PackPlace(static_cast<uint32_t>(panel), *mapped),
            PackTouch(*raw, event.contains("touching") && event["touching"] == true));
    else if (kind == "gone" || kind == "ended")
        PostLoss(panel, PanelLoss::PORT);
    else if (kind == "back")
        Post(WM_PANEL_BACK, panel, 0);
    else if (kind == "began")
        Disconnect(&remotes.panels[panel].events); // FindAgain asks what is driven now
}

// Takes what has come; the connection is closed when the runtime has ended it.
void Receive(size_t panel)
{
    Remote* remote = &remotes.panels[panel];
    std::array<char, 4096> bytes{};
    const ssize_t count = recv(remote->events.socket, bytes.data(), bytes.size(), 0);
    if (count <= 0) {
        Disconnect(&remote->events);
        PostLoss(panel, PanelLoss::RUNTIME);
        return;
    }
    remote->events.received.append(bytes.data(), static_cast<size_t>(count));
}

void TakeLines(size_t panel)
{
    ControlClient* events = &remotes.panels[panel].events;
    for (size_t end = events->received.find('\n'); end != std::string::npos;
        end = events->received.find('\n')) {
        const std::string line = events->received.substr(0, end);
        events->received.erase(0, end + 1);
        TakeEvent(panel, ParseAnswer(line));
    }
}

void ListenToAll()
{
    for (;;) {
        std::vector<pollfd> polled{{remotes.wake, POLLIN, 0}};
        for (size_t panel = 0; panel < remotes.panels.size(); ++panel) {
            TakeLines(panel);
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
            if (polled[panel + 1].revents != 0)
                Receive(panel);
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
    Post(WM_SEARCH_DONE, 0, 0); // those that have ended meanwhile may come back
    remotes.listener = std::thread(ListenToAll);
}

void End()
{
    eventfd_write(remotes.wake, 1);
    remotes.listener.join();
    close(std::exchange(remotes.wake, -1));
    for (Remote& remote : remotes.panels) {
        Disconnect(&remote.events);
        Disconnect(&remote.requests);
    }
}

// Asks the runtime, over a new connection where the previous one has ended. Where nothing answers
// in time, the request may take effect all the same: an answer with "error" says so.
Json AskFor(Remote* remote, Json request, milliseconds limit = ANSWER_LIMIT)
{
    request["panel"] = remote->path;
    const auto asked = steady_clock::now();
    std::optional<Json> answer = Ask(&remote->requests, request, limit);
    if (!answer && steady_clock::now() - asked < limit) {
        if (std::optional<RemotePanel> found = FindRuntime(remote->path, remote->name); found)
            remote->requests = std::move(found->runtime);
        answer = Ask(&remote->requests, request, limit);
    }
    return answer.value_or(Json{
        {"error", "The runtime does not answer; it may do what it was asked for all the same."}});
}

Json PointsOf(const CalibrationData* points)
{
    Json list = Json::array();
    for (uint32_t i = 0; i < points->pointCount; ++i)
        list.push_back({points->advPoints[i].x, points->advPoints[i].y});
    return {{"points", list}};
}

void Describe(uint32_t panel, WCHAR* text, size_t capacity)
{
    SetWords(text, capacity, remotes.panels[panel].description);
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

void ExplainNobody(WCHAR* text, size_t capacity)
{
    CopyBounded(text, capacity, u"The runtime that drove it has ended.");
}

// The calibration has judged the points, and a person has seen what is wrong with them: so "force".
void Attempt(uint32_t panel, const CalibrationData* points)
{
    AskFor(&remotes.panels[panel],
        {{"do", "try"}, {"calibration", PointsOf(points)}, {"force", true}});
}

void TakeBack(uint32_t panel)
{
    AskFor(&remotes.panels[panel], {{"do", "takeBack"}});
}

bool Store(uint32_t panel, const CalibrationData* points, WCHAR* reason, size_t capacity)
{
    const Json answer = AskFor(&remotes.panels[panel],
        {{"do", "store"}, {"calibration", PointsOf(points)}, {"force", true}}, STORE_LIMIT);
    SetWords(reason, capacity, TextIn(answer, "error"));
    return answer.contains("stored") && answer["stored"] == true;
}

bool Undo(uint32_t panel, WCHAR* reason, size_t capacity)
{
    // The request is repeated where a connection breaks: "until" keeps it from undoing two saves.
    Remote* remote = &remotes.panels[panel];
    const Json answer = AskFor(remote, {{"do", "undo"}, {"until", remote->previous}}, STORE_LIMIT);
    SetWords(reason, capacity, TextIn(answer, "error"));
    return answer.contains("undone") && answer["undone"] == true;
}

} // namespace

PanelSource UseRemotePanels(std::vector<RemotePanel> panels)
{
    panels.resize(std::min<size_t>(panels.size(), MAX_PANELS));
    for (RemotePanel& panel : panels) {
        const PanelState& state = panel.state;
        remotes.panels.push_back(
            {state.panel, state.path, PanelTitle(state.path) + ", " + state.controller, "",
                state.resolutionBits, std::move(panel.runtime), {}, {}});
    }
    return {Begin, End, Describe, DescribeFile, ExplainNobody, Attempt, TakeBack, Store, Undo};
}

} // namespace korvex::command

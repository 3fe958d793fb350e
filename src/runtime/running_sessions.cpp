#include "runtime/running_sessions.h"

#include <sys/eventfd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <deque>
#include <map>
#include <mutex>
#include <utility>

#include "calibration/mapping.h"
#include "cli/text_layout.h"
#include "console/rest_noise.h"
#include "input/pointer_injection.h"
#include "machine/port_names.h"
#include "machine/port_state.h"
#include "platform/linux/machine.h"
#include "platform/linux/pointer/smoothing.h"
#include "platform/linux/serial/serial_port.h"
#include "process/message.h"
#include "process/service_manager.h"
#include "runtime/calibration_fault.h"
#include "runtime/port_return.h"
#include "runtime/settings_state.h"

namespace korvex::command {

namespace {

using std::chrono::steady_clock;
using std::chrono::system_clock;

constexpr size_t MAX_EVENTS = 512; // more than a second of a line that is full of reports
constexpr std::chrono::seconds NOISE_PERIOD{60};
constexpr uint32_t MIN_PACKETS = 100; // a share of fewer says nothing
constexpr uint32_t NOISY_SHARE = 100; // one of so many packets rejected
// of rejected packets alone, after which a touch is released, and how far apart these may come
constexpr std::chrono::seconds NOISE_LIMIT{2};
constexpr std::chrono::seconds NOISE_GAP{1};

// The packets of the last minute, judged when some come.
struct NoiseWatch {
    struct Mark {
        steady_clock::time_point time;
        uint32_t reports; // counters at that time
        uint32_t rejected;
    };
    std::deque<Mark> marks;         // a second apart
    steady_clock::time_point alone; // since when there have been rejected packets alone
    steady_clock::time_point last;  // rejected packet; the epoch: a valid one has come since
};

// One for each port that a session has run on. A later session on the port takes its place: the
// port is free only when its reader has ended.
struct Entry {
    PanelState state{};               // what lasts as long as the session
    std::string title;                // panel and port, for people
    std::atomic<uint32_t> losses = 0; // of the port, in this process
    std::atomic<uint32_t> returns = 0;
    TouchController* controller = nullptr; // null once the session is asked to stop
    std::atomic<int64_t> lastTouchMs = 0;  // since the epoch
    std::atomic<uint32_t> sequence = 0;
    std::atomic<bool> noisy = false; // too many of the last minute's packets were rejected
    NoiseWatch noise;                // the reader's own, as are the next ones
    ReturnedPort returned{};
    RestNoise restNoise{};
};

struct Sessions {
    std::mutex mutex; // guards the entries and what they say of a session
    std::map<std::string, Entry> entries;
    std::map<std::string, PendingPanel> pending; // by path
    bool sharingTold = false;
    std::string notice; // for the first session's start; empty: none, or reported

    std::atomic<bool> listening = false;
    std::mutex eventsMutex; // guards the rest
    int descriptor = -1;
    std::deque<PanelEvent> events;
};

Sessions* AllSessions()
{
    static auto* sessions = new Sessions; // readers may outlive what an exit tears down
    return sessions;
}

int64_t MillisecondsOf(system_clock::time_point time)
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(time.time_since_epoch()).count();
}

Entry* EntryOf(TouchController* controller)
{
    return static_cast<Entry*>(controller->handlerData);
}

PanelSubject SubjectOf(const Entry* entry, Happening happening)
{
    return {happening, entry->state.panel, entry->title};
}

// The file that the session's calibration was loaded from; empty: the controller's own memory, and
// if there is a file all the same, the journal says why it is not used.
std::string LoadedFrom(const TouchController* controller, const std::string& opened)
{
    std::string path = SettingsFilePath();
    if (controller->hasFileCalibration == 1)
        return path;
    const std::string fault = SettingsFault();
    struct stat status{};
    if (path.empty() || lstat(path.c_str(), &status) == 0)
        Warning(PanelSubjectOf(opened, Happening::SETTINGS),
            (fault.empty() ? "'" + path + "' was not used" : fault)
                + "; the calibration in the controller's own memory is");
    return {};
}

// Says once that panels share their calibration.
void ReportSharing(Sessions* sessions)
{
    size_t running = 0;
    for (const auto& [path, entry] : sessions->entries)
        running += entry.controller != nullptr ? 1 : 0;
    if (running < 2 || std::exchange(sessions->sharingTold, true))
        return;
    Warning("more than one controller is driven with the calibration in '" + SettingsFilePath()
        + "'; 'korvex drive' in a folder of its own gives each panel one of its own");
}

PanelState Describe(const TouchController* controller)
{
    PanelState state{};
    state.path = platform::OpenedPathOf(controller->link.handle);
    state.panel = PanelNameOf(state.path);
    state.tty = TtyOf(state.path);
    state.model = ModelText(controller->model);
    state.firmware
        = Formatted("%u.%u.%u", controller->fwMajor, controller->fwMinor, controller->fwBuild);
    state.controller = DescriptionOf(controller);
    state.resolutionBits = static_cast<uint32_t>(controller->resolutionBits);
    state.baudRate = controller->link.baudRate;
    state.since = system_clock::now();
    const platform::SmoothingLevel* smoothing = platform::ThisMachine()->touches.smoothing;
    state.smooth = smoothing == nullptr ? "off" : smoothing->name;
    return state;
}

void AddEvent(PanelEvent event)
{
    Sessions* sessions = AllSessions();
    const std::lock_guard guard(sessions->eventsMutex);
    if (sessions->descriptor < 0)
        return;
    if (sessions->events.size() == MAX_EVENTS)
        sessions->events.pop_front();
    sessions->events.push_back(std::move(event));
    eventfd_write(sessions->descriptor, 1);
}

void Start(TouchController* controller)
{
    PanelState state = Describe(controller);
    const std::string title = PanelTitle(state.path);
    state.calibration.file = LoadedFrom(controller, state.path);
    Sessions* sessions = AllSessions();
    const std::lock_guard guard(sessions->mutex);
    Entry* entry = &sessions->entries[state.path];
    entry->state = state;
    entry->title = title;
    entry->controller = controller;
    entry->lastTouchMs = 0;
    entry->sequence = 0;
    entry->noise = {};
    entry->noisy = false;
    entry->returned = {};
    entry->restNoise.deviation = 0;
    entry->restNoise.known = entry->restNoise.count = 0;
    controller->handlerData = entry;
    sessions->pending.erase(state.path);
    ReportSharing(sessions);
    if (const std::string notice = std::exchange(sessions->notice, ""); !notice.empty())
        Notice(notice);
    if (sessions->listening)
        AddEvent({PanelEvent::Kind::STARTED, state.panel, state.path, 0, {}, {}, false});
}

void AddTouchEvent(TouchController* controller, Entry* entry, uint32_t sequence)
{
    const PanelReading reading = ReadingOf(controller);
    AddEvent({PanelEvent::Kind::TOUCH, entry->state.panel, entry->state.path, sequence, reading.raw,
        reading.mapped, reading.touching});
}

void JudgeNoise(TouchController* controller, Entry* entry)
{
    NoiseWatch* noise = &entry->noise;
    const steady_clock::time_point now = steady_clock::now();
    const NoiseWatch::Mark mark{
        now, controller->counters.reports, controller->counters.rejectedPackets};
    if (noise->marks.empty())
        noise->marks.push_back({now, 0, 0});
    while (noise->marks.size() > 1 && now - noise->marks[1].time >= NOISE_PERIOD)
        noise->marks.pop_front();
    const uint32_t rejected = mark.rejected - noise->marks.front().rejected;
    const uint32_t packets = mark.reports - noise->marks.front().reports + rejected;
    const bool noisy = uint64_t{rejected} * NOISY_SHARE > packets;
    if (packets >= MIN_PACKETS && noisy != entry->noisy) {
        entry->noisy = noisy;
        const std::string share = std::to_string(rejected) + " of the last minute's "
            + std::to_string(packets) + " packets were rejected";
        if (noisy)
            Warning(SubjectOf(entry, Happening::NOISY),
                share + "; check cable, grounding and what else is on the line");
        else
            Notice(SubjectOf(entry, Happening::QUIET), share + ": the line is good again");
    }
    if (now - noise->marks.back().time >= std::chrono::seconds(1))
        noise->marks.push_back(mark);
}

// Releases a touch that only noise has followed for long: its report may have been noise that was
// valid by chance. True when there was one.
bool ReleaseForNoise(TouchController* controller, NoiseWatch* noise)
{
    const steady_clock::time_point now = steady_clock::now();
    if (now - noise->last > NOISE_GAP)
        noise->alone = now;
    noise->last = now;
    return now - noise->alone >= NOISE_LIMIT && ReleaseContact(controller);
}

void HandleTouch(TouchController* controller, Entry* entry)
{
    entry->lastTouchMs = MillisecondsOf(system_clock::now());
    const uint32_t sequence = ++entry->sequence;
    if (AllSessions()->listening)
        AddTouchEvent(controller, entry, sequence);
    entry->noise.last = {};
    JudgeNoise(controller, entry);
    AddTouchToRestNoise(&entry->restNoise, controller);
}

// Nobody gets at the controller from here on.
void Close(Entry* entry)
{
    const std::lock_guard guard(AllSessions()->mutex);
    entry->controller = nullptr;
}

void End(Entry* entry)
{
    Close(entry);
    if (AllSessions()->listening)
        AddEvent({PanelEvent::Kind::ENDED, entry->state.panel, entry->state.path, entry->sequence,
            {}, {}, false});
}

void ChangePort(Entry* entry, bool gone)
{
    Sessions* sessions = AllSessions();
    if (!gone) { // it may be under another number
        const std::lock_guard guard(sessions->mutex);
        entry->state.tty = TtyOf(entry->state.path);
        entry->title = PanelTitle(entry->state.path);
    }
    ++(gone ? entry->losses : entry->returns);
    if (gone)
        Warning(SubjectOf(entry, Happening::LOST), "the port has gone");
    else
        Notice(SubjectOf(entry, Happening::RETURNED), "the port is back");
    NotifyServiceManager(
        "STATUS=" + entry->title + ": " + (gone ? "the port has gone" : entry->state.controller));
    if (sessions->listening)
        AddEvent({gone ? PanelEvent::Kind::GONE : PanelEvent::Kind::BACK, entry->state.panel,
            entry->state.path, entry->sequence, {}, {}, false});
}

// The entry of a session that runs, else null. Under the lock.
Entry* FindRunning(const SessionKey& key)
{
    const auto found = AllSessions()->entries.find(key.path);
    const bool runs = found != AllSessions()->entries.end() && found->second.controller != nullptr
        && found->second.state.since == key.since;
    return runs ? &found->second : nullptr;
}

RunningSession Snapshot(Entry* entry)
{
    RunningSession session{entry->state, CopyCalibration(entry->controller)};
    PanelState* state = &session.state;
    state->lastTouch = system_clock::time_point(std::chrono::milliseconds(entry->lastTouchMs));
    state->noisy = entry->noisy;
    state->restNoise = entry->restNoise.deviation;
    state->losses = entry->losses;
    state->returns = entry->returns;
    state->reading = ReadingOf(entry->controller);
    state->calibration.hasPoints = MapsByPoints(&session.calibration);
    state->calibration.points = session.calibration.pointCount;
    state->calibration.residual = WorstResidual(&session.calibration, session.state.resolutionBits);
    return session;
}

} // namespace

void HandleSessionEvent(TouchController* controller, SessionEvent event)
{
    if (event == SessionEvent::STARTED) {
        Start(controller);
        return;
    }
    Entry* entry = EntryOf(controller);
    if (entry == nullptr)
        return;
    switch (event) {
    case SessionEvent::TOUCHED:
        HandleTouch(controller, entry);
        break;
    case SessionEvent::REJECTED:
        if (ReleaseForNoise(controller, &entry->noise))
            HandleTouch(controller, entry);
        JudgeNoise(controller, entry);
        break;
    case SessionEvent::PORT_LOST:
    case SessionEvent::PORT_RETURNED:
        ChangePort(entry, event == SessionEvent::PORT_LOST);
        break;
    case SessionEvent::ENDED:
        End(entry);
        break;
    default:
        Close(entry);
        break;
    }
}

PortReturn HandlePortReturn(TouchController* controller, ReadResult result, const Packet* report)
{
    Entry* entry = EntryOf(controller);
    if (entry == nullptr)
        return PortReturn::UNANSWERED;
    const PortReturn decision = DecidePortReturn(&entry->returned, controller, result, report);
    if (decision == PortReturn::REPLACED)
        Warning(PanelSubjectOf(entry->state.path, Happening::REPLACED),
            "another controller answers there");
    return decision;
}

std::vector<RunningSession> RunningSessions()
{
    Sessions* sessions = AllSessions();
    std::vector<RunningSession> running;
    const std::lock_guard guard(sessions->mutex);
    for (auto& [path, entry] : sessions->entries) {
        if (entry.controller != nullptr)
            running.push_back(Snapshot(&entry));
    }
    return running;
}

void NoticeAtFirstSession(const std::string& text)
{
    const std::lock_guard guard(AllSessions()->mutex);
    AllSessions()->notice = text;
}

void NotePending(const std::string& path, const std::string& reason)
{
    const PendingPanel pending{PanelNameOf(path), path, reason};
    Sessions* sessions = AllSessions();
    const std::lock_guard guard(sessions->mutex);
    if (reason.empty())
        sessions->pending.erase(path);
    else
        sessions->pending[path] = pending;
}

std::vector<PendingPanel> PendingPanels()
{
    Sessions* sessions = AllSessions();
    const std::lock_guard guard(sessions->mutex);
    std::vector<PendingPanel> pending;
    for (const auto& [path, panel] : sessions->pending)
        pending.push_back(panel);
    return pending;
}

SessionKey KeyOf(const RunningSession* session)
{
    return {session->state.path, session->state.since};
}

bool UseSession(const SessionKey& key, const std::function<void(TouchController*)>& use)
{
    const std::lock_guard guard(AllSessions()->mutex);
    const Entry* entry = FindRunning(key);
    if (entry != nullptr)
        use(entry->controller);
    return entry != nullptr;
}

void NoteCalibrationChange(const SessionKey& key, const CalibrationChange& change)
{
    Sessions* sessions = AllSessions();
    const PanelSubject subject = PanelSubjectOf(key.path, Happening::CALIBRATED);
    {
        const std::lock_guard guard(sessions->mutex);
        if (Entry* entry = FindRunning(key); entry != nullptr)
            entry->state.calibration.file = change.file;
    }
    Notice(subject,
        (change.change == std::string_view("stored")
                ? "the calibration has changed, and is stored in '"
                : "the last save of a calibration is undone in '")
            + change.file + "', by process " + std::to_string(change.process) + " of "
            + change.user);
    if (sessions->listening)
        AddEvent({PanelEvent::Kind::CALIBRATED, subject.panel, key.path, 0, {}, {}, false, change});
}

void ListenToSessions(int descriptor)
{
    Sessions* sessions = AllSessions();
    const std::lock_guard guard(sessions->eventsMutex);
    sessions->descriptor = descriptor;
    sessions->listening = descriptor >= 0;
    sessions->events.clear();
}

std::vector<PanelEvent> PopPanelEvents()
{
    Sessions* sessions = AllSessions();
    const std::lock_guard guard(sessions->eventsMutex);
    std::vector<PanelEvent> events(std::make_move_iterator(sessions->events.begin()),
        std::make_move_iterator(sessions->events.end()));
    sessions->events.clear();
    return events;
}

std::string DescriptionOf(const TouchController* controller)
{
    return Formatted("controller %X, firmware %u.%u.%u, %u bits, %u baud", controller->model,
        controller->fwMajor, controller->fwMinor, controller->fwBuild, controller->resolutionBits,
        controller->link.baudRate);
}

} // namespace korvex::command

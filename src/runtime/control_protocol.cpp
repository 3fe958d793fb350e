#include "runtime/control_protocol.h"

#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>

#include "calibration/calibration.h"
#include "calibration/settings_file.h"
#include "control/calibration_json.h"
#include "control/control_address.h"
#include "control/json_line.h"
#include "machine/port_names.h"
#include "process/message.h"
#include "runtime/calibration_fault.h"
#include "runtime/calibration_history.h"
#include "runtime/settings_state.h"

namespace korvex::command {

namespace {

// The client that is trying a calibration, by session; used by the control thread alone.
std::map<SessionKey, Conversation*> triedSessions;

Json StateReply(const RunningSession* session)
{
    PanelState state = session->state;
    state.calibration.changed = TimeOfChange(state.calibration.file);
    state.calibration.tried = triedSessions.contains(KeyOf(session));
    return ToJson(state);
}

Json ErrorReply(const std::string& text)
{
    return {{"error", text}};
}

// Reads what a request says of a calibration over what holds; empty, or what is wrong with it.
std::string ReadCalibration(const Json& request, CalibrationData* calib)
{
    const auto found = request.find("calibration");
    return found == request.end() || !found->is_object() ? "'calibration' is missing"
                                                         : ParseCalibration(*found, calib);
}

// The panel that a request means: one that it names in any way, or the only one.
std::optional<RunningSession> SessionOf(const Json& request, std::string* fault)
{
    const std::vector<RunningSession> sessions = RunningSessions();
    if (request.contains("panel") && !request["panel"].is_string()) {
        *fault = "'panel' is no text";
        return std::nullopt;
    }
    const std::string name = request.value("panel", "");
    const std::string path = PathOfPort({}, name);
    if (name.empty() && sessions.size() == 1)
        return sessions.front();
    for (const RunningSession& session : sessions) {
        if (name == session.state.panel || name == session.state.tty
            || (!name.empty() && IsSamePort(path, session.state.path)))
            return session;
    }
    *fault = name.empty() ? "'panel' is missing, and there is not just one"
                          : "there is no panel '" + name + "'";
    return std::nullopt;
}

void Revert(const SessionKey& key, Conversation* conversation)
{
    const auto tried = conversation->tried.find(key);
    if (tried == conversation->tried.end())
        return;
    UseSession(key,
        [tried](TouchController* controller) { InstallCalibration(controller, &tried->second); });
    triedSessions.erase(key);
    conversation->tried.erase(tried);
}

Json DoStatus(
    const Json& /*request*/, const RunningSession* /*session*/, Conversation* /*conversation*/)
{
    Json panels = Json::array();
    for (const RunningSession& session : RunningSessions())
        panels.push_back(StateReply(&session));
    Json awaited = Json::array();
    for (const PendingPanel& panel : PendingPanels())
        awaited.push_back(ToJson(panel));
    return {{"process", getpid()}, {"panels", panels}, {"awaited", awaited}};
}

Json DoListen(const Json& request, const RunningSession* session, Conversation* conversation)
{
    conversation->listens = true;
    conversation->listensTo = request.contains("panel") ? session->state.path : "";
    return Json::object();
}

Json DoSilence(
    const Json& /*request*/, const RunningSession* /*session*/, Conversation* conversation)
{
    conversation->listens = false;
    return Json::object();
}

// The panel whose calibration a store for the session's panel would replace; empty: none. If that
// is not known, all panels of the runtime use the file.
std::string ReplacedPanel(const RunningSession* session, const CalibrationHistory* history)
{
    const std::vector<RunningSession> sessions = RunningSessions();
    const auto other
        = std::find_if(sessions.begin(), sessions.end(), [session](const RunningSession& running) {
              return running.state.path != session->state.path
                  && !running.state.calibration.file.empty();
          });
    return history->port.empty() && other != sessions.end()
        ? PanelTitle(other->state.path)
        : OtherPanelOf(history, session->state.path);
}

Json DoRead(const Json& /*request*/, const RunningSession* session, Conversation* /*conversation*/)
{
    const CalibrationHistory history = ReadCalibrationHistory();
    return {{"panel", session->state.panel},
        {"calibration", CalibrationJson(&session->calibration)}, {"file", SettingsFilePath()},
        {"savingFault", SettingsFault()}, {"otherPanel", ReplacedPanel(session, &history)},
        {"previous", history.previous}};
}

// Whether another client's try stands against this one's. Root ends that of other users.
bool IsTriedByAnother(const SessionKey& key, const Conversation* conversation)
{
    const auto found = triedSessions.find(key);
    if (found == triedSessions.end() || found->second == conversation)
        return false;
    const bool yields = conversation->user == 0 && found->second->user != 0;
    if (yields)
        Revert(key, found->second);
    return !yields;
}

constexpr const char* TRIED_BY_ANOTHER = "another client is trying a calibration of this panel";
constexpr const char* HAS_ENDED = "the session has ended";

// Why a calibration is not taken; empty if it is, or where its client insists.
std::string RefusalOf(
    const Json& request, const CalibrationData* calib, const TouchController* controller)
{
    const auto force = request.find("force");
    if (force != request.end() && force->is_boolean() && force->get<bool>())
        return "";
    const std::string fault = CalibrationFault(calib, controller->resolutionBits);
    return fault.empty() ? "" : fault + "; with \"force\":true it is taken all the same";
}

Json DoTry(const Json& request, const RunningSession* session, Conversation* conversation)
{
    const SessionKey key = KeyOf(session);
    if (IsTriedByAnother(key, conversation))
        return ErrorReply(TRIED_BY_ANOTHER);
    CalibrationData wanted = session->calibration;
    if (const std::string fault = ReadCalibration(request, &wanted); !fault.empty())
        return ErrorReply(fault);
    std::string fault;
    const bool used = UseSession(key, [&](TouchController* controller) {
        const CalibrationData merged = MergeCalibration(controller, &wanted);
        fault = RefusalOf(request, &merged, controller);
        if (!fault.empty())
            return;
        conversation->tried.try_emplace(key, CopyCalibration(controller));
        triedSessions[key] = conversation;
        InstallCalibration(controller, &merged);
    });
    if (!fault.empty())
        return ErrorReply(fault);
    return used ? Json::object() : ErrorReply(HAS_ENDED);
}

Json DoTakeBack(const Json& /*request*/, const RunningSession* session, Conversation* conversation)
{
    const SessionKey key = KeyOf(session);
    const auto found = triedSessions.find(key);
    if (found != triedSessions.end() && (found->second == conversation || conversation->user == 0))
        Revert(key, found->second);
    return Json::object();
}

std::string UserName(unsigned id)
{
    const passwd* user = getpwuid(id); // on the control thread alone
    return user == nullptr ? "user " + std::to_string(id) : user->pw_name;
}

// Has the file's calibration map from now on, whatever was tried. `change` is what was done to the
// file: "stored" or "undone".
void UseCalibration(const SessionKey& key, const CalibrationData* saved, const char* change,
    Conversation* conversation)
{
    UseSession(key, [saved](TouchController* controller) {
        const CalibrationData merged = MergeCalibration(controller, saved);
        InstallCalibration(controller, &merged);
    });
    conversation->tried.erase(key);
    triedSessions.erase(key);
    NoteCalibrationChange(
        key, {change, SettingsFilePath(), conversation->process, UserName(conversation->user)});
}

// Without "calibration" what is being tried is stored.
Json DoStore(const Json& request, const RunningSession* session, Conversation* conversation)
{
    const SessionKey key = KeyOf(session);
    if (IsTriedByAnother(key, conversation))
        return ErrorReply(TRIED_BY_ANOTHER);
    CalibrationData stored = session->calibration;
    if (request.contains("calibration")) {
        CalibrationData wanted = session->calibration;
        if (const std::string fault = ReadCalibration(request, &wanted); !fault.empty())
            return ErrorReply(fault);
        std::string fault;
        if (!UseSession(key, [&](TouchController* controller) {
                stored = MergeCalibration(controller, &wanted);
                fault = RefusalOf(request, &stored, controller);
            }))
            return ErrorReply(HAS_ENDED);
        if (!fault.empty())
            return ErrorReply(fault);
    } else if (!conversation->tried.contains(key)) {
        return ErrorReply("'calibration' is missing, and none is being tried");
    }
    const auto tried = conversation->tried.find(key);
    const CalibrationData replaced = PreviousCalibration(
        tried == conversation->tried.end() ? &session->calibration : &tried->second,
        session->state.resolutionBits);
    const std::string file = SettingsFilePath();
    if (!WriteCalibrationFile(&stored)) {
        const std::string fault = SettingsFault();
        return {{"stored", false}, {"file", file},
            {"error",
                fault.empty() ? "'" + file
                        + "' cannot be written: the system refuses it; its disk may be full"
                              : fault}};
    }
    UseCalibration(key, &stored, "stored", conversation);
    const std::string fault
        = KeepPreviousCalibration(key.path, &replaced, &stored, session->state.resolutionBits);
    if (!fault.empty())
        Warning(PanelSubjectOf(key.path, Happening::SETTINGS),
            "the previous calibration is not kept: " + fault);
    return {{"stored", true}, {"file", file}};
}

// Only the save that the client knows of, where it says until when the earlier calibration was
// used.
Json DoUndo(const Json& request, const RunningSession* session, Conversation* conversation)
{
    const SessionKey key = KeyOf(session);
    if (IsTriedByAnother(key, conversation))
        return ErrorReply(TRIED_BY_ANOTHER);
    CalibrationData restored{};
    if (const std::string fault = UndoSave(key.path, TextIn(request, "until"), &restored);
        !fault.empty())
        return {{"undone", false}, {"error", fault}};
    UseCalibration(key, &restored, "undone", conversation);
    return {{"undone", true}, {"file", SettingsFilePath()}};
}

struct Request {
    std::string_view name;
    bool ofPanel; // it means one panel
    Json (*carryOut)(
        const Json& request, const RunningSession* session, Conversation* conversation);
};

constexpr std::array REQUESTS{Request{"status", false, DoStatus},
    Request{"listen", false, DoListen}, Request{"silence", false, DoSilence},
    Request{"calibration", true, DoRead}, Request{"try", true, DoTry},
    Request{"store", true, DoStore}, Request{"takeBack", true, DoTakeBack},
    Request{"undo", true, DoUndo}};

Json CarryOut(const Json& request, const std::string& name, Conversation* conversation)
{
    const auto* found = std::find_if(REQUESTS.begin(), REQUESTS.end(),
        [&name](const Request& known) { return known.name == name; });
    if (found == REQUESTS.end())
        return ErrorReply("'" + name + "' is not a request of this protocol");
    std::string fault;
    std::optional<RunningSession> session;
    if (found->ofPanel || request.contains("panel"))
        session = SessionOf(request, &fault);
    if (!fault.empty())
        return ErrorReply(fault);
    return found->carryOut(request, session ? &*session : nullptr, conversation);
}

} // namespace

std::string Greeting()
{
    return LineOf({{"korvex", KORVEX_VERSION}, {"protocol", CONTROL_PROTOCOL}});
}

std::string Answer(std::string_view line, Conversation* conversation)
{
    const Json request = Json::parse(line, nullptr, false);
    if (!request.is_object())
        return LineOf(ErrorReply("this is not a JSON object"));
    const auto found = request.find("do");
    const std::string name
        = found != request.end() && found->is_string() ? found->get<std::string>() : "";
    Json answer{{"re", name}};
    if (request.contains("id")) {
        const Json& id = request["id"];
        if (!id.is_string() && !id.is_number()) // a deep one would need a deep stack
            return LineOf(ErrorReply("'id' is neither a text nor a number"));
        answer["id"] = id;
    }
    answer.update(
        name.empty() ? ErrorReply("'do' is missing") : CarryOut(request, name, conversation));
    return LineOf(answer);
}

bool ListensTo(const Conversation* conversation, const PanelEvent* event)
{
    return conversation->listens
        && (conversation->listensTo.empty() || conversation->listensTo == event->path);
}

std::string FormatEvent(const PanelEvent* event)
{
    const auto nameOf = [](PanelEvent::Kind kind) {
        switch (kind) {
        case PanelEvent::Kind::STARTED:
            return "began";
        case PanelEvent::Kind::TOUCH:
            return "touch";
        case PanelEvent::Kind::GONE:
            return "gone";
        case PanelEvent::Kind::BACK:
            return "back";
        case PanelEvent::Kind::CALIBRATED:
            return "calibrated";
        default:
            return "ended";
        }
    };
    Json json{{"event", nameOf(event->kind)}, {"panel", event->panel},
        {"time", ExactTimeJson(event->time)}};
    if (event->kind == PanelEvent::Kind::TOUCH)
        json.update({{"sequence", event->sequence}, {"raw", PointJson(event->raw)},
            {"mapped", PointJson(event->mapped)}, {"touching", event->touching}});
    if (event->kind == PanelEvent::Kind::CALIBRATED)
        json.update({{"change", event->change.change}, {"file", event->change.file},
            {"process", event->change.process}, {"user", event->change.user}});
    return LineOf(json);
}

void RevertAll(Conversation* conversation)
{
    while (!conversation->tried.empty())
        Revert(SessionKey(conversation->tried.begin()->first), conversation);
}

} // namespace korvex::command

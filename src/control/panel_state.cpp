#include "control/panel_state.h"

#include "input/session.h"

namespace korvex::command {

namespace {

// Reads the members of an object. What is missing, or of another kind, makes it unsound.
struct Members {
    const Json* object;
    bool sound;
};

const Json& Member(Members* members, const char* key)
{
    static const Json NONE;
    const auto found = members->object->find(key);
    return found == members->object->end() ? NONE : *found;
}

std::string Text(Members* members, const char* key)
{
    const Json& value = Member(members, key);
    members->sound = members->sound && value.is_string();
    return value.is_string() ? value.get<std::string>() : "";
}

bool Flag(Members* members, const char* key)
{
    const Json& value = Member(members, key);
    members->sound = members->sound && value.is_boolean();
    return value.is_boolean() && value.get<bool>();
}

uint32_t Count(Members* members, const char* key)
{
    const Json& value = Member(members, key);
    const bool isCount = value.is_number_unsigned() && value.get<uint64_t>() <= UINT32_MAX;
    members->sound = members->sound && isCount;
    return isCount ? value.get<uint32_t>() : 0;
}

Point Position(Members* members, const char* key)
{
    const std::optional<Point> point = PointFrom(Member(members, key));
    members->sound = members->sound && point;
    return point.value_or(Point{});
}

} // namespace

PanelCounters CountersOf(const TouchController* controller)
{
    PanelCounters counters{};
    for (const PanelCounter& counter : PANEL_COUNTERS)
        counters.*counter.value = controller->counters.*counter.source;
    return counters;
}

void AddCounters(const PanelCounters& counters, Json* object)
{
    for (const PanelCounter& counter : PANEL_COUNTERS)
        (*object)[counter.key] = counters.*counter.value;
}

PanelReading ReadingOf(TouchController* controller)
{
    ReportSnapshot report{};
    LiveTouch touch{};
    TakeLiveSnapshot(controller, &report, &touch);
    return {controller->portGone == 1, touch.touching, touch.raw, {report.lastX, report.lastY},
        CountersOf(controller)};
}

Json ToJson(const PanelState& state)
{
    const PanelCalibration& calibration = state.calibration;
    Json json{{"panel", state.panel}, {"path", state.path}, {"tty", state.tty},
        {"gone", state.reading.gone}, {"noisy", state.noisy}, {"model", state.model},
        {"firmware", state.firmware}, {"resolutionBits", state.resolutionBits},
        {"baudRate", state.baudRate}, {"controller", state.controller},
        {"since", TimeJson(state.since)}, {"lastTouch", TimeJson(state.lastTouch)},
        {"touching", state.reading.touching}, {"raw", PointJson(state.reading.raw)},
        {"mapped", PointJson(state.reading.mapped)}};
    AddCounters(state.reading.counters, &json);
    json["calibration"]
        = {{"kind", calibration.hasPoints ? "points" : "box"}, {"points", calibration.points},
            {"file", calibration.file.empty() ? Json() : Json(calibration.file)},
            {"changed", TimeJson(calibration.changed)}, {"tried", calibration.tried}};
    return json;
}

std::optional<PanelState> PanelStateFrom(const Json& json)
{
    if (!json.is_object())
        return std::nullopt;
    Members members{&json, true};
    Members calibration{&Member(&members, "calibration"), true};
    if (!calibration.object->is_object())
        return std::nullopt;
    PanelState state{Text(&members, "panel"), Text(&members, "path"), Text(&members, "tty"),
        Text(&members, "model"), TextIn(json, "firmware"), Text(&members, "controller"),
        Count(&members, "resolutionBits"),
        static_cast<uint32_t>(NumberOf(Member(&members, "baudRate")).value_or(0)),
        TimeFrom(Member(&members, "since")), TimeFrom(Member(&members, "lastTouch")),
        Member(&members, "noisy") == true,
        {Flag(&members, "gone"), Flag(&members, "touching"), Position(&members, "raw"),
            Position(&members, "mapped"), {}},
        {Text(&calibration, "kind") == "points", Count(&calibration, "points"),
            TextIn(*calibration.object, "file"), TimeFrom(Member(&calibration, "changed")),
            Flag(&calibration, "tried")}};
    for (const PanelCounter& counter : PANEL_COUNTERS)
        state.reading.counters.*counter.value = Count(&members, counter.key);
    const bool isResolution = state.resolutionBits == 10 || state.resolutionBits == 12;
    return members.sound && calibration.sound && isResolution ? std::optional(state) : std::nullopt;
}

Json ToJson(const PendingPanel& panel)
{
    return {{"panel", panel.panel}, {"path", panel.path}, {"reason", panel.reason}};
}

std::optional<PendingPanel> PendingPanelFrom(const Json& json)
{
    if (!json.is_object())
        return std::nullopt;
    Members members{&json, true};
    const PendingPanel panel{
        Text(&members, "panel"), Text(&members, "path"), Text(&members, "reason")};
    return members.sound ? std::optional(panel) : std::nullopt;
}

} // namespace korvex::command

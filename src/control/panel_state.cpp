#include "control/panel_state.h"

#include <algorithm>
#include <cmath>
#include <exception>
#include <stdexcept>

#include "input/session.h"

namespace korvex::command {

namespace {

// A counter, or another number that is none below zero; throws for any other value.
double PercentFrom(const Json& value)
{
    return value.is_number() ? std::clamp(value.get<double>(), 0.0, 100.0) : 0;
}

uint32_t CountFrom(const Json& value)
{
    if (!value.is_number_unsigned() || value.get<uint64_t>() > UINT32_MAX)
        throw std::out_of_range("no count");
    return value.get<uint32_t>();
}

// The values that must be there are asked for by at() and get(), which throw if they are not, or
// of another kind.
PanelState StateFrom(const Json& json)
{
    const Json& calibration = json.at("calibration");
    PanelState state{};
    state.panel = json.at("panel").get<std::string>();
    state.path = json.at("path").get<std::string>();
    state.tty = json.at("tty").get<std::string>();
    state.model = json.at("model").get<std::string>();
    state.firmware = TextIn(json, "firmware");
    state.controller = json.at("controller").get<std::string>();
    state.resolutionBits = CountFrom(json.at("resolutionBits"));
    if (state.resolutionBits != LOW_RESOLUTION_BITS && state.resolutionBits != HIGH_RESOLUTION_BITS)
        throw std::out_of_range("no resolution");
    state.baudRate = static_cast<uint32_t>(NumberOf(json.value("baudRate", Json())).value_or(0));
    state.since = TimeFrom(json.value("since", Json()));
    state.lastTouch = TimeFrom(json.value("lastTouch", Json()));
    state.noisy = json.value("noisy", Json()) == true;
    state.smooth = TextIn(json, "smooth");
    state.losses = static_cast<uint32_t>(NumberOf(json.value("losses", Json())).value_or(0));
    state.returns = static_cast<uint32_t>(NumberOf(json.value("returns", Json())).value_or(0));
    state.restNoise = static_cast<uint32_t>(NumberOf(json.value("restNoise", Json())).value_or(0));
    state.reading = {json.at("gone").get<bool>(), json.at("touching").get<bool>(),
        PointFrom(json.at("raw")).value(), PointFrom(json.at("mapped")).value(), {}};
    for (const PanelCounter& counter : PANEL_COUNTERS)
        state.reading.counters.*counter.value = CountFrom(json.at(counter.key));
    state.calibration = {calibration.at("kind").get<std::string>() == "points",
        CountFrom(calibration.at("points")), TextIn(calibration, "file"),
        TimeFrom(calibration.value("changed", Json())), calibration.at("tried").get<bool>(),
        PercentFrom(calibration.value("residual", Json()))};
    return state;
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
        {"gone", state.reading.lost}, {"noisy", state.noisy}, {"restNoise", state.restNoise},
        {"smooth", state.smooth}, {"model", state.model}, {"firmware", state.firmware},
        {"resolutionBits", state.resolutionBits}, {"baudRate", state.baudRate},
        {"controller", state.controller}, {"since", TimeJson(state.since)},
        {"lastTouch", TimeJson(state.lastTouch)}, {"touching", state.reading.touching},
        {"raw", PointJson(state.reading.raw)}, {"mapped", PointJson(state.reading.mapped)}};
    json["losses"] = state.losses;
    json["returns"] = state.returns;
    AddCounters(state.reading.counters, &json);
    json["calibration"]
        = {{"kind", calibration.hasPoints ? "points" : "box"}, {"points", calibration.points},
            {"file", calibration.file.empty() ? Json() : Json(calibration.file)},
            {"changed", TimeJson(calibration.changed)}, {"tried", calibration.tried},
            {"residual", std::round(calibration.residual * 100) / 100}};
    return json;
}

std::optional<PanelState> PanelStateFrom(const Json& json)
{
    try {
        return StateFrom(json);
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

Json ToJson(const PendingPanel& panel)
{
    return {{"panel", panel.panel}, {"path", panel.path}, {"reason", panel.reason}};
}

std::optional<PendingPanel> PendingPanelFrom(const Json& json)
{
    try {
        return PendingPanel{json.at("panel").get<std::string>(), json.at("path").get<std::string>(),
            json.at("reason").get<std::string>()};
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

} // namespace korvex::command

#include "control/calibration_json.h"

#include <algorithm>
#include <optional>
#include <vector>

#include "calibration/calibration.h"
#include "calibration/orientation.h"

namespace korvex::command {

namespace {

// The numbers of an array of that size.
std::optional<std::vector<int32_t>> NumbersOf(const Json& list, size_t count)
{
    std::vector<int32_t> numbers;
    if (!list.is_array() || list.size() != count)
        return std::nullopt;
    for (const Json& value : list) {
        if (const std::optional<int32_t> number = NumberOf(value); number)
            numbers.push_back(*number);
    }
    return numbers.size() == count ? std::optional(numbers) : std::nullopt;
}

} // namespace

Json CalibrationJson(const CalibrationData* calib)
{
    Json points = Json::array();
    for (uint32_t i = 0; i < std::min(calib->pointCount, MAX_CALIBRATION_POINTS); ++i)
        points.push_back(PointJson(calib->advPoints[i]));
    return {{"orientation", calib->orientation},
        {"box", {calib->stdMinX, calib->stdMinY, calib->stdMaxX, calib->stdMaxY}},
        {"points", points}};
}

std::string ParseCalibration(const Json& json, CalibrationData* calib)
{
    for (const auto& [key, value] : json.items()) {
        if (key == "orientation") {
            const std::optional<int32_t> number = NumberOf(value);
            if (!number || *number < 1 || *number > static_cast<int32_t>(MAX_ORIENTATION))
                return "'orientation' is not from 1 to 8";
            calib->orientation = static_cast<uint32_t>(*number);
        } else if (key == "box") {
            const std::optional<std::vector<int32_t>> box = NumbersOf(value, 4);
            if (!box || box->at(0) == box->at(2) || box->at(1) == box->at(3))
                return "'box' is not [x, y, x, y] of two corners";
            calib->stdMinX = box->at(0);
            calib->stdMinY = box->at(1);
            calib->stdMaxX = box->at(2);
            calib->stdMaxY = box->at(3);
        } else if (key == "points") {
            if (!value.is_array() || (!value.empty() && SideOf(value.size()) == 0))
                return "'points' are not 0, 4, 9, 16 or 25";
            calib->pointCount = static_cast<uint32_t>(value.size());
            for (size_t i = 0; i < value.size(); ++i) {
                const std::optional<std::vector<int32_t>> point = NumbersOf(value[i], 2);
                if (!point)
                    return "point " + std::to_string(i + 1) + " is not [x, y]";
                calib->advPoints[i] = {point->at(0), point->at(1)};
            }
        } else {
            return "'" + key + "' is none of orientation, box, points";
        }
    }
    return "";
}

} // namespace korvex::command

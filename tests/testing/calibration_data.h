// Records, panels and settings for tests of the calibration that need no controller.
#pragma once

#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "link/touch_controller.h"

namespace korvex {

inline std::ostream& operator<<(std::ostream& stream, Point point)
{
    return stream << point.x << ", " << point.y;
}

} // namespace korvex

namespace korvex::testing {

struct ControllerDeleter {
    void operator()(TouchController* controller) const { ReleaseController(controller); }
};
using ControllerPointer = std::unique_ptr<TouchController, ControllerDeleter>;

// A record that needs no line: its model asks the controller nothing.
ControllerPointer Unconnected(uint32_t model = MODEL_5460);

// The raw positions of the 4, 9, 16 or 25 targets, in their order, on a panel that lies as the
// screen does: from 100 to 900 each way.
std::vector<Point> TargetsOf(uint32_t pointCount);

// The same on a panel whose X axis is mirrored, which has the orientation 3.
std::vector<Point> MirroredTargetsOf(uint32_t pointCount);

// Lines of the settings file.
std::string PointLines(const std::vector<Point>& points);

// "mode 1, orientation 3, 9 points, box 0..1023 0..1023, raw 1024 x 1024".
std::string TextOf(const CalibrationData* calib);

// The first points of advPoints or refPoints.
std::vector<Point> FirstPoints(
    const std::array<Point, MAX_CALIBRATION_POINTS>* points, uint32_t count);

} // namespace korvex::testing

// Records, panels and settings for tests of the calibration that need no controller.
#pragma once

#include <memory>
#include <ostream>
#include <sstream>
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
inline ControllerPointer Unconnected(uint32_t model = MODEL_5460)
{
    ControllerPointer controller(CreateController());
    controller->model = model;
    controller->reportLength = 6;
    return controller;
}

// The raw positions of the 4, 9, 16 or 25 targets, in their order, on a panel that lies as the
// screen does: from 100 to 900 each way.
inline std::vector<Point> TargetsOf(uint32_t pointCount)
{
    if (pointCount == 4)
        return {{100, 100}, {900, 100}, {900, 900}, {100, 900}};
    std::vector<Point> points;
    const int side = pointCount == 9 ? 3 : pointCount == 16 ? 4 : 5;
    for (int i = 0; i < side * side; ++i)
        points.push_back(
            {100 + 800 * (i % side) / (side - 1), 100 + 800 * (i / side) / (side - 1)});
    return points;
}

// The same on a panel whose X axis is mirrored, which has the orientation 3.
inline std::vector<Point> MirroredTargetsOf(uint32_t pointCount)
{
    std::vector<Point> points = TargetsOf(pointCount);
    for (Point& point : points)
        point.x = 1000 - point.x;
    return points;
}

// Lines of the settings file.
inline std::string PointLines(const std::vector<Point>& points)
{
    std::ostringstream lines;
    for (size_t i = 0; i < points.size(); ++i)
        for (const auto& [axis, value] : {std::pair{"X", points[i].x}, std::pair{"Y", points[i].y}})
            lines << "ADV_" << (i < 10 ? "0" : "") << i << "_" << axis << "=" << value << "\n";
    return lines.str();
}

// "mode 1, orientation 3, 9 points, box 0..1023 0..1023, raw 1024 x 1024".
inline std::string TextOf(const CalibrationData* calib)
{
    std::ostringstream text;
    text << "mode " << int{calib->mapMode} << ", orientation " << calib->orientation << ", "
         << calib->pointCount << " points, box " << calib->stdMinX << ".." << calib->stdMaxX << " "
         << calib->stdMinY << ".." << calib->stdMaxY << ", raw " << calib->rawRangeX << " x "
         << calib->rawRangeY;
    return text.str();
}

// The first points of advPoints or refPoints.
inline std::vector<Point> FirstPoints(
    const std::array<Point, MAX_CALIBRATION_POINTS>* points, uint32_t count)
{
    return {points->begin(), points->begin() + count};
}

} // namespace korvex::testing

#include "testing/calibration_data.h"

#include <sstream>

namespace korvex::testing {

ControllerPointer Unconnected(uint32_t model)
{
    ControllerPointer controller(CreateController());
    controller->model = model;
    controller->reportLength = 6;
    return controller;
}

std::vector<Point> TargetsOf(uint32_t pointCount)
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

std::vector<Point> MirroredTargetsOf(uint32_t pointCount)
{
    std::vector<Point> points = TargetsOf(pointCount);
    for (Point& point : points)
        point.x = 1000 - point.x;
    return points;
}

std::string PointLines(const std::vector<Point>& points)
{
    std::ostringstream lines;
    for (size_t i = 0; i < points.size(); ++i) {
        const char* zero = i < 10 ? "0" : "";
        lines << "ADV_" << zero << i << "_X=" << points[i].x << "\nADV_" << zero << i
              << "_Y=" << points[i].y << "\n";
    }
    return lines.str();
}

std::string TextOf(const CalibrationData* calib)
{
    std::ostringstream text;
    text << "mode " << int{calib->mapMode} << ", orientation " << calib->orientation << ", "
         << calib->pointCount << " points, box " << calib->stdMinX << ".." << calib->stdMaxX << " "
         << calib->stdMinY << ".." << calib->stdMaxY << ", raw " << calib->rawRangeX << " x "
         << calib->rawRangeY;
    return text.str();
}

std::vector<Point> FirstPoints(
    const std::array<Point, MAX_CALIBRATION_POINTS>* points, uint32_t count)
{
    return {points->begin(), points->begin() + count};
}

} // namespace korvex::testing

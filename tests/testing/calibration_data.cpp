#include "testing/calibration_data.h"

namespace korvex::testing {

ControllerPointer Unconnected(uint32_t model)
{
    ControllerPointer controller(CreateController());
    controller->model = model;
    controller->reportLength = 6;
    return controller;
}

std::string PointLines(int count, int (*x)(int), int (*y)(int))
{
    std::string lines;
    for (int i = 0; i < count; ++i) {
        const std::string index = (i < 10 ? "0" : "") + std::to_string(i);
        lines.append("ADV_").append(index).append("_X=").append(std::to_string(x(i))).append("\n");
        lines.append("ADV_").append(index).append("_Y=").append(std::to_string(y(i))).append("\n");
    }
    return lines;
}

int ColumnX(int i)
{
    return 900 - 400 * (i % 3); // falls from left to right
}

int RowY(int i)
{
    return 100 + 400 * (i / 3);
}

} // namespace korvex::testing

// Records and settings for tests of the calibration that need no controller.
#pragma once

#include <memory>
#include <string>

#include "link/touch_controller.h"

namespace korvex::testing {

struct ControllerDeleter {
    void operator()(TouchController* controller) const { ReleaseController(controller); }
};
using ControllerPointer = std::unique_ptr<TouchController, ControllerDeleter>;

// A record that needs no line: its model asks the controller nothing.
ControllerPointer Unconnected(uint32_t model = MODEL_5460);

// Lines of the settings file for so many points.
std::string PointLines(int count, int (*x)(int), int (*y)(int));

// Raw positions of nine targets on a panel whose X axis is mirrored.
int ColumnX(int i);
int RowY(int i);

} // namespace korvex::testing

#include "command/controller_text.h"

#include <array>
#include <cstdio>

namespace korvex::command {

std::string DescriptionOf(const TouchController* controller)
{
    std::array<char, 80> text{};
    snprintf(text.data(), text.size(), "controller %X, firmware %u.%u.%u, %u bits, %u baud",
        controller->model, controller->fwMajor, controller->fwMinor, controller->fwBuild,
        controller->resolutionBits, controller->link.baudRate);
    return text.data();
}

} // namespace korvex::command

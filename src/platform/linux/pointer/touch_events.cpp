#include "platform/linux/pointer/touch_events.h"

#include <linux/input.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstddef>

namespace korvex::platform {

bool WriteTouch(int descriptor, const TouchState* before, const TouchState* after)
{
    std::array<input_event, 4> events{};
    size_t count = 0;
    const auto add = [&events, &count](uint16_t type, uint16_t code, int32_t value) {
        events[count].type = type;
        events[count].code = code;
        events[count++].value = value;
    };
    const auto clamped
        = [](int32_t coordinate) { return std::clamp(coordinate, 0, MAX_TOUCH_COORDINATE); };
    if (before->touching != after->touching)
        add(EV_KEY, BTN_TOUCH, after->touching ? 1 : 0);
    if (clamped(before->x) != clamped(after->x))
        add(EV_ABS, ABS_X, clamped(after->x));
    if (clamped(before->y) != clamped(after->y))
        add(EV_ABS, ABS_Y, clamped(after->y));
    if (count == 0)
        return true;
    add(EV_SYN, SYN_REPORT, 0);
    const auto bytes = static_cast<ssize_t>(count * sizeof(input_event));
    return write(descriptor, events.data(), static_cast<size_t>(bytes)) == bytes;
}

} // namespace korvex::platform

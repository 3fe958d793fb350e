#include "platform/linux/pointer/right_hold.h"

#include <algorithm>
#include <cmath>

namespace korvex::platform {

namespace {

constexpr double REACH = 0.02; // of the shorter side

MOUSEINPUT At(MOUSEINPUT place, DWORD flags)
{
    place.dwFlags = MOUSEEVENTF_ABSOLUTE | flags;
    return place;
}

// Places that a calibration maps far beyond the screen have room in these numbers too.
bool HasGone(const MOUSEINPUT& from, const MOUSEINPUT& to, const RightHold& hold)
{
    constexpr double FULL = 65536; // across the screen
    const double x = (static_cast<double>(to.dx) - from.dx) * hold.width / FULL;
    const double y = (static_cast<double>(to.dy) - from.dy) * hold.height / FULL;
    return std::hypot(x, y) > REACH * std::min(hold.width, hold.height);
}

} // namespace

size_t HoldForRight(HeldPress* held, const RightHold& hold, const MOUSEINPUT& input,
    std::chrono::steady_clock::time_point now, HeldInputs* inputs)
{
    if ((input.dwFlags & MOUSEEVENTF_LEFTDOWN) != 0) {
        *held = {HeldPress::Phase::KEPT, input, now};
        *inputs = {At(input, MOUSEEVENTF_MOVE)};
        return 1;
    }
    if (held->phase == HeldPress::Phase::DONE)
        return 0;
    *inputs = {input};
    if (held->phase == HeldPress::Phase::SENT)
        return 1;
    const bool isLifted = (input.dwFlags & MOUSEEVENTF_LEFTUP) != 0;
    const bool hasGone = !isLifted && HasGone(held->press, input, hold);
    if (!hasGone && now - held->time >= hold.duration) {
        held->phase = HeldPress::Phase::DONE;
        *inputs = {At(held->press, MOUSEEVENTF_MOVE | MOUSEEVENTF_RIGHTDOWN),
            At(held->press, MOUSEEVENTF_RIGHTUP)};
        return 2;
    }
    if (!hasGone && !isLifted)
        return 1;
    held->phase = HeldPress::Phase::SENT;
    *inputs = {held->press, isLifted ? At(held->press, MOUSEEVENTF_LEFTUP) : input};
    return 2;
}

} // namespace korvex::platform

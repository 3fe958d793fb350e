#include "input/pointer_injection.h"

#include "calibration/mapping.h"
#include "input/host_handlers.h"
#include "input/touch_report.h"
#include "support/lock_guard.h"
#include "support/millisecond_clock.h"

namespace korvex {

namespace {

void Send(TouchController* controller, Point point, DWORD flags)
{
    INPUT input{};
    input.type = INPUT_MOUSE;
    input.mi.dx = point.x;
    input.mi.dy = point.y;
    input.mi.dwFlags = MOUSEEVENTF_ABSOLUTE | flags;
    const auto handle = Handlers().input;
    if (handle != nullptr ? handle(&input) : SendInput(1, &input, sizeof(input)) == 1)
        Count(&controller->counters.inputs);
}

} // namespace

bool InjectReport(TouchController* controller, const uint8_t* report)
{
    const uint8_t status = report[0];
    const uint8_t contact = ClassifyStatus(controller, status);
    Point point = DecodeReport(controller, report);
    {
        const LockGuard guard(&controller->lock);
        controller->touch = {point, contact == CONTACT_TOUCH};
        MapPoint(&controller->calib, &point);
        controller->report.lastX = point.x;
        controller->report.lastY = point.y;
        controller->report.lastStatus = status;
        controller->report.lastReportMs = NowMs();
    }

    DWORD flags = 0;
    if (contact == CONTACT_TOUCH)
        flags = MOUSEEVENTF_MOVE
            | (controller->prevContact == CONTACT_TOUCH ? 0 : MOUSEEVENTF_LEFTDOWN);
    else if (contact == CONTACT_NONE && controller->prevContact != CONTACT_NONE)
        flags = MOUSEEVENTF_LEFTUP;
    controller->prevContact = contact;
    if (flags == 0)
        return false;

    Send(controller, point, flags);
    return true;
}

bool ReleaseContact(TouchController* controller)
{
    if (controller->prevContact != CONTACT_TOUCH)
        return false;
    controller->prevContact = CONTACT_NONE;
    {
        const LockGuard guard(&controller->lock);
        controller->touch.touching = false;
    }
    if (Handlers().touchAbandoned != nullptr)
        Handlers().touchAbandoned();
    // The reader alone writes the last point.
    Send(controller, {controller->report.lastX, controller->report.lastY}, MOUSEEVENTF_LEFTUP);
    return true;
}

} // namespace korvex

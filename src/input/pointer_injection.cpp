#include "input/pointer_injection.h"

#include "calibration/mapping.h"
#include "input/touch_report.h"
#include "support/lock_guard.h"
#include "support/millisecond_clock.h"

namespace korvex {

bool InjectReport(TouchController* controller, const uint8_t* report)
{
    const uint8_t status = report[0];
    Point point = DecodeReport(controller, report);
    {
        const LockGuard guard(&controller->lock);
        MapPoint(&controller->calib, &point);
        controller->report.lastX = point.x;
        controller->report.lastY = point.y;
        controller->report.lastStatus = status;
        controller->report.lastReportMs = NowMs();
    }

    const uint8_t contact = ClassifyStatus(controller, status);
    DWORD flags = 0;
    if (contact == CONTACT_TOUCH)
        flags = MOUSEEVENTF_MOVE | (controller->prevContact == CONTACT_TOUCH ? 0 : MOUSEEVENTF_LEFTDOWN);
    else if (contact == CONTACT_NONE && controller->prevContact != CONTACT_NONE)
        flags = MOUSEEVENTF_LEFTUP;
    controller->prevContact = contact;
    if (flags == 0)
        return false;

    INPUT input{};
    input.type = INPUT_MOUSE;
    input.mi.dx = point.x;
    input.mi.dy = point.y;
    input.mi.dwFlags = MOUSEEVENTF_ABSOLUTE | flags;
    SendInput(1, &input, sizeof(input));
    return true;
}

} // namespace korvex

#include "link/touch_controller.h"

#include <cstdlib>
#include <new>

#include "support/lock_guard.h"
#include "support/owned.h"

namespace korvex {

TouchController* CreateController()
{
    void* memory = malloc(sizeof(TouchController));
    if (memory == nullptr)
        return nullptr;
    auto* controller = new (memory) TouchController{};
    InitializeCriticalSection(&controller->lock);
    return controller;
}

void ReleaseController(TouchController* controller)
{
    if (controller == nullptr)
        return;
    if (controller->link.kind == LINK_SERIAL)
        CloseIfOpen(controller->link.handle);
    CloseIfOpen(controller->readerThread);
    CloseIfOpen(controller->stoppedEvent);
    CloseIfOpen(controller->wakeEvent);
    CloseIfOpen(controller->wakerThread);
    free(controller->deviceId);
    DeleteCriticalSection(&controller->lock);
    controller->~TouchController();
    free(controller);
}

CalibrationData CopyCalibration(TouchController* controller)
{
    const LockGuard guard(&controller->lock);
    return controller->calib;
}

bool IsStopRequested(const TouchController* controller)
{
    return controller->stopEvent != nullptr
        && WaitForSingleObject(controller->stopEvent, 0) == WAIT_OBJECT_0;
}

} // namespace korvex

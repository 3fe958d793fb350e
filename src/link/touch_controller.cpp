#include "link/touch_controller.h"

#include <cstddef>
#include <cstdlib>
#include <new>

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

TouchController* ControllerOf(ListLinks* links)
{
    return reinterpret_cast<TouchController*>(reinterpret_cast<BYTE*>(links) - offsetof(TouchController, links));
}

void CloseIfOpen(HANDLE handle)
{
    if (handle != nullptr && handle != INVALID_HANDLE_VALUE)
        CloseHandle(handle);
}

bool IsStopRequested(const TouchController* controller)
{
    return controller->stopEvent != nullptr && WaitForSingleObject(controller->stopEvent, 0) == WAIT_OBJECT_0;
}

} // namespace korvex

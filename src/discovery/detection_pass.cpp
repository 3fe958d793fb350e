#include "discovery/detection_pass.h"

#include <cstdlib>

#include "discovery/device_nodes.h"
#include "discovery/enumerator_binding.h"
#include "discovery/model_table.h"
#include "input/host_handlers.h"
#include "input/session.h"
#include "link/command_protocol.h"
#include "link/device_properties.h"
#include "link/driver_requests.h"
#include "link/port_link.h"
#include "support/bounded_text.h"
#include "support/debug_trace.h"
#include "support/lock_guard.h"

namespace korvex {

namespace {

struct Pass {
    HostContext* context;
    uint32_t mode;
    bool found; // a session has been started
};

// A COM port during its visit.
struct Port {
    HDEVINFO devices;
    SP_DEVINFO_DATA* element;
    const WCHAR* path;
};

void VisitPort(Pass* pass, const Port* port);
void SkipPort(const Port* port);
void RefreshPort(const Pass* pass, const Port* port);
void DetectNewController(Pass* pass, const Port* port);
void DetectChildController(Pass* pass, const Port* port, uint32_t model, WCHAR* childId);

bool IsStopped(const Pass* pass)
{
    return WaitForSingleObject(pass->context->stopEvent, 0) == WAIT_OBJECT_0;
}

bool IsIgnored(const Port* port)
{
    return Handlers().ignoresPort != nullptr
        && Handlers().ignoresPort(port->devices, port->element);
}

HANDLE OpenListedPort(const Port* port)
{
    return CreateFileW(
        port->path, GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
}

TouchController* CreateRecord(const Pass* pass)
{
    TouchController* controller = CreateController();
    if (controller != nullptr)
        controller->stopEvent = pass->context->stopEvent;
    return controller;
}

void AppendRecord(const Pass* pass, TouchController* controller)
{
    const LockGuard guard(&pass->context->lock);
    AppendToList(&pass->context->controllers, &controller->links);
}

void StartAndAppend(Pass* pass, TouchController* controller)
{
    StartSession(controller);
    pass->found = true;
    AppendRecord(pass, controller);
}

} // namespace

void DetectControllers(HostContext* context, uint32_t mode)
{
    Pass pass{context, mode, false};
    VisitInterfaces(&COM_PORT_CLASS, nullptr,
        [&pass](HDEVINFO devices, SP_DEVINFO_DATA* element, const WCHAR* path) {
            const Port port{devices, element, path};
            if (IsStopped(&pass))
                return true;
            if (path != nullptr && !IsIgnored(&port))
                VisitPort(&pass, &port);
            return false;
        });
    if (mode != PASS_DETECT || IsStopped(&pass))
        return;
    if (Handlers().detectionDone != nullptr)
        Handlers().detectionDone();
    PostMessageW(context->notifyWindow, context->notifyMessage, pass.found ? 1 : 0, 0);
}

uint32_t ReadPortNumber(HDEVINFO devices, SP_DEVINFO_DATA* element)
{
    constexpr size_t PREFIX = 3; // "COM"
    PortName name{};
    size_t length = 0;
    if (!ReadPortName(devices, element, &name))
        return 0;
    LengthBounded(name.data(), name.size(), &length);
    if (length <= PREFIX || name[PREFIX] < '0' || name[PREFIX] > '9')
        return 0;
    return static_cast<uint32_t>(ParseInteger(name.data() + PREFIX));
}

namespace {

void VisitPort(Pass* pass, const Port* port)
{
    const DEVINST child = FirstChild(port->element->DevInst);
    if (child == 0) {
        if (pass->mode != PASS_DETECT || IsEnumeratorBound(port->devices, port->element))
            SkipPort(port);
        else
            DetectNewController(pass, port);
        return;
    }
    WCHAR* childId = CopyDeviceId(child);
    const uint32_t model = childId == nullptr ? 0 : ModelFromHardwareId(childId);
    if (model != 0 && pass->mode == PASS_DETECT) {
        DetectChildController(pass, port, model, childId);
        return;
    }
    if (model != 0)
        RefreshPort(pass, port);
    free(childId);
}

// A port without a child that is bound already, or that is not to be opened in this pass.
void SkipPort(const Port* port)
{
    CM_Reenumerate_DevNode(port->element->DevInst, CM_REENUMERATE_SYNCHRONOUS);
    OutputDebugStringW(TEXT("Skip Detection on :"));
    OutputDebugStringW(port->path);
    OutputDebugStringW(TEXT("\n"));
}

// A port whose child is a known controller: the filter must ask on the line again before it
// presents the child.
void RefreshPort(const Pass* pass, const Port* port)
{
    PortName name{};
    if (ReadPortName(port->devices, port->element, &name) && name[0] != 0)
        WriteEnumeratorParameters(nullptr, &name, 0);
    ShowStatus(pass->context, TEXT("Restarting %s"), name.data());
    RestartDevice(port->devices, port->element);
}

void DetectNewController(Pass* pass, const Port* port)
{
    HANDLE handle = OpenListedPort(port);
    if (handle == INVALID_HANDLE_VALUE) {
        OutputDebugStringW(TEXT("Create File Error!!\n"));
        return;
    }
    TouchController* controller = CreateRecord(pass);
    if (controller == nullptr) {
        CloseHandle(handle);
        return;
    }
    const uint32_t number = ReadPortNumber(port->devices, port->element);
    LinkInit(&controller->link, handle, LINK_SERIAL, number);
    ShowStatus(pass->context, TEXT("Detecting COM%d"), number);
    DebugTrace(TEXT("Start Detect : %s\n"), port->path);
    if (!IdentifyController(controller)) {
        OutputDebugStringW(TEXT("No Device Found!!\n"));
        ReleaseController(controller);
        return;
    }
    DebugTrace(TEXT("Korvex %X Found!!\n"), controller->model);
    BindEnumerator(controller, port->devices, port->element);
    StartAndAppend(pass, controller);
}

// A port whose child is a known controller; takes `childId` over.
void DetectChildController(Pass* pass, const Port* port, uint32_t model, WCHAR* childId)
{
    TouchController* controller = CreateRecord(pass);
    if (controller == nullptr) {
        free(childId);
        return;
    }
    controller->deviceId = childId;
    controller->model = model;
    controller->reportLength = ReportLengthOf(model);
    const uint32_t number = ReadPortNumber(port->devices, port->element);
    ShowStatus(pass->context, TEXT("Detecting COM%d"), number);

    HANDLE handle = OpenListedPort(port);
    if (handle == INVALID_HANDLE_VALUE) { // the touch driver has it
        QueryDriverIdentity(controller, childId);
        if (controller->usbInfoA == 0 && controller->usbInfoB == 0 && controller->usbInfoC == 0)
            ReleaseController(controller);
        else
            AppendRecord(pass, controller);
        return;
    }
    LinkInit(&controller->link, handle, LINK_SERIAL, number);
    if (!ProbeBaud(controller)) {
        ReleaseController(controller);
        return;
    }
    QueryFirmwareVersion(controller);
    DebugTrace(TEXT("Detect Korvex %X with Baud Rate %d\nFirmware Version : %X.%d.%d.%d\n"),
        controller->model, controller->link.baudRate, controller->model, controller->fwMajor,
        controller->fwMinor, controller->fwBuild);
    StartAndAppend(pass, controller);
}

} // namespace

} // namespace korvex

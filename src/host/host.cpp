#include "host/host.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <bit>
#include <cstdlib>
#include <new>

#include "discovery/detection_pass.h"
#include "input/host_handlers.h"
#include "input/session.h"
#include "support/lock_guard.h"
#include "support/millisecond_clock.h"
#include "support/owned.h"
#include "support/time_left.h"

namespace korvex {

namespace {

constexpr DWORD PAUSE_BEFORE_DETECTION_MS = 1000;
constexpr DWORD WORKER_STOP_LIMIT_MS = 2000;
constexpr DWORD STOP_LIMIT_MS = 3000; // worker and sessions together
constexpr UINT WM_STATUS_DETAIL = WM_USER + 1;

std::atomic<HWND> detailedWindow = nullptr; // the status window that has a detail
ListLinks hostContexts = {&hostContexts, &hostContexts};

HostContext* ProcessContext()
{
    return FindHostContext(GetModuleHandleW(nullptr));
}

void CreateStatusWindow(HostContext* context)
{
    constexpr int WIDTH = 300;
    constexpr int HEIGHT = 100;
    constexpr int TEXT_TOP = 20;
    constexpr int TEXT_HEIGHT = 36;
    context->statusWindow = CreateWindowExW(0, STATUS_CLASS, WINDOW_TITLE,
        WS_OVERLAPPED | WS_SYSMENU | WS_MINIMIZEBOX, 0, 0, WIDTH, HEIGHT, nullptr, nullptr,
        context->moduleHandle, nullptr);
    auto identifier = std::bit_cast<HMENU>(uintptr_t{1});
    context->statusText = CreateWindowExW(0, TEXT("STATIC"), TEXT(""),
        WS_CHILD | WS_VISIBLE | SS_CENTER, 0, TEXT_TOP, WIDTH, TEXT_HEIGHT, context->statusWindow,
        identifier, context->moduleHandle, nullptr);
    if (Handlers().statusDetail != nullptr) {
        context->statusDetail = CreateWindowExW(0, TEXT("STATIC"), TEXT(""),
            WS_CHILD | WS_VISIBLE | SS_CENTER, 0, TEXT_TOP + TEXT_HEIGHT, WIDTH, TEXT_HEIGHT,
            context->statusWindow, nullptr, context->moduleHandle, nullptr);
        detailedWindow = context->statusWindow;
    }
    ShowWindow(context->statusWindow, SW_SHOW);
}

void ShowStatusDetail(const HostContext* context)
{
    std::array<WCHAR, TEXT_CAPACITY> text{};
    Handlers().statusDetail(text.data(), text.size());
    SetWindowTextW(context->statusDetail, text.data());
}

// Waits for the worker, which may be sending a status text to this thread's window. True when it
// has ended.
bool JoinWorker(HostContext* context)
{
    if (context->worker == nullptr)
        return true;
    const DWORD start = GetTickCount();
    for (;;) {
        const DWORD left = TimeLeft(start, WORKER_STOP_LIMIT_MS);
        const DWORD result
            = MsgWaitForMultipleObjects(1, &context->worker, FALSE, left, QS_SENDMESSAGE);
        if (result == WAIT_OBJECT_0)
            return true;
        if (result != WAIT_OBJECT_0 + 1)
            return false;
        MSG message{};
        PeekMessageW(&message, nullptr, 0, 0, PM_NOREMOVE | QS_SENDMESSAGE << 16);
    }
}

// The record after a given one in the list, the first one after the head; null at the end. Only
// this thread takes records out, so a record that was found stays; the worker may be appending.
TouchController* NextController(HostContext* context, ListLinks* links)
{
    const LockGuard guard(&context->lock);
    return links->next == &context->controllers ? nullptr : RecordOf<TouchController>(links->next);
}

// Stops every session of the list under one deadline: all are asked to stop first.
void StopSessions(HostContext* context, DWORD limit)
{
    const DWORD start = GetTickCount();
    for (auto* record = NextController(context, &context->controllers); record != nullptr;
        record = NextController(context, &record->links))
        RequestSessionStop(record);
    for (auto* record = NextController(context, &context->controllers); record != nullptr;
        record = NextController(context, &record->links))
        JoinSession(record, TimeLeft(start, limit));
}

} // namespace

BOOL StartHost(uint32_t flags)
{
    HostContext* context = CreateHostContext(GetModuleHandleW(nullptr));
    if (context == nullptr)
        return TRUE;
    context->flags = flags;
    if ((flags & HOST_DETECT) == 0)
        return TRUE;
    if ((flags & HOST_PANEL_TEST) == 0)
        CreateStatusWindow(context);
    context->worker
        = std::bit_cast<HANDLE>(_beginthreadex(nullptr, 0, DetectionWorker, context, 0, nullptr));
    if (context->worker == nullptr && Handlers().workerRefused != nullptr)
        Handlers().workerRefused();
    return TRUE;
}

void RefreshStatusDetail()
{
    HWND window = detailedWindow;
    if (window != nullptr)
        PostMessageW(window, WM_STATUS_DETAIL, 0, 0);
}

HostContext* FindHostContext(HMODULE moduleHandle)
{
    return FindInList<HostContext>(&hostContexts, [moduleHandle](const HostContext* context) {
        return context->moduleHandle == moduleHandle;
    });
}

HostContext* CreateHostContext(HMODULE moduleHandle)
{
    void* memory = malloc(sizeof(HostContext));
    if (memory == nullptr)
        return nullptr;
    auto* context = new (memory) HostContext{};
    context->moduleHandle = moduleHandle;
    MakeEmptyList(&context->controllers);
    InitializeCriticalSection(&context->lock);
    context->stopEvent = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    context->notifyEvent = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    context->icon = LoadIconW(moduleHandle, nullptr);
    context->backgroundBrush = CreateSolidBrush(WINDOW_BACKGROUND);
    RegisterSetupClass(context);
    AppendToList(&hostContexts, &context->links);
    return context;
}

BOOL RegisterSetupClass(HostContext* context)
{
    WNDCLASSW setupClass{};
    setupClass.style = CS_DBLCLKS;
    setupClass.lpfnWndProc = SetupWindowProc;
    setupClass.hInstance = context->moduleHandle;
    setupClass.hIcon = context->icon;
    setupClass.hCursor = LoadCursorW(nullptr, IDC_ARROW);
    setupClass.hbrBackground = context->backgroundBrush;
    setupClass.lpszClassName = STATUS_CLASS;
    RegisterClassW(&setupClass);
    return TRUE;
}

unsigned __stdcall DetectionWorker(void* argument)
{
    auto* context = static_cast<HostContext*>(argument);
    if ((context->flags & HOST_PANEL_TEST) == 0) {
        ShowStatus(context, TEXT("Refreshing Device Nodes"));
        DetectControllers(context, PASS_REFRESH);
        WaitForSingleObject(context->stopEvent, PAUSE_BEFORE_DETECTION_MS);
    } else {
        WaitForSingleObject(context->notifyEvent, INFINITE); // a stop sets it too
    }
    const auto stopped
        = [context] { return WaitForSingleObject(context->stopEvent, 0) == WAIT_OBJECT_0; };
    if (stopped())
        return 0;
    ShowStatus(context, TEXT("Detecting Korvex Devices"));
    DetectControllers(context, PASS_DETECT);
    if (stopped())
        return 0;
    ShowStatus(context, TEXT("Enable Touch Tests"));
    return 0;
}

LRESULT CALLBACK SetupWindowProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam)
{
    if (message == WM_CLOSE) {
        if (ProcessContext() == nullptr)
            return 0; // it is already ending
        DestroyHostContext();
        ExitProcess(0);
    }
    const HostContext* context = ProcessContext();
    if (message == WM_STATUS_DETAIL && context != nullptr && context->statusDetail != nullptr)
        ShowStatusDetail(context);
    return DefWindowProcW(window, message, wParam, lParam);
}

BOOL SetNotifyTarget(HWND window, UINT message)
{
    HostContext* context = ProcessContext();
    if (context == nullptr)
        return TRUE;
    context->notifyMessage = message;
    context->notifyWindow = window;
    SetEvent(context->notifyEvent);
    return TRUE;
}

TouchController* MostRecentController()
{
    HostContext* context = ProcessContext();
    if (context == nullptr)
        return nullptr;
    const LockGuard guard(&context->lock);
    TouchController* candidate = nullptr;
    uint32_t candidateMs = 0;
    for (ListLinks* links = context->controllers.next; links != &context->controllers;
        links = links->next) {
        ReportSnapshot last{};
        TakeSnapshot(RecordOf<TouchController>(links), &last);
        // after every report that is compared, so that ages are right, also across the clock's wrap
        const uint32_t now = NowMs();
        if (candidate == nullptr || now - last.lastReportMs < now - candidateMs) {
            candidate = RecordOf<TouchController>(links);
            candidateMs = last.lastReportMs;
        }
    }
    return candidate;
}

BOOL DestroyHostContext()
{
    HostContext* context = ProcessContext();
    if (context == nullptr)
        return TRUE;
    const DWORD start = GetTickCount();
    RemoveFromList(&context->links);
    SetEvent(context->stopEvent);
    SetEvent(context->notifyEvent);
    const bool workerEnded = JoinWorker(context);
    const DWORD left = TimeLeft(start, STOP_LIMIT_MS);
    if (!workerEnded) {
        // nothing is freed: the worker may still use it
        StopSessions(context, std::min<DWORD>(left, SESSION_STOP_LIMIT_MS));
        return TRUE;
    }
    if (context->statusWindow != nullptr)
        DestroyWindow(context->statusWindow);
    FreeControllerList(context, std::min<DWORD>(left, SESSION_STOP_LIMIT_MS));
    if (context->icon != nullptr)
        DestroyIcon(context->icon);
    DeleteObject(context->backgroundBrush);
    for (HANDLE handle : {context->worker, context->stopEvent, context->notifyEvent})
        CloseIfOpen(handle);
    DeleteCriticalSection(&context->lock);
    context->~HostContext();
    free(context);
    return TRUE;
}

BOOL FreeControllerList(HostContext* context, uint32_t limitMs)
{
    StopSessions(context, limitMs);
    while (!IsListEmpty(&context->controllers)) {
        auto* controller = RecordOf<TouchController>(context->controllers.next);
        RemoveFromList(&controller->links);
        if (HasReaderEnded(controller))
            ReleaseController(controller);
    }
    return TRUE;
}

} // namespace korvex

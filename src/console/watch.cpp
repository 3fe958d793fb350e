#include "console/watch.h"

#include <array>
#include <bit>

#include "console/calibration_window.h"
#include "console/restart_rule.h"
#include "console/watch_messages.h"
#include "discovery/detection_pass.h"
#include "host/host.h"
#include "host/panel_test.h"
#include "support/bounded_text.h"
#include "support/owned.h"

namespace korvex {

namespace {

constexpr UINT_PTR TIMER = 1;
constexpr UINT TIMER_MS = 1000;
constexpr DWORD CLOSE_LIMIT_MS = 4000; // a detection needs 3 s at most

struct Watch {
    HWND window;
    Restarts restarts;
    HANDLE process; // of the detection; null: none runs
    DWORD processId;
    HWND statusWindow; // of the detection; null: not known yet
    DetectionState state;
};

Watch watch{};

DWORD ProcessOf(HWND window)
{
    DWORD process = 0;
    GetWindowThreadProcessId(window, &process);
    return process;
}

// Whether a calibration, a panel test or another detection of this session has the ports.
bool ArePortsTaken()
{
    const OwnedHandle calibration(OpenMutexW(SYNCHRONIZE, FALSE, CALIBRATION_MUTEX));
    if (calibration.value != nullptr || GetLastError() == ERROR_ACCESS_DENIED
        || FindWindowW(PANEL_TEST_CLASS, nullptr) != nullptr)
        return true;
    HWND window = nullptr;
    do
        window = FindWindowExW(nullptr, window, STATUS_CLASS, WINDOW_TITLE);
    while (window != nullptr && ProcessOf(window) == watch.processId);
    return window != nullptr;
}

// The detection is no longer this watcher's.
void ForgetDetection()
{
    CloseIfOpen(watch.process);
    watch.process = nullptr;
    watch.processId = 0;
    watch.statusWindow = nullptr;
    watch.state = {};
}

// Ends the detection as its close button does, and by force when it does not follow.
void EndDetection()
{
    if (watch.process == nullptr)
        return;
    if (watch.statusWindow == nullptr || PostMessageW(watch.statusWindow, WM_CLOSE, 0, 0) == FALSE
        || WaitForSingleObject(watch.process, CLOSE_LIMIT_MS) != WAIT_OBJECT_0) {
        TerminateProcess(watch.process, DETECTION_FAILED);
        WaitForSingleObject(watch.process, CLOSE_LIMIT_MS);
    }
    ForgetDetection();
}

// The folder of Korvex.ini for all users, which is made if it is missing.
bool PrepareFolder(std::array<WCHAR, TEXT_CAPACITY>* folder)
{
    std::array<WCHAR, MAX_PATH> data{};
    if (SHGetFolderPathW(nullptr, CSIDL_COMMON_APPDATA, nullptr, 0, data.data()) != S_OK
        || FormatBounded(folder->data(), folder->size(), TEXT("%s\\Korvex"), data.data())
            != TEXT_OK)
        return false;
    CreateDirectoryW(folder->data(), nullptr);
    return true;
}

// Starts this program again, with its own command line and one word more. Its window is minimised
// from its first moment, and takes the focus from nobody.
void StartDetection()
{
    std::array<WCHAR, TEXT_CAPACITY> folder{};
    std::array<WCHAR, TEXT_CAPACITY> program{};
    const size_t capacity = static_cast<size_t>(lstrlenW(GetCommandLineW())) + TEXT_CAPACITY;
    const OwnedMemory<WCHAR> line(static_cast<WCHAR*>(malloc(capacity * sizeof(WCHAR))));
    const DWORD length
        = GetModuleFileNameW(nullptr, program.data(), static_cast<DWORD>(program.size()));
    if (line.value == nullptr || length == 0 || length == program.size() || !PrepareFolder(&folder)
        || FormatBounded(line.value, capacity, TEXT("%s %s"), GetCommandLineW(), DETECTION_OPTION)
            != TEXT_OK)
        return;
    STARTUPINFOW start{};
    start.cb = sizeof(start);
    start.dwFlags = STARTF_USESHOWWINDOW;
    start.wShowWindow = SW_SHOWMINNOACTIVE;
    PROCESS_INFORMATION started{};
    if (CreateProcessW(program.data(), line.value, nullptr, nullptr, FALSE, 0, nullptr,
            folder.data(), &start, &started)
        == FALSE)
        return;
    CloseHandle(started.hThread);
    watch.process = started.hProcess;
    watch.processId = started.dwProcessId;
    watch.state = {.running = true, .detecting = true, .touched = false, .driven = 0};
}

// Starts the detection when it is due, and has itself called again as long as it may become due.
void Look()
{
    if (IsStartDue(&watch.restarts, watch.state, ArePortsTaken(), GetTickCount())) {
        EndDetection();
        StartDetection();
    }
    if (watch.restarts.waiting)
        SetTimer(watch.window, TIMER, TIMER_MS, nullptr);
    else
        KillTimer(watch.window, TIMER);
}

void HandleEnd()
{
    DWORD code = DETECTION_FAILED;
    GetExitCodeProcess(watch.process, &code);
    ForgetDetection();
    HandleDetectionEnd(&watch.restarts, code == 0, GetTickCount());
    Look();
}

bool IsPortArrival(WPARAM event, LPARAM data)
{
    return event == DBT_DEVICEARRIVAL && data != 0
        && std::bit_cast<const DEV_BROADCAST_HDR*>(data)->dbch_devicetype
        == DBT_DEVTYP_DEVICEINTERFACE;
}

LRESULT CALLBACK WatchWindowProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam)
{
    const DWORD now = GetTickCount();
    switch (message) {
    case WM_DEVICECHANGE:
        if (IsPortArrival(wParam, lParam))
            HandlePortArrival(&watch.restarts, watch.state, now);
        break;
    case WM_POWERBROADCAST:
        // The first comes always, the second when somebody sits there, the third after an
        // emergency.
        if (wParam == PBT_APMRESUMEAUTOMATIC || wParam == PBT_APMRESUMESUSPEND
            || wParam == PBT_APMRESUMECRITICAL)
            HandleWakeUp(&watch.restarts, now);
        break;
    case WM_DETECTION_WANTED:
        HandleWakeUp(&watch.restarts, now);
        break;
    case WM_DETECTION_STATE: // of the one before this one, at times
        if (watch.process != nullptr && ProcessOf(std::bit_cast<HWND>(wParam)) == watch.processId) {
            watch.statusWindow = std::bit_cast<HWND>(wParam);
            watch.state = UnpackState(lParam);
        }
        break;
    case WM_TIMER:
        break;
    case WM_ENDSESSION:
        if (wParam == FALSE)
            return 0;
        [[fallthrough]];
    case WM_CLOSE:
        EndDetection();
        DestroyWindow(window);
        return 0;
    case WM_DESTROY:
        PostQuitMessage(0);
        return 0;
    default:
        return DefWindowProcW(window, message, wParam, lParam);
    }
    Look();
    return TRUE;
}

// A top-level window: those for messages alone get no broadcasts, of a wake-up for example.
bool CreateWatchWindow()
{
    WNDCLASSW windowClass{};
    windowClass.lpfnWndProc = WatchWindowProc;
    windowClass.hInstance = GetModuleHandleW(nullptr);
    windowClass.lpszClassName = WATCH_CLASS;
    RegisterClassW(&windowClass);
    watch.window = CreateWindowExW(0, WATCH_CLASS, WINDOW_TITLE, WS_POPUP, 0, 0, 0, 0, nullptr,
        nullptr, windowClass.hInstance, nullptr);
    DEV_BROADCAST_DEVICEINTERFACE_W ports{};
    ports.dbcc_size = sizeof(ports);
    ports.dbcc_devicetype = DBT_DEVTYP_DEVICEINTERFACE;
    ports.dbcc_classguid = COM_PORT_CLASS;
    RegisterDeviceNotificationW(watch.window, &ports, DEVICE_NOTIFY_WINDOW_HANDLE);
    return watch.window != nullptr;
}

} // namespace

int RunWatch(uint32_t panels)
{
    const OwnedHandle mutex(CreateMutexW(nullptr, FALSE, TEXT("KorvexWatch")));
    if (mutex.value == nullptr || GetLastError() == ERROR_ALREADY_EXISTS || !CreateWatchWindow())
        return 1;
    watch.restarts = FirstRestarts(panels, GetTickCount());
    Look();
    for (;;) {
        const DWORD count = watch.process != nullptr ? 1 : 0;
        const DWORD result
            = MsgWaitForMultipleObjects(count, &watch.process, FALSE, INFINITE, QS_ALLINPUT);
        if (count == 1 && result == WAIT_OBJECT_0)
            HandleEnd();
        for (MSG message{}; PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE) != FALSE;) {
            if (message.message == WM_QUIT)
                return 0;
            DispatchMessageW(&message);
        }
    }
}

} // namespace korvex

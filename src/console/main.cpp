// KxConsole.exe: the calibration program of Windows, as kxCALIB and kxCALIBW start it:
// KxConsole.exe -calibration N; with -try it begins with the page on which the touch screen is
// tried. With -watch it is the watcher of a detection (watch.h).
#include <array>
#include <span>

#include "console/calibration_window.h"
#include "console/own_panels.h"
#include "console/page_texts.h"
#include "console/try_window.h"
#include "console/watch.h"
#include "console/watch_messages.h"
#include "console/watch_options.h"
#include "console/watched_detection.h"
#include "host/host.h"
#include "host/panel_test.h"
#include "platform/win32.h"
#include "support/bounded_text.h"
#include "support/owned.h"

namespace {

constexpr int EXIT_SAVED = 0;
constexpr int EXIT_USAGE = 2;
constexpr int EXIT_NOT_SAVED = 7;
constexpr DWORD CLOSE_LIMIT_MS = 5000; // a detection needs 3 s at most

struct CommandLine {
    uint32_t targets;                    // N of "-calibration N"; 0 if there is none
    uint32_t panels;                     // N of "-panels N"; 1 if there is none
    bool tries;                          // "-try"
    bool watches;                        // "-watch"
    bool drives;                         // for the watcher
    std::span<const WCHAR* const> words; // to the end of the process
};

CommandLine ReadCommandLine()
{
    int count = 0;
    LPWSTR* words = CommandLineToArgvW(GetCommandLineW(), &count);
    CommandLine line{};
    line.panels = 1;
    const auto is = [](LPCWSTR word, LPCWSTR option) {
        return CompareStringW(LOCALE_INVARIANT, NORM_IGNORECASE, word, -1, option, -1)
            == CSTR_EQUAL;
    };
    if (words == nullptr)
        return line;
    line.words = {words, static_cast<size_t>(count)};
    for (int i = 1; i < count; ++i) {
        const bool hasNumber = i + 1 < count;
        if (hasNumber && is(words[i], TEXT("-calibration")))
            line.targets = static_cast<uint32_t>(korvex::ParseInteger(words[i + 1]));
        if (hasNumber && is(words[i], TEXT("-panels")))
            line.panels = static_cast<uint32_t>(korvex::ParseInteger(words[i + 1]));
        line.tries = line.tries || is(words[i], TEXT("-try"));
        line.watches = line.watches || is(words[i], TEXT("-watch"));
        line.drives = line.drives || is(words[i], korvex::DETECTION_OPTION);
    }
    return line;
}

HWND DetectionWindow()
{
    return FindWindowW(korvex::STATUS_CLASS, korvex::WINDOW_TITLE);
}

// Closes the window of a running detection, which has the ports, and waits for the end of its
// process.
bool CloseDetection(HWND window)
{
    DWORD process = 0;
    GetWindowThreadProcessId(window, &process);
    const korvex::OwnedHandle ended(OpenProcess(SYNCHRONIZE, FALSE, process));
    if (PostMessageW(window, WM_CLOSE, 0, 0) == FALSE)
        return false; // it has more rights (User Interface Privilege Isolation)
    if (ended.value != nullptr)
        return WaitForSingleObject(ended.value, CLOSE_LIMIT_MS) == WAIT_OBJECT_0;
    // The process may not be waited for, but its window can be searched for.
    const DWORD start = GetTickCount();
    while (DetectionWindow() != nullptr && GetTickCount() - start < CLOSE_LIMIT_MS)
        Sleep(50);
    return DetectionWindow() == nullptr;
}

// Starts detection again: the watcher's, or one by the DLL beside this program, in the current
// folder, whose Korvex.ini it reads.
void StartDetection()
{
    HWND watcher = FindWindowW(korvex::WATCH_CLASS, nullptr);
    if (watcher != nullptr && PostMessageW(watcher, korvex::WM_DETECTION_WANTED, 0, 0) != FALSE)
        return;
    std::array<WCHAR, korvex::TEXT_CAPACITY> folder{};
    std::array<WCHAR, 2 * korvex::TEXT_CAPACITY> parameters{};
    std::array<WCHAR, korvex::TEXT_CAPACITY> system{};
    std::array<WCHAR, korvex::TEXT_CAPACITY> program{};
    const DWORD length
        = GetModuleFileNameW(nullptr, folder.data(), static_cast<DWORD>(folder.size()));
    if (length == 0 || length == folder.size())
        return;
    DWORD end = length;
    while (end > 0 && folder[end - 1] != '\\')
        --end;
    folder[end] = 0;
    korvex::FormatBounded(
        parameters.data(), parameters.size(), TEXT("\"%sKORVEX.dll\",kxENUM"), folder.data());
    // By its whole path: users may put files into the current folder. A 32-bit program gets the
    // 32-bit one there.
    GetSystemDirectoryW(system.data(), static_cast<UINT>(system.size()));
    korvex::FormatBounded(program.data(), program.size(), TEXT("%s\\rundll32.exe"), system.data());
    ShellExecuteW(nullptr, TEXT("open"), program.data(), parameters.data(), nullptr, SW_SHOWNORMAL);
}

// Whether a keyboard is attached. One below the root is software, that of remote sessions for
// example, which is there on every machine.
bool HasKeyboard()
{
    constexpr const WCHAR* SOFTWARE = TEXT("Root#"); // after "\\?\"
    constexpr int START = 4;
    constexpr int LENGTH = 5;
    std::array<RAWINPUTDEVICELIST, 64> devices{};
    UINT capacity = devices.size();
    const UINT count = GetRawInputDeviceList(devices.data(), &capacity, sizeof devices[0]);
    if (count > devices.size()) // more of them, or they cannot be listed
        return true;
    for (UINT i = 0; i < count; ++i) {
        std::array<WCHAR, korvex::TEXT_CAPACITY> name{};
        UINT length = name.size();
        GetRawInputDeviceInfoW(devices[i].hDevice, RIDI_DEVICENAME, name.data(), &length);
        const bool isSoftware = CompareStringW(LOCALE_INVARIANT, NORM_IGNORECASE,
                                    name.data() + START, LENGTH, SOFTWARE, LENGTH)
            == CSTR_EQUAL;
        if (devices[i].dwType == RIM_TYPEKEYBOARD && !isSoftware)
            return true;
    }
    return false;
}

// The pages, each until the other is asked for: true when a calibration was saved at last.
bool ShowPages(uint32_t targets, bool tries)
{
    korvex::WatchOwnPanels(nullptr);
    korvex::StartHost(korvex::HOST_DETECT | korvex::HOST_PANEL_TEST);
    const korvex::CalibrationSetup setup{
        korvex::SearchedPanels(), targets, false, false, HasKeyboard(), nullptr};
    const korvex::TrySetup trySetup{setup.source, nullptr};
    auto end = korvex::CalibrationEnd::TRY;
    if (!tries)
        end = korvex::RunCalibration(&setup);
    while (end == korvex::CalibrationEnd::TRY
        && korvex::RunTry(&trySetup) == korvex::TryEnd::CALIBRATE)
        end = korvex::RunCalibration(&setup);
    korvex::DestroyHostContext();
    return end == korvex::CalibrationEnd::SAVED || end == korvex::CalibrationEnd::TRY;
}

// Watches, unless the command line has a word that means nothing: that is shown.
int Watch(const CommandLine& line)
{
    const WCHAR* unknown = korvex::FindUnknownWord(line.words);
    if (unknown == nullptr)
        return korvex::RunWatch(line.panels);
    std::array<WCHAR, korvex::TEXT_CAPACITY> text{};
    korvex::FormatBounded(text.data(), text.size(), korvex::TEXT_UNKNOWN_WORD, unknown);
    MessageBoxW(nullptr, text.data(), korvex::TEXT_TITLE,
        MB_OK | MB_ICONWARNING | MB_TOPMOST | MB_SETFOREGROUND);
    return EXIT_USAGE;
}

} // namespace

int WINAPI WinMain(HINSTANCE /*instance*/, HINSTANCE /*previous*/, LPSTR /*line*/, int /*show*/)
{
    const CommandLine line = ReadCommandLine();
    if (line.drives)
        return korvex::RunWatchedDetection(line.words);
    if (line.watches)
        return Watch(line);
    // A second one shows the first, its question or its page, and leaves the panel to it.
    const HANDLE mutex = CreateMutexW(nullptr, FALSE, korvex::CALIBRATION_MUTEX);
    if (mutex == nullptr || GetLastError() == ERROR_ALREADY_EXISTS) { // null: it has more rights
        HWND page = FindWindowW(korvex::CALIBRATION_CLASS, nullptr);
        SetForegroundWindow(
            page != nullptr ? page : FindWindowW(TEXT("#32770"), korvex::TEXT_TITLE));
        return EXIT_NOT_SAVED;
    }
    if (FindWindowW(korvex::PANEL_TEST_CLASS, nullptr) != nullptr) {
        MessageBoxW(nullptr, korvex::TEXT_PANEL_TEST, korvex::TEXT_TITLE,
            MB_OK | MB_ICONWARNING | MB_TOPMOST | MB_SETFOREGROUND);
        return EXIT_NOT_SAVED;
    }
    HWND detection = DetectionWindow();
    if (detection != nullptr) {
        constexpr UINT QUESTION = MB_OKCANCEL | MB_ICONQUESTION | MB_TOPMOST | MB_SETFOREGROUND;
        if (MessageBoxW(nullptr, korvex::TEXT_DETECTION, korvex::TEXT_TITLE, QUESTION) != IDOK)
            return EXIT_NOT_SAVED;
        if (!CloseDetection(detection)) {
            MessageBoxW(nullptr, korvex::TEXT_DETECTION_STAYS, korvex::TEXT_TITLE,
                MB_OK | MB_ICONWARNING | MB_TOPMOST);
            if (DetectionWindow() != nullptr)
                return EXIT_NOT_SAVED; // it has not been closed by now either
        }
    }
    const bool saved = ShowPages(line.targets, line.tries);
    if (detection != nullptr)
        StartDetection();
    ExitProcess(
        saved ? EXIT_SAVED : EXIT_NOT_SAVED); // a thread that could not be ended may still run
}

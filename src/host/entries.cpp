#include <array>

#include "host/host.h"
#include "host/korvex.h"
#include "platform/win32.h"
#include "support/bounded_text.h"

namespace {

using korvex::FormatBounded;
using Text = std::array<WCHAR, korvex::TEXT_CAPACITY>;

// True for the first caller in the user's session. The handle is never closed: it keeps the others out until the process ends.
bool IsOnlyInstance()
{
    CreateMutexW(nullptr, FALSE, TEXT("kxSetupMUTEX"));
    return GetLastError() != ERROR_ALREADY_EXISTS;
}

void RunMessageLoop()
{
    MSG message{};
    while (GetMessageW(&message, nullptr, 0, 0) > 0) {
        TranslateMessage(&message);
        DispatchMessageW(&message);
    }
}

void RunDetection()
{
    korvex::StartHost(korvex::HOST_DETECT);
    // Without a context there is no window that could end the loop.
    if (korvex::FindHostContext(GetModuleHandleW(nullptr)) != nullptr)
        RunMessageLoop();
}

// The folder of the calibration program; false when the registry does not name one.
bool ReadProgramFolder(Text* folder)
{
    HKEY key = nullptr;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, TEXT("SOFTWARE\\Korvex"), 0, KEY_ALL_ACCESS, &key) != ERROR_SUCCESS)
        return false;
    DWORD type = 0;
    auto size = static_cast<DWORD>((folder->size() - 1) * sizeof(WCHAR)); // the registry does not promise a terminator
    const LONG result = RegQueryValueExW(key, TEXT("Path"), nullptr, &type, reinterpret_cast<BYTE*>(folder->data()), &size);
    RegCloseKey(key);
    return result == ERROR_SUCCESS && type == REG_SZ;
}

void LaunchCalibration(const Text* parameters)
{
    Text folder{};
    Text program{};
    if (!ReadProgramFolder(&folder))
        return;
    FormatBounded(program.data(), program.size(), TEXT("%s\\KxConsole.exe"), folder.data());
    ShellExecuteW(nullptr, TEXT("open"), program.data(), parameters->data(), nullptr, SW_SHOW);
}

} // namespace

extern "C" {

void CALLBACK kxENUM()
{
    RunDetection();
}

void CALLBACK kxENUMW(HWND /*window*/, HINSTANCE /*instance*/, LPWSTR /*text*/, int /*show*/)
{
    if (IsOnlyInstance())
        RunDetection();
}

void CALLBACK kxCALIB(int number)
{
    Text parameters{};
    FormatBounded(parameters.data(), parameters.size(), TEXT("-calibration %d"), number);
    LaunchCalibration(&parameters);
}

void CALLBACK kxCALIBW(HWND /*window*/, HINSTANCE /*instance*/, LPWSTR text, int /*show*/)
{
    Text parameters{};
    FormatBounded(parameters.data(), parameters.size(), TEXT("-calibration %s"), text);
    LaunchCalibration(&parameters);
}
}

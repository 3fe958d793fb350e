#include <array>

#include "discovery/co_installer.h"
#include "host/host.h"
#include "host/korvex.h"
#include "host/panel_test.h"
#include "platform/win32.h"
#include "support/bounded_text.h"
#include "support/owned.h"

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

void RunPanelTest()
{
    korvex::StartHost(korvex::HOST_DETECT | korvex::HOST_PANEL_TEST);
    korvex::StartPanelTest();
    if (korvex::FindPanelTestContext(GetModuleHandleW(nullptr)) != nullptr)
        RunMessageLoop();
    else
        korvex::DestroyHostContext(); // its worker waits for the test's window
}

// The folder of the calibration program; false when the registry does not name one. The unit behind the longest is always zero: the
// registry does not promise a terminator.
bool ReadProgramFolder(std::array<WCHAR, korvex::TEXT_CAPACITY + 1>* folder)
{
    korvex::OwnedKey key(nullptr);
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, TEXT("SOFTWARE\\Korvex"), 0, KEY_ALL_ACCESS, &key.value) != ERROR_SUCCESS)
        return false;
    DWORD type = 0;
    DWORD size = korvex::TEXT_CAPACITY * sizeof(WCHAR);
    const LONG result = RegQueryValueExW(key.value, TEXT("Path"), nullptr, &type, reinterpret_cast<BYTE*>(folder->data()), &size);
    return result == ERROR_SUCCESS && type == REG_SZ;
}

void LaunchCalibration(const Text* parameters)
{
    std::array<WCHAR, korvex::TEXT_CAPACITY + 1> folder{};
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

void CALLBACK kxPANELTEST()
{
    RunPanelTest();
}

void CALLBACK kxPANELTESTW(HWND /*window*/, HINSTANCE /*instance*/, LPWSTR /*text*/, int /*show*/)
{
    if (IsOnlyInstance())
        RunPanelTest();
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

DWORD CALLBACK kxCoInstaller(DI_FUNCTION function, HDEVINFO devices, SP_DEVINFO_DATA* element, COINSTALLER_CONTEXT_DATA* context)
{
    if (function == DIF_INSTALLDEVICE)
        return korvex::HandleInstallDevice(devices, element, context->PostProcessing);
    if (function == DIF_REMOVE && context->PostProcessing == FALSE)
        return korvex::HandleRemoveDevice(devices, element);
    return NO_ERROR;
}
}

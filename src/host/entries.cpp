#include <array>
#include <cstddef>

#include "discovery/co_installer.h"
#include "host/host.h"
#include "host/machine_hook.h"
#include "host/panel_test.h"
#include "korvex/korvex.h"
#include "platform/win32.h"
#include "support/bounded_text.h"
#include "support/owned.h"

namespace {

using korvex::FormatBounded;
using Text = std::array<WCHAR, korvex::TEXT_CAPACITY>;

// The public header's records are the platform's.
static_assert(sizeof(KxDevice) == sizeof(SP_DEVINFO_DATA)
    && offsetof(KxDevice, instance) == offsetof(SP_DEVINFO_DATA, DevInst)
    && offsetof(KxDevice, setupClass) == offsetof(SP_DEVINFO_DATA, ClassGuid)
    && offsetof(KxDevice, reserved) == offsetof(SP_DEVINFO_DATA, Reserved));
static_assert(sizeof(KxCoInstallerContext) == sizeof(COINSTALLER_CONTEXT_DATA)
    && offsetof(KxCoInstallerContext, postProcessing)
        == offsetof(COINSTALLER_CONTEXT_DATA, PostProcessing));
static_assert(KX_DIF_INSTALLDEVICE == DIF_INSTALLDEVICE && KX_DIF_REMOVE == DIF_REMOVE
    && KX_ERROR_DI_POSTPROCESSING_REQUIRED == static_cast<DWORD>(ERROR_DI_POSTPROCESSING_REQUIRED));

// True for the first caller in the user's session. The handle is never closed: it keeps the others
// out until the process ends.
bool IsOnlyInstance()
{
    CreateMutexW(nullptr, FALSE, korvex::SINGLE_MUTEX);
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
    if (korvex::FindHostContext(GetModuleHandleW(nullptr)) == nullptr)
        return; // nothing would be detected, and no message end the test
    korvex::StartPanelTest();
    if (korvex::FindPanelTestContext(GetModuleHandleW(nullptr)) != nullptr)
        RunMessageLoop();
    else
        korvex::DestroyHostContext(); // its worker waits for the test's window
}

// The folder of the calibration program; false when the registry does not name one. One unit more
// than the longest value is always zero: the registry does not promise a terminator.
bool ReadProgramFolder(std::array<WCHAR, korvex::TEXT_CAPACITY + 1>* folder)
{
    korvex::OwnedKey key(nullptr);
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, TEXT("SOFTWARE\\Korvex"), 0, KEY_ALL_ACCESS, &key.value)
        != ERROR_SUCCESS)
        return false;
    DWORD type = 0;
    DWORD size = korvex::TEXT_CAPACITY * sizeof(WCHAR);
    const LONG result = RegQueryValueExW(
        key.value, TEXT("Path"), nullptr, &type, reinterpret_cast<BYTE*>(folder->data()), &size);
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

void KORVEX_CALL kxENUM()
{
    korvex::PrepareMachine();
    RunDetection();
}

void KORVEX_CALL kxENUMW(void* /*window*/, void* /*instance*/, KxChar* /*text*/, int /*show*/)
{
    korvex::PrepareMachine();
    if (IsOnlyInstance())
        RunDetection();
}

void KORVEX_CALL kxPANELTEST()
{
    korvex::PrepareMachine();
    RunPanelTest();
}

void KORVEX_CALL kxPANELTESTW(void* /*window*/, void* /*instance*/, KxChar* /*text*/, int /*show*/)
{
    korvex::PrepareMachine();
    if (IsOnlyInstance())
        RunPanelTest();
}

void KORVEX_CALL kxCALIB(int number)
{
    korvex::PrepareMachine();
    Text parameters{};
    FormatBounded(parameters.data(), parameters.size(), TEXT("-calibration %d"), number);
    LaunchCalibration(&parameters);
}

void KORVEX_CALL kxCALIBW(void* /*window*/, void* /*instance*/, KxChar* text, int /*show*/)
{
    korvex::PrepareMachine();
    Text parameters{};
    FormatBounded(parameters.data(), parameters.size(), TEXT("-calibration %s"), text);
    LaunchCalibration(&parameters);
}

uint32_t KORVEX_CALL kxCoInstaller(uint32_t function, void* devices, void* device, void* context)
{
    korvex::PrepareMachine();
    auto* element = static_cast<SP_DEVINFO_DATA*>(device);
    const auto isSecondPass = [context] {
        return static_cast<const COINSTALLER_CONTEXT_DATA*>(context)->PostProcessing;
    };
    if (function == DIF_INSTALLDEVICE)
        return korvex::HandleInstallDevice(devices, element, isSecondPass());
    if (function == DIF_REMOVE && isSecondPass() == FALSE)
        return korvex::HandleRemoveDevice(devices, element);
    return NO_ERROR;
}
}

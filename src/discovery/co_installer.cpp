#include "discovery/co_installer.h"

#include <array>
#include <cstdint>

#include "calibration/settings_file.h"
#include "discovery/device_nodes.h"
#include "discovery/model_table.h"
#include "link/device_properties.h"
#include "link/driver_requests.h"
#include "support/bounded_text.h"
#include "support/owned.h"

namespace korvex {

namespace {

using Text = std::array<WCHAR, TEXT_CAPACITY>;

constexpr const WCHAR* OPTION_SECTION = TEXT("Option");
constexpr const WCHAR* REPORT_MODE_KEY = TEXT("TouchReport");
constexpr const WCHAR* SUSPEND_KEY = TEXT("SelSuspend");
constexpr const WCHAR* TABLET_VALUE = TEXT("TabletPC");

// Major versions of Windows.
// XP is 5.1; a Tablet PC edition of it takes tablet reports
constexpr DWORD WINDOWS_2000_AND_XP = 5;
constexpr DWORD VISTA = 6; // from here on every edition can take them

// The settings file in the system folder.
struct SettingsFile {
    Text path;
    bool exists;
};

SettingsFile FindSettingsFile()
{
    SettingsFile file{};
    file.exists = LocateSettingsFile(file.path.data());
    return file;
}

// A value of the section "Option"; the result is its length.
DWORD ReadOption(const SettingsFile* file, const WCHAR* key, const WCHAR* fallback, Text* value)
{
    return GetPrivateProfileStringW(OPTION_SECTION, key, fallback, value->data(),
        static_cast<DWORD>(value->size()), file->path.data());
}

OSVERSIONINFOEXW SystemVersion()
{
    OSVERSIONINFOEXW version{};
    version.dwOSVersionInfoSize = sizeof(version);
    GetVersionExW(reinterpret_cast<OSVERSIONINFOW*>(&version));
    return version;
}

bool IsTabletPc()
{
    return GetSystemMetrics(SM_TABLETPC) == 1;
}

HKEY OpenHardwareKey(HDEVINFO devices, SP_DEVINFO_DATA* element)
{
    return SetupDiOpenDevRegKey(devices, element, DICS_FLAG_GLOBAL, 0, DIREG_DEV, KEY_WRITE);
}

void WriteByte(HKEY key, const WCHAR* name, bool value)
{
    const BYTE byte = value ? 1 : 0;
    RegSetValueExW(key, name, 0, REG_BINARY, &byte, sizeof(byte));
}

void WriteText(HKEY key, const WCHAR* name, const WCHAR* value)
{
    size_t bytes = 0;
    ByteLengthBounded(value, TEXT_CAPACITY * sizeof(WCHAR), &bytes);
    RegSetValueExW(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(value),
        static_cast<DWORD>(bytes + sizeof(WCHAR)));
}

// The driver's values at its start.
void WriteDriverSettings(HDEVINFO devices, SP_DEVINFO_DATA* element)
{
    const SettingsFile file = FindSettingsFile();
    const OSVERSIONINFOEXW version = SystemVersion();
    bool tablet = false;
    bool suspend = false;
    if (version.dwMajorVersion >= VISTA) {
        suspend = true;
        tablet = version.wProductType == VER_NT_WORKSTATION || IsTabletInputServicePresent();
    } else if (version.dwMajorVersion == WINDOWS_2000_AND_XP && version.dwMinorVersion == 1) {
        tablet = IsTabletPc();
    }
    if (file.exists) {
        Text value{};
        const bool given = ReadOption(&file, REPORT_MODE_KEY, TEXT("1"), &value) != 0;
        const int32_t mode = ParseInteger(value.data());
        if (given && (mode == REPORT_MODE_TABLET || mode == REPORT_MODE_MOUSE))
            tablet = mode == REPORT_MODE_TABLET;
        ReadOption(&file, SUSPEND_KEY, TEXT("0"), &value);
        suspend = ParseInteger(value.data()) != 0;
    }
    const OwnedKey key(OpenHardwareKey(devices, element));
    if (!IsOpen(key.value))
        return;
    const DWORD suspendOn = suspend ? 1 : 0;
    WriteByte(key.value, TEXT("SelectiveSuspendEnabled"), true);
    RegSetValueExW(key.value, TEXT("SelectiveSuspendOn"), 0, REG_DWORD,
        reinterpret_cast<const BYTE*>(&suspendOn), sizeof(suspendOn));
    WriteByte(key.value, TABLET_VALUE, tablet);
}

// The report mode by the system's version, or as the settings file wants it where the system can do
// that.
int ChooseReportMode()
{
    const SettingsFile file = FindSettingsFile();
    const DWORD version = SystemVersion().dwMajorVersion;
    const bool canBeTablet = version >= VISTA || IsTabletPc();
    if (file.exists) {
        Text value{};
        SetLastError(ERROR_SUCCESS);
        const DWORD length = ReadOption(&file, REPORT_MODE_KEY, TEXT("1"), &value);
        std::array<WCHAR, 256> line{};
        FormatBounded(line.data(), line.size(),
            TEXT("GetPrivateProfileString() Bytes Copied : %d ; Error : %d ; Buffer %s\n"), length,
            GetLastError(), value.data());
        OutputDebugStringW(line.data());
        if (length != 0)
            return ParseInteger(value.data()) == REPORT_MODE_TABLET && canBeTablet
                ? REPORT_MODE_TABLET
                : REPORT_MODE_MOUSE;
    }
    return version >= WINDOWS_2000_AND_XP && canBeTablet ? REPORT_MODE_TABLET : REPORT_MODE_MOUSE;
}

void SettleReportMode(HDEVINFO devices, SP_DEVINFO_DATA* element)
{
    PropertyText hardwareId{};
    ReadFirstEntry(devices, element, SPDRP_HARDWAREID, &hardwareId);
    const OwnedHandle driver(OpenTouchDevice(hardwareId.data()));
    const int mode = ChooseReportMode();
    {
        const OwnedKey key(OpenHardwareKey(devices, element));
        if (IsOpen(key.value))
            WriteByte(key.value, TABLET_VALUE, mode == REPORT_MODE_TABLET);
    }
    if (mode == REPORT_MODE_MOUSE)
        ApplyDoubleClickSettings();
    if (mode == REPORT_MODE_TABLET
        || BusKindFromHardwareId(devices, element) == BUS_SERIAL_ENUMERATOR)
        SetNeedReboot(devices, element);
    SetReportMode(driver.value, mode);
}

} // namespace

DWORD HandleInstallDevice(HDEVINFO devices, SP_DEVINFO_DATA* element, BOOL postProcessing)
{
    if (postProcessing == FALSE) {
        WriteDriverSettings(devices, element);
        return ERROR_DI_POSTPROCESSING_REQUIRED;
    }
    SettleReportMode(devices, element);
    return NO_ERROR;
}

DWORD HandleRemoveDevice(HDEVINFO /*devices*/, SP_DEVINFO_DATA* element)
{
    RemoveChildDevices(element->DevInst);
    return NO_ERROR;
}

void ApplyDoubleClickSettings()
{
    OwnedKey key(nullptr);
    if (RegOpenKeyExW(
            HKEY_CURRENT_USER, TEXT("Control Panel\\Mouse"), 0, KEY_ALL_ACCESS, &key.value)
        != ERROR_SUCCESS)
        return;
    WriteText(key.value, TEXT("DoubleClickWidth"), TEXT("25"));
    WriteText(key.value, TEXT("DoubleClickHeight"), TEXT("25"));
    WriteText(key.value, TEXT("DoubleClickSpeed"), TEXT("800"));
}

bool IsTabletInputServicePresent()
{
    const OwnedService service(OpenServiceByName(TEXT("TabletInputService"), SERVICE_ALL_ACCESS));
    return service.value != nullptr;
}

} // namespace korvex

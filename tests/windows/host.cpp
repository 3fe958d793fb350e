// A program that loads KORVEX.dll and calls one of its functions, as rundll32 and the device installer do.
//   host ENTRY [TEXT]                 calls the entry, with TEXT as the command line of an entry in W and as the number of kxCALIB
//   host register-port N              makes COM<N> a device that SetupAPI lists, with the device path \\?\root#ports#000<N>#{...}
//   host install|remove ID            calls the co-installer for it as the device installer does, and prints results and values
//   host set-path DIR                 stores the folder of the calibration program
//   host report-version NAME          has Wine give this program the version "winxp", "win7", ... from the next start on
//   host watch-clicks                 shows a window "Clicks" and prints where the first button is pressed and released on it
//   host status-text                  prints the text that the status window shows
// Under the name KxConsole.exe it is a stand-in for the calibration program: it writes its command line to started.txt.
// Prints what it is told on standard output; exit code 3 when a function is missing.
#include <windows.h>

#include <cfgmgr32.h>
#include <setupapi.h>

#include <array>
#include <bit>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

constexpr GUID COM_PORT_INTERFACE = {0x86E0D1E0, 0x8089, 0x11D0, {0x9C, 0xE4, 0x08, 0x00, 0x3E, 0x30, 0x1F, 0x73}};
constexpr GUID PORTS_CLASS = {0x4D36E978, 0xE325, 0x11CE, {0xBF, 0xC1, 0x08, 0x00, 0x2B, 0xE1, 0x03, 0x18}};
constexpr int MISSING = 3;

template <typename Function>
Function Find(const char* name)
{
    HMODULE library = LoadLibraryW(L"KORVEX.dll");
    const auto function = std::bit_cast<Function>(GetProcAddress(library, name));
    if (function == nullptr) {
        printf("missing: %s\n", name);
        exit(MISSING);
    }
    return function;
}

void CallEntry(const std::wstring& entry, const std::wstring& text)
{
    const std::string name(entry.begin(), entry.end());
    std::wstring line = text;
    if (name == "kxCALIB")
        Find<void(CALLBACK*)(int)>(name.c_str())(_wtoi(text.c_str()));
    else if (name.ends_with('W'))
        Find<void(CALLBACK*)(HWND, HINSTANCE, LPWSTR, int)>(name.c_str())(nullptr, nullptr, line.data(), SW_SHOW);
    else
        Find<void(CALLBACK*)()>(name.c_str())();
}

bool Check(bool done, const char* what)
{
    if (!done)
        printf("failed: %s, error %lX\n", what, GetLastError());
    return done;
}

// What the plug-and-play manager writes for a device that is present.
void MarkPresent(const std::wstring& path)
{
    const std::wstring key
        = L"System\\CurrentControlSet\\Control\\DeviceClasses\\{86E0D1E0-8089-11D0-9CE4-08003E301F73}\\" + path + L"\\#\\Control";
    HKEY control = nullptr;
    const DWORD linked = 1;
    Check(RegCreateKeyExW(HKEY_LOCAL_MACHINE, key.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &control, nullptr) == ERROR_SUCCESS,
        "the interface's key");
    RegSetValueExW(control, L"Linked", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&linked), sizeof(linked));
    RegCloseKey(control);
}

bool RegisterPort(const std::wstring& number)
{
    const std::wstring instance = L"ROOT\\PORTS\\000" + number;
    HDEVINFO devices = SetupDiCreateDeviceInfoList(&PORTS_CLASS, nullptr);
    SP_DEVINFO_DATA element{};
    element.cbSize = sizeof(element);
    if (!Check(SetupDiCreateDeviceInfoW(devices, instance.c_str(), &PORTS_CLASS, nullptr, nullptr, 0, &element) != FALSE, "the device")
        || !Check(SetupDiRegisterDeviceInfo(devices, &element, 0, nullptr, nullptr, nullptr) != FALSE, "its registration")
        || !Check(SetupDiCreateDeviceInterfaceW(devices, &element, &COM_PORT_INTERFACE, nullptr, 0, nullptr) != FALSE, "its interface"))
        return false;
    HKEY key = SetupDiCreateDevRegKeyW(devices, &element, DICS_FLAG_GLOBAL, 0, DIREG_DEV, nullptr, nullptr);
    const std::wstring name = L"COM" + number;
    RegSetValueExW(
        key, L"PortName", 0, REG_SZ, reinterpret_cast<const BYTE*>(name.c_str()), static_cast<DWORD>((name.size() + 1) * sizeof(WCHAR)));
    RegCloseKey(key);
    MarkPresent(L"##?#ROOT#PORTS#000" + number + L"#{86E0D1E0-8089-11D0-9CE4-08003E301F73}");
    SetupDiDestroyDeviceInfoList(devices);
    return true;
}

// Creates the device, or opens the one that is there.
HDEVINFO OpenDevice(const std::wstring& hardwareId, SP_DEVINFO_DATA* element)
{
    HDEVINFO devices = SetupDiCreateDeviceInfoList(&PORTS_CLASS, nullptr);
    *element = {};
    element->cbSize = sizeof(*element);
    const std::wstring instance = L"ROOT\\TOUCH\\0000";
    if (SetupDiOpenDeviceInfoW(devices, instance.c_str(), nullptr, 0, element) != FALSE)
        return devices;
    Check(SetupDiCreateDeviceInfoW(devices, instance.c_str(), &PORTS_CLASS, nullptr, nullptr, 0, element) != FALSE, "the device");
    const std::wstring list = hardwareId + L'\0';
    Check(SetupDiSetDeviceRegistryPropertyW(devices, element, SPDRP_HARDWAREID, reinterpret_cast<const BYTE*>(list.c_str()),
              static_cast<DWORD>((list.size() + 1) * sizeof(WCHAR)))
            != FALSE,
        "its hardware ID");
    Check(SetupDiRegisterDeviceInfo(devices, element, 0, nullptr, nullptr, nullptr) != FALSE, "its registration");
    RegCloseKey(SetupDiCreateDevRegKeyW(devices, element, DICS_FLAG_GLOBAL, 0, DIREG_DEV, nullptr, nullptr));
    return devices;
}

void PrintValue(HKEY key, const wchar_t* name)
{
    std::array<BYTE, 64> data{};
    DWORD size = sizeof(data);
    DWORD type = 0;
    if (RegQueryValueExW(key, name, nullptr, &type, data.data(), &size) != ERROR_SUCCESS)
        printf("%ls none\n", name);
    else if (type == REG_SZ)
        printf("%ls text %ls, %lu bytes\n", name, reinterpret_cast<const wchar_t*>(data.data()), size);
    else
        printf("%ls type %lu, %lu bytes, %u\n", name, type, size, data[0]);
}

void Coinstall(bool install, const std::wstring& hardwareId)
{
    using CoInstaller = DWORD(CALLBACK*)(DI_FUNCTION, HDEVINFO, SP_DEVINFO_DATA*, COINSTALLER_CONTEXT_DATA*);
    const auto coInstaller = Find<CoInstaller>("kxCoInstaller");
    SP_DEVINFO_DATA element{};
    HDEVINFO devices = OpenDevice(hardwareId, &element);
    COINSTALLER_CONTEXT_DATA context{};
    printf("first pass %lX\n", coInstaller(install ? DIF_INSTALLDEVICE : DIF_REMOVE, devices, &element, &context));
    HKEY key = SetupDiOpenDevRegKey(devices, &element, DICS_FLAG_GLOBAL, 0, DIREG_DEV, KEY_READ);
    for (const wchar_t* name : {L"SelectiveSuspendEnabled", L"SelectiveSuspendOn", L"TabletPC"})
        PrintValue(key, name);
    if (!install)
        return;
    context.PostProcessing = TRUE;
    printf("second pass %lX\n", coInstaller(DIF_INSTALLDEVICE, devices, &element, &context));
    PrintValue(key, L"TabletPC");
    RegCloseKey(key);
    SP_DEVINSTALL_PARAMS_W parameters{};
    parameters.cbSize = sizeof(parameters);
    SetupDiGetDeviceInstallParamsW(devices, &element, &parameters);
    printf("restart %s\n", (parameters.Flags & DI_NEEDREBOOT) != 0 ? "yes" : "no");
    RegOpenKeyExW(HKEY_CURRENT_USER, L"Control Panel\\Mouse", 0, KEY_READ, &key);
    for (const wchar_t* name : {L"DoubleClickWidth", L"DoubleClickHeight", L"DoubleClickSpeed"})
        PrintValue(key, name);
    RegCloseKey(key);
    SetupDiDestroyDeviceInfoList(devices);
}

void WriteText(HKEY root, const wchar_t* path, const wchar_t* name, const std::wstring& text)
{
    HKEY key = nullptr;
    RegCreateKeyExW(root, path, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr);
    RegSetValueExW(
        key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()), static_cast<DWORD>((text.size() + 1) * sizeof(WCHAR)));
    RegCloseKey(key);
}

void PrintStatusText()
{
    std::array<wchar_t, 260> text{};
    HWND line = FindWindowExW(FindWindowW(L"kxSetup", nullptr), nullptr, L"STATIC", nullptr);
    SendMessageW(line, WM_GETTEXT, text.size(), reinterpret_cast<LPARAM>(text.data()));
    printf("%ls\n", text.data());
}

LRESULT CALLBACK WatchClicks(HWND window, UINT message, WPARAM wParam, LPARAM lParam)
{
    if (message == WM_LBUTTONDOWN || message == WM_LBUTTONUP) {
        POINT place{};
        GetCursorPos(&place);
        printf("%s %ld %ld\n", message == WM_LBUTTONDOWN ? "down" : "up", place.x, place.y);
    }
    return DefWindowProcW(window, message, wParam, lParam);
}

void ShowClicks()
{
    WNDCLASSW windowClass{};
    windowClass.lpfnWndProc = WatchClicks;
    windowClass.lpszClassName = L"clicks";
    RegisterClassW(&windowClass);
    CreateWindowExW(0, L"clicks", L"Clicks", WS_POPUP | WS_VISIBLE, 200, 300, 300, 200, nullptr, nullptr, nullptr, nullptr);
    MSG message{};
    while (GetMessageW(&message, nullptr, 0, 0) > 0)
        DispatchMessageW(&message);
}

// The folder of this program, where the test looks.
void WriteCommandLine()
{
    std::array<wchar_t, 260> path{};
    GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
    const std::wstring folder(path.data(), std::wstring(path.data()).rfind(L'\\') + 1);
    FILE* file = _wfopen((folder + L"started.new").c_str(), L"w");
    fprintf(file, "%ls", GetCommandLineW());
    fclose(file);
    MoveFileW((folder + L"started.new").c_str(), (folder + L"started.txt").c_str());
}

} // namespace

int wmain(int argc, wchar_t** argv)
{
    setvbuf(stdout, nullptr, _IONBF, 0);
    const std::wstring command = argc > 1 ? argv[1] : L"";
    const std::wstring argument = argc > 2 ? argv[2] : L"";
    if (command == L"register-port")
        return RegisterPort(argument) ? EXIT_SUCCESS : EXIT_FAILURE;
    if (std::wstring(GetCommandLineW()).find(L"KxConsole") != std::wstring::npos)
        WriteCommandLine();
    else if (command == L"set-path")
        WriteText(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Korvex", L"Path", argument);
    else if (command == L"report-version")
        WriteText(HKEY_CURRENT_USER, L"Software\\Wine\\AppDefaults\\host.exe", L"Version", argument);
    else if (command == L"watch-clicks")
        ShowClicks();
    else if (command == L"status-text")
        PrintStatusText();
    else if (command == L"install" || command == L"remove")
        Coinstall(command == L"install", argument);
    else
        CallEntry(command, argument);
    puts("returned");
    return EXIT_SUCCESS;
}

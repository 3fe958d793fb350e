// A program that loads KORVEX.dll and calls one of its functions, as rundll32 and the device
// installer do. What it is told, one a line, of which it prints what comes of it:
//
//   ENTRY [TEXT]               calls the entry, TEXT as the command line of an entry in W and the
//                              number of kxCALIB, and prints what the DLL asks Windows for on the
//                              way; programs and message boxes are not started or shown
//   register-port N            makes COM<N> a device that SetupAPI lists, with the device path
//                              \\?\root#ports#000<N>#{...}
//   install|remove ID          calls the co-installer as the device installer does
//   set-path TYPE UNITS TEXT   stores the folder of the calibration program as a value of this type
//                              and length, without a terminator where the text does not end sooner;
//                              a single letter is repeated
//   watch-clicks               shows a window "Clicks", and where the first button goes down and up
//   status-text                the text that the status window shows
//   watcher EVENT              sends the watcher's window what Windows does when a port arrives,
//                              it wakes up or the user logs off; closes or ends its detection; or
//                              prints what it is like, and the detection's process, 0 for none
#include <windows.h>

#include <cfgmgr32.h>
#include <dbt.h>
#include <setupapi.h>
#include <shellapi.h>

#include <array>
#include <bit>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <span>
#include <string>
#include <type_traits>

namespace {

constexpr GUID COM_PORT_INTERFACE
    = {0x86E0D1E0, 0x8089, 0x11D0, {0x9C, 0xE4, 0x08, 0x00, 0x3E, 0x30, 0x1F, 0x73}};
constexpr GUID PORTS_CLASS
    = {0x4D36E978, 0xE325, 0x11CE, {0xBF, 0xC1, 0x08, 0x00, 0x2B, 0xE1, 0x03, 0x18}};

template <typename Function>
Function Find(const char* name)
{
    return std::bit_cast<Function>(GetProcAddress(LoadLibraryW(L"KORVEX.dll"), name));
}

// A value that the DLL hands over.
template <typename Value>
void Print(Value value)
{
    if constexpr (std::is_same_v<Value, LPCWSTR>) {
        printf(value == nullptr ? " none" : " \"%ls\"", value);
    } else if constexpr (std::is_same_v<Value, HWND>) {
        std::array<wchar_t, 64> name{L"none"};
        GetClassNameW(value, name.data(), static_cast<int>(name.size()));
        printf(" %ls", name.data());
    } else if constexpr (std::is_same_v<Value, HINSTANCE>) {
        printf(" %s", value == GetModuleHandleW(nullptr) ? "program" : "another module");
    } else if constexpr (std::is_same_v<Value, HKEY>) {
        printf(" %s", value == HKEY_LOCAL_MACHINE ? "machine" : "other");
    } else if constexpr (std::is_same_v<Value, HMENU>) {
        printf(" %u", std::bit_cast<unsigned>(value));
    } else if constexpr (std::is_same_v<Value, const WNDCLASSW*>) {
        LOGBRUSH brush{};
        GetObjectW(value->hbrBackground, sizeof(brush), &brush);
        Print(value->lpszClassName);
        printf(" style %X, extra %d+%d, %s cursor, background %06lX, menu", value->style,
            value->cbClsExtra, value->cbWndExtra,
            value->hCursor == LoadCursorW(nullptr, IDC_ARROW) ? "arrow" : "other", brush.lbColor);
        Print(value->lpszMenuName);
        Print(value->hInstance);
    } else if constexpr (std::is_pointer_v<Value>) {
        printf(value == nullptr ? " null" : " some");
    } else if constexpr (std::is_same_v<Value, int>) {
        printf(" %d", value);
    } else {
        printf(" %lX", static_cast<unsigned long>(value));
    }
}

// Prints each call of one function that the DLL imports, and makes it, unless an answer is given.
template <int NUMBER, typename Result, typename... Values>
void Watch(const char* called, Result(WINAPI* imported)(Values...),
    std::type_identity_t<std::optional<Result>> given = {})
{
    static const char* name;
    static Result(WINAPI * function)(Values...);
    static std::optional<Result> answer;
    name = called;
    function = imported;
    answer = given;
    struct Caller {
        static Result WINAPI Call(Values... values)
        {
            printf("%s", name);
            (Print(values), ...);
            puts("");
            return answer ? *answer : function(values...);
        }
    };
    auto* base = reinterpret_cast<BYTE*>(LoadLibraryW(L"KORVEX.dll"));
    const auto* headers = reinterpret_cast<const IMAGE_NT_HEADERS*>(
        base + reinterpret_cast<const IMAGE_DOS_HEADER*>(base)->e_lfanew);
    const IMAGE_DATA_DIRECTORY* table
        = &headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IAT];
    for (uintptr_t& entry : std::span(reinterpret_cast<uintptr_t*>(base + table->VirtualAddress),
             table->Size / sizeof(uintptr_t))) {
        if (entry != std::bit_cast<uintptr_t>(imported))
            continue;
        DWORD protection = 0;
        VirtualProtect(&entry, sizeof(entry), PAGE_READWRITE, &protection);
        entry = std::bit_cast<uintptr_t>(&Caller::Call);
        return;
    }
    printf("not imported: %s\n", called);
}

void WatchCalls()
{
    Watch<0>("RegisterClassW", RegisterClassW);
    Watch<1>("CreateWindowExW", CreateWindowExW);
    Watch<2>("ShowWindow", ShowWindow);
    Watch<3>("RedrawWindow", RedrawWindow);
    Watch<4>("SetTimer", SetTimer);
    Watch<5>("MessageBoxW", MessageBoxW, IDOK);
    Watch<6>("RegOpenKeyExW", RegOpenKeyExW);
    Watch<7>("ShellExecuteW", ShellExecuteW, std::bit_cast<HINSTANCE>(33)); // it has started
    Watch<8>("CreateMutexW", CreateMutexW);
}

void CallEntry(const std::wstring& entry, const std::wstring& text)
{
    const std::string name(entry.begin(), entry.end());
    std::wstring line = text;
    if (name == "kxCALIB")
        Find<void(CALLBACK*)(int)>(name.c_str())(_wtoi(text.c_str()));
    else if (name.ends_with('W'))
        Find<void(CALLBACK*)(HWND, HINSTANCE, LPWSTR, int)>(name.c_str())(
            nullptr, nullptr, line.data(), SW_SHOW);
    else
        Find<void(CALLBACK*)()>(name.c_str())();
}

void SetValue(HKEY root, const std::wstring& path, const wchar_t* name, DWORD type,
    const void* data, size_t size)
{
    HKEY key = nullptr;
    RegCreateKeyExW(root, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr);
    RegSetValueExW(key, name, 0, type, static_cast<const BYTE*>(data), static_cast<DWORD>(size));
    RegCloseKey(key);
}

// Creates the device, or opens the one that is there; its key too.
HDEVINFO OpenDevice(const std::wstring& instance, SP_DEVINFO_DATA* element, HKEY* key)
{
    HDEVINFO devices = SetupDiCreateDeviceInfoList(&PORTS_CLASS, nullptr);
    *element = {};
    element->cbSize = sizeof(*element);
    if (SetupDiOpenDeviceInfoW(devices, instance.c_str(), nullptr, 0, element) == FALSE) {
        SetupDiCreateDeviceInfoW(
            devices, instance.c_str(), &PORTS_CLASS, nullptr, nullptr, 0, element);
        SetupDiRegisterDeviceInfo(devices, element, 0, nullptr, nullptr, nullptr);
    }
    *key = SetupDiCreateDevRegKeyW(
        devices, element, DICS_FLAG_GLOBAL, 0, DIREG_DEV, nullptr, nullptr);
    return devices;
}

void RegisterPort(const std::wstring& number)
{
    SP_DEVINFO_DATA element{};
    HKEY key = nullptr;
    HDEVINFO devices = OpenDevice(L"ROOT\\PORTS\\000" + number, &element, &key);
    SetupDiCreateDeviceInterfaceW(devices, &element, &COM_PORT_INTERFACE, nullptr, 0, nullptr);
    const std::wstring name = L"COM" + number;
    SetValue(key, L"", L"PortName", REG_SZ, name.c_str(), (name.size() + 1) * sizeof(WCHAR));
    // The registry values that the plug-and-play manager writes for a device that is present.
    const std::wstring portInterface = L"{86E0D1E0-8089-11D0-9CE4-08003E301F73}";
    const DWORD linked = 1;
    SetValue(HKEY_LOCAL_MACHINE,
        L"System\\CurrentControlSet\\Control\\DeviceClasses\\" + portInterface
            + L"\\##?#ROOT#PORTS#000" + number + L"#" + portInterface + L"\\#\\Control",
        L"Linked", REG_DWORD, &linked, sizeof(linked));
}

void PrintValue(HKEY key, const wchar_t* name)
{
    std::array<BYTE, 64> data{};
    DWORD size = sizeof(data);
    DWORD type = 0;
    if (RegQueryValueExW(key, name, nullptr, &type, data.data(), &size) != ERROR_SUCCESS)
        printf("%ls none\n", name);
    else if (type == REG_SZ)
        printf(
            "%ls text %ls, %lu bytes\n", name, reinterpret_cast<const wchar_t*>(data.data()), size);
    else
        printf("%ls type %lu, %lu bytes, %u\n", name, type, size, data[0]);
}

void Coinstall(bool install, const std::wstring& hardwareId)
{
    using CoInstaller
        = DWORD(CALLBACK*)(DI_FUNCTION, HDEVINFO, SP_DEVINFO_DATA*, COINSTALLER_CONTEXT_DATA*);
    const auto coInstaller = Find<CoInstaller>("kxCoInstaller");
    SP_DEVINFO_DATA element{};
    HKEY key = nullptr;
    HDEVINFO devices = OpenDevice(L"ROOT\\TOUCH\\0000", &element, &key);
    const std::wstring list = hardwareId + L'\0';
    SetupDiSetDeviceRegistryPropertyW(devices, &element, SPDRP_HARDWAREID,
        reinterpret_cast<const BYTE*>(list.c_str()),
        static_cast<DWORD>((list.size() + 1) * sizeof(WCHAR)));
    COINSTALLER_CONTEXT_DATA context{};
    printf("first pass %lX\n",
        coInstaller(install ? DIF_INSTALLDEVICE : DIF_REMOVE, devices, &element, &context));
    for (const wchar_t* name : {L"SelectiveSuspendEnabled", L"SelectiveSuspendOn", L"TabletPC"})
        PrintValue(key, name);
    if (!install)
        return;
    context.PostProcessing = TRUE;
    printf("second pass %lX\n", coInstaller(DIF_INSTALLDEVICE, devices, &element, &context));
    PrintValue(key, L"TabletPC");
    SP_DEVINSTALL_PARAMS_W parameters{};
    parameters.cbSize = sizeof(parameters);
    SetupDiGetDeviceInstallParamsW(devices, &element, &parameters);
    printf("restart %s\n", (parameters.Flags & DI_NEEDREBOOT) != 0 ? "yes" : "no");
    RegOpenKeyExW(HKEY_CURRENT_USER, L"Control Panel\\Mouse", 0, KEY_READ, &key);
    for (const wchar_t* name : {L"DoubleClickWidth", L"DoubleClickHeight", L"DoubleClickSpeed"})
        PrintValue(key, name);
}

void PrintStatusText()
{
    std::array<wchar_t, 260> text{};
    HWND line = FindWindowExW(FindWindowW(L"kxSetup", nullptr), nullptr, L"STATIC", nullptr);
    SendMessageW(line, WM_GETTEXT, text.size(), reinterpret_cast<LPARAM>(text.data()));
    printf("%ls\n", text.data());
}

void TellWatcher(const std::wstring& event)
{
    HWND watcher = FindWindowW(L"kxWatch", nullptr);
    HWND detection = FindWindowW(L"kxSetup", nullptr);
    DWORD process = 0;
    GetWindowThreadProcessId(detection, &process);
    DEV_BROADCAST_DEVICEINTERFACE_W port{};
    port.dbcc_size = sizeof(port);
    port.dbcc_devicetype = DBT_DEVTYP_DEVICEINTERFACE;
    port.dbcc_classguid = COM_PORT_INTERFACE;
    if (event == L"arrival")
        SendMessageW(watcher, WM_DEVICECHANGE, DBT_DEVICEARRIVAL, reinterpret_cast<LPARAM>(&port));
    else if (event == L"wake-up")
        SendMessageW(watcher, WM_POWERBROADCAST, PBT_APMRESUMEAUTOMATIC, 0);
    else if (event == L"logoff")
        SendMessageW(watcher, WM_ENDSESSION, TRUE, 0);
    else if (event == L"close-detection") {
        PostMessageW(detection, WM_CLOSE, 0, 0);
        WaitForSingleObject(OpenProcess(SYNCHRONIZE, FALSE, process), INFINITE);
    } else if (event == L"end-detection") // as the task manager does
        TerminateProcess(OpenProcess(PROCESS_TERMINATE, FALSE, process), 1);
    else
        printf("%s %lu\n", IsWindowVisible(watcher) != FALSE ? "visible" : "hidden", process);
}

void ShowClicks()
{
    CreateWindowExW(0, L"STATIC", L"Clicks", WS_POPUP | WS_VISIBLE | SS_NOTIFY, 200, 300, 300, 200,
        nullptr, nullptr, nullptr, nullptr);
    for (MSG message{}; GetMessageW(&message, nullptr, 0, 0) > 0; DispatchMessageW(&message)) {
        if (message.message == WM_LBUTTONDOWN || message.message == WM_LBUTTONUP)
            printf("%s %ld %ld\n", message.message == WM_LBUTTONDOWN ? "down" : "up", message.pt.x,
                message.pt.y);
    }
}

void StorePath(DWORD type, size_t units, const std::wstring& text)
{
    std::wstring value;
    while (value.size() < units)
        value += text.size() > 1 ? text + L'\0' : text;
    value.resize(units);
    // Windows takes a zero after the last unit for a terminator that was not counted
    value += L'#';
    SetValue(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Korvex", L"Path", type, value.c_str(),
        units * sizeof(WCHAR));
}

} // namespace

int wmain(int argc, wchar_t** argv)
{
    setvbuf(stdout, nullptr, _IONBF, 0);
    const std::wstring command = argc > 1 ? argv[1] : L"";
    const std::wstring argument = argc > 2 ? argv[2] : L"";
    if (command == L"register-port")
        RegisterPort(argument);
    else if (command == L"set-path")
        StorePath(wcstoul(argv[2], nullptr, 10), wcstoul(argv[3], nullptr, 10), argv[4]);
    else if (command == L"watch-clicks")
        ShowClicks();
    else if (command == L"watcher")
        TellWatcher(argument);
    else if (command == L"status-text")
        PrintStatusText();
    else if (command == L"install" || command == L"remove")
        Coinstall(command == L"install", argument);
    else {
        WatchCalls();
        CallEntry(command, argument);
    }
    puts("returned");
    return EXIT_SUCCESS;
}

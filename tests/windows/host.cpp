// A program that loads KORVEX.dll and calls one of its functions, as rundll32 and the device
// installer do.
//   host ENTRY [TEXT]                 calls the entry, with TEXT as the command line of an entry in
//   W and as the number of kxCALIB, and prints
//                                     what the DLL asks Windows for on the way; programs and
//                                     message boxes are not started or shown
//   host plainly ENTRY [TEXT]         the same without looking on
//   host register-port N              makes COM<N> a device that SetupAPI lists, with the device
//   path \\?\root#ports#000<N>#{...} host install|remove ID            calls the co-installer for
//   it as the device installer does, and prints results and values host set-path TYPE UNITS TEXT
//   stores the folder of the calibration program as a value of this type and length, without a
//   terminator
//                                     where the text does not end sooner; a single letter is
//                                     repeated
//   host report-version NAME          has Wine give this program the version "winxp", "win7", ...
//   from the next start on host watch-clicks                 shows a window "Clicks" and prints
//   where the first button is pressed and released on it host status-text                  prints
//   the text that the status window shows
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

constexpr GUID COM_PORT_INTERFACE
    = {0x86E0D1E0, 0x8089, 0x11D0, {0x9C, 0xE4, 0x08, 0x00, 0x3E, 0x30, 0x1F, 0x73}};
constexpr GUID PORTS_CLASS
    = {0x4D36E978, 0xE325, 0x11CE, {0xBF, 0xC1, 0x08, 0x00, 0x2B, 0xE1, 0x03, 0x18}};
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

// "program" for the executable's own module, which the DLL's windows belong to.
const char* OwnerOf(HINSTANCE instance)
{
    return instance == GetModuleHandleW(nullptr) ? "program" : "another module";
}

ATOM WINAPI WatchRegisterClass(const WNDCLASSW* window)
{
    LOGBRUSH brush{};
    GetObjectW(window->hbrBackground, sizeof(brush), &brush);
    printf("class %ls style %X, extra %d+%d, %s cursor, background %06lX, menu %s, %s\n",
        window->lpszClassName, window->style, window->cbClsExtra, window->cbWndExtra,
        window->hCursor == LoadCursorW(nullptr, IDC_ARROW) ? "arrow" : "other", brush.lbColor,
        window->lpszMenuName == nullptr ? "none" : "some", OwnerOf(window->hInstance));
    return RegisterClassW(window);
}

HWND WINAPI WatchCreateWindow(DWORD extended, LPCWSTR name, LPCWSTR title, DWORD style, int x,
    int y, int width, int height, HWND parent, HMENU menu, HINSTANCE instance, LPVOID data)
{
    std::array<wchar_t, 64> parentClass{L"none"};
    GetClassNameW(parent, parentClass.data(), static_cast<int>(parentClass.size()));
    printf("window %ls \"%ls\" styles %lX %08lX at %d,%d of %dx%d, parent %ls, menu %u, %s\n", name,
        title, extended, style, x, y, width, height, parentClass.data(),
        std::bit_cast<unsigned>(menu), OwnerOf(instance));
    return CreateWindowExW(
        extended, name, title, style, x, y, width, height, parent, menu, instance, data);
}

BOOL WINAPI WatchShowWindow(HWND window, int show)
{
    std::array<wchar_t, 64> name{};
    GetClassNameW(window, name.data(), static_cast<int>(name.size()));
    printf("show %ls %d\n", name.data(), show);
    return ShowWindow(window, show);
}

BOOL WINAPI WatchRedrawWindow(HWND window, const RECT* area, HRGN region, UINT flags)
{
    printf("redraw %s %X\n", area == nullptr && region == nullptr ? "all" : "a part", flags);
    return RedrawWindow(window, area, region, flags);
}

UINT_PTR WINAPI WatchSetTimer(HWND window, UINT_PTR timer, UINT period, TIMERPROC procedure)
{
    printf("timer %u, %u ms\n", timer, period);
    return SetTimer(window, timer, period, procedure);
}

int WINAPI WatchMessageBox(HWND owner, LPCWSTR text, LPCWSTR caption, UINT type)
{
    const std::wstring shown(text);
    printf("box %s \"%ls\" (%s) \"%ls\" %X\n", owner == nullptr ? "of nobody" : "owned",
        shown.substr(0, shown.find(L'\n')).c_str(), shown.ends_with(L'\n') ? "line" : "text",
        caption, type);
    return IDOK;
}

LONG WINAPI WatchRegOpenKey(HKEY root, LPCWSTR path, DWORD options, REGSAM access, HKEY* key)
{
    printf(
        "key %s %ls, access %lX\n", root == HKEY_LOCAL_MACHINE ? "machine" : "other", path, access);
    return RegOpenKeyExW(root, path, options, access, key);
}

HINSTANCE WINAPI WatchShellExecute(
    HWND owner, LPCWSTR verb, LPCWSTR program, LPCWSTR parameters, LPCWSTR folder, int show)
{
    printf("start %s %ls \"%ls\" \"%ls\" in %ls, show %d\n",
        owner == nullptr ? "for nobody" : "for a window", verb, program, parameters,
        folder == nullptr ? L"no folder" : folder, show);
    return std::bit_cast<HINSTANCE>(33); // more than 32: started
}

HANDLE WINAPI WatchCreateMutex(SECURITY_ATTRIBUTES* security, BOOL owned, LPCWSTR name)
{
    printf("mutex %ls, %s, security %s\n", name, owned != FALSE ? "owned" : "free",
        security == nullptr ? "default" : "other");
    return CreateMutexW(security, owned, name);
}

// Has the DLL call another function in place of one that it imports.
void Divert(HMODULE library, const std::string& name, uintptr_t function)
{
    auto* base = reinterpret_cast<BYTE*>(library);
    const auto* headers = reinterpret_cast<const IMAGE_NT_HEADERS*>(
        base + reinterpret_cast<const IMAGE_DOS_HEADER*>(base)->e_lfanew);
    const DWORD imports
        = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT].VirtualAddress;
    for (auto* from = reinterpret_cast<IMAGE_IMPORT_DESCRIPTOR*>(base + imports); from->Name != 0;
        ++from) {
        const auto* imported
            = reinterpret_cast<const IMAGE_THUNK_DATA*>(base + from->OriginalFirstThunk);
        auto* address = reinterpret_cast<IMAGE_THUNK_DATA*>(base + from->FirstThunk);
        for (; imported->u1.AddressOfData != 0; ++imported, ++address) {
            if (name
                != reinterpret_cast<const char*>(
                    reinterpret_cast<IMAGE_IMPORT_BY_NAME*>(base + imported->u1.AddressOfData)
                        ->Name))
                continue;
            DWORD protection = 0;
            VirtualProtect(address, sizeof(*address), PAGE_READWRITE, &protection);
            address->u1.Function = function;
            return;
        }
    }
    printf("not imported: %s\n", name.c_str());
}

void WatchCalls()
{
    HMODULE library = LoadLibraryW(L"KORVEX.dll");
    Divert(library, "RegisterClassW", std::bit_cast<uintptr_t>(&WatchRegisterClass));
    Divert(library, "CreateWindowExW", std::bit_cast<uintptr_t>(&WatchCreateWindow));
    Divert(library, "ShowWindow", std::bit_cast<uintptr_t>(&WatchShowWindow));
    Divert(library, "RedrawWindow", std::bit_cast<uintptr_t>(&WatchRedrawWindow));
    Divert(library, "SetTimer", std::bit_cast<uintptr_t>(&WatchSetTimer));
    Divert(library, "MessageBoxW", std::bit_cast<uintptr_t>(&WatchMessageBox));
    Divert(library, "RegOpenKeyExW", std::bit_cast<uintptr_t>(&WatchRegOpenKey));
    Divert(library, "ShellExecuteW", std::bit_cast<uintptr_t>(&WatchShellExecute));
    Divert(library, "CreateMutexW", std::bit_cast<uintptr_t>(&WatchCreateMutex));
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

bool Check(bool done, const char* what)
{
    if (!done)
        printf("failed: %s, error %lX\n", what, GetLastError());
    return done;
}

void SetValue(HKEY root, const std::wstring& path, const wchar_t* name, DWORD type,
    const void* data, size_t size)
{
    HKEY key = nullptr;
    Check(RegCreateKeyExW(root, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr)
            == ERROR_SUCCESS,
        "a registry key");
    RegSetValueExW(key, name, 0, type, static_cast<const BYTE*>(data), static_cast<DWORD>(size));
    RegCloseKey(key);
}

bool RegisterPort(const std::wstring& number)
{
    const std::wstring instance = L"ROOT\\PORTS\\000" + number;
    HDEVINFO devices = SetupDiCreateDeviceInfoList(&PORTS_CLASS, nullptr);
    SP_DEVINFO_DATA element{};
    element.cbSize = sizeof(element);
    if (!Check(SetupDiCreateDeviceInfoW(
                   devices, instance.c_str(), &PORTS_CLASS, nullptr, nullptr, 0, &element)
                != FALSE,
            "the device")
        || !Check(
            SetupDiRegisterDeviceInfo(devices, &element, 0, nullptr, nullptr, nullptr) != FALSE,
            "its registration")
        || !Check(SetupDiCreateDeviceInterfaceW(
                      devices, &element, &COM_PORT_INTERFACE, nullptr, 0, nullptr)
                != FALSE,
            "its interface"))
        return false;
    HKEY key = SetupDiCreateDevRegKeyW(
        devices, &element, DICS_FLAG_GLOBAL, 0, DIREG_DEV, nullptr, nullptr);
    const std::wstring name = L"COM" + number;
    RegSetValueExW(key, L"PortName", 0, REG_SZ, reinterpret_cast<const BYTE*>(name.c_str()),
        static_cast<DWORD>((name.size() + 1) * sizeof(WCHAR)));
    RegCloseKey(key);
    // What the plug-and-play manager writes for a device that is present.
    const std::wstring portInterface = L"{86E0D1E0-8089-11D0-9CE4-08003E301F73}";
    const DWORD linked = 1;
    SetValue(HKEY_LOCAL_MACHINE,
        L"System\\CurrentControlSet\\Control\\DeviceClasses\\" + portInterface
            + L"\\##?#ROOT#PORTS#000" + number + L"#" + portInterface + L"\\#\\Control",
        L"Linked", REG_DWORD, &linked, sizeof(linked));
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
    Check(SetupDiCreateDeviceInfoW(
              devices, instance.c_str(), &PORTS_CLASS, nullptr, nullptr, 0, element)
            != FALSE,
        "the device");
    const std::wstring list = hardwareId + L'\0';
    Check(SetupDiSetDeviceRegistryPropertyW(devices, element, SPDRP_HARDWAREID,
              reinterpret_cast<const BYTE*>(list.c_str()),
              static_cast<DWORD>((list.size() + 1) * sizeof(WCHAR)))
            != FALSE,
        "its hardware ID");
    Check(SetupDiRegisterDeviceInfo(devices, element, 0, nullptr, nullptr, nullptr) != FALSE,
        "its registration");
    RegCloseKey(SetupDiCreateDevRegKeyW(
        devices, element, DICS_FLAG_GLOBAL, 0, DIREG_DEV, nullptr, nullptr));
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
    HDEVINFO devices = OpenDevice(hardwareId, &element);
    COINSTALLER_CONTEXT_DATA context{};
    printf("first pass %lX\n",
        coInstaller(install ? DIF_INSTALLDEVICE : DIF_REMOVE, devices, &element, &context));
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
    CreateWindowExW(0, L"clicks", L"Clicks", WS_POPUP | WS_VISIBLE, 200, 300, 300, 200, nullptr,
        nullptr, nullptr, nullptr);
    MSG message{};
    while (GetMessageW(&message, nullptr, 0, 0) > 0)
        DispatchMessageW(&message);
}

void StorePath(DWORD type, size_t units, const std::wstring& text)
{
    std::wstring value;
    while (value.size() < units)
        value += text.size() > 1 ? text + L'\0' : text;
    value.resize(units);
    // Windows takes a zero behind the last unit for a terminator that was not counted
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
        return RegisterPort(argument) ? EXIT_SUCCESS : EXIT_FAILURE;
    if (command == L"set-path")
        StorePath(wcstoul(argv[2], nullptr, 10), wcstoul(argv[3], nullptr, 10), argv[4]);
    else if (command == L"report-version")
        SetValue(HKEY_CURRENT_USER, L"Software\\Wine\\AppDefaults\\host.exe", L"Version", REG_SZ,
            argument.c_str(), (argument.size() + 1) * sizeof(WCHAR));
    else if (command == L"watch-clicks")
        ShowClicks();
    else if (command == L"status-text")
        PrintStatusText();
    else if (command == L"install" || command == L"remove")
        Coinstall(command == L"install", argument);
    else if (command == L"plainly")
        CallEntry(argument, argc > 3 ? argv[3] : L"");
    else {
        WatchCalls();
        CallEntry(command, argument);
    }
    puts("returned");
    return EXIT_SUCCESS;
}

#include "drivers/enumerator_filter.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <string>
#include <string_view>

#include "discovery/model_table.h"
#include "link/command_protocol.h"
#include "link/port_link.h"
#include "link/touch_controller.h"
#include "platform/linux/core/text.h"
#include "platform/linux/devices/device_tree.h"
#include "platform/linux/devices/port_nodes.h"
#include "platform/linux/devices/registry.h"
#include "platform/linux/files/whole_files.h"
#include "platform/linux/machine.h"
#include "platform/win32.h"
#include "support/owned.h"

namespace korvex::drivers {

namespace {

struct Parameters {
    std::u16string portName;
    DWORD alwaysExist;
    DWORD model;
    DWORD baudRate;
};

DWORD ReadNumber(HKEY key, const WCHAR* name)
{
    DWORD number = 0;
    DWORD size = sizeof(number);
    RegQueryValueExW(key, name, nullptr, nullptr, reinterpret_cast<BYTE*>(&number), &size);
    return number;
}

Parameters ReadParameters(DEVINST port)
{
    const std::u16string name = platform::ReadRegistryText(
        platform::HardwareKeyPath(platform::InstanceIdOf(port)), u"PortName");
    const OwnedKey key(platform::OpenRegistryPath(
        platform::ServiceKeyPath(ENUMERATOR_SERVICE) + u"\\Parameters\\" + name));
    return {name, ReadNumber(key.value, u"AlwaysExist"), ReadNumber(key.value, u"Model"),
        ReadNumber(key.value, u"BaudRate")};
}

enum class Presence { ANSWERS, SILENT, UNAVAILABLE };

// An error of opening proves nothing about the device on a port that is in use or forbidden; it
// does on a port that is gone.
bool CanBeAskedLater(DWORD error)
{
    return error == ERROR_SHARING_VIOLATION || error == ERROR_ACCESS_DENIED
        || error == ERROR_TOO_MANY_OPEN_FILES || error == ERROR_NOT_ENOUGH_MEMORY;
}

Presence ProbePort(DEVINST port, const Parameters* parameters)
{
    const std::u16string path = platform::FromNativePath(platform::NativePathOf(port));
    HANDLE handle = CreateFileW(
        path.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    if (handle == INVALID_HANDLE_VALUE)
        return CanBeAskedLater(GetLastError()) ? Presence::UNAVAILABLE : Presence::SILENT;
    TouchController* controller = CreateController();
    if (controller == nullptr) {
        CloseHandle(handle);
        return Presence::UNAVAILABLE;
    }
    LinkInit(&controller->link, handle, LINK_SERIAL, 0);
    controller->model = parameters->model;
    controller->reportLength = ReportLengthOf(parameters->model);
    const bool answers = ProbeBaudAt(controller, parameters->baudRate);
    ReleaseController(controller);
    return answers ? Presence::ANSWERS : Presence::SILENT;
}

std::u16string ChildId(const Parameters* parameters)
{
    std::array<char, 16> digits{};
    snprintf(digits.data(), digits.size(), "%04X", parameters->model);
    return u"SERENUM\\KVX" + platform::FromUtf8(digits.data()) + u"\\" + parameters->portName;
}

} // namespace

bool InstallEnumeratorService()
{
    constexpr std::u16string_view BINARY = u"system32\\drivers\\KXSERENUM.sys";
    constexpr std::string_view CONTENT
        = "stands for the serial enumerator filter, which is built in here\n";
    const std::u16string service = platform::ServiceKeyPath(ENUMERATOR_SERVICE);
    if (!platform::ReadRegistryText(service, u"ImagePath").empty())
        return true;
    const std::string path
        = platform::ThisMachine()->folders.windows + "/" + platform::ToNativePath(BINARY);
    const bool inPlace = platform::CreateWholeFile(path, CONTENT) || errno == EEXIST;
    return inPlace && platform::WriteRegistryText(service, u"ImagePath", BINARY);
}

void RegisterEnumeratorFilter()
{
    platform::SetFilterDriver(ENUMERATOR_SERVICE, StartEnumeratorFilter);
}

void StartEnumeratorFilter(DEVINST port)
{
    const Parameters parameters = ReadParameters(port);
    Presence presence = parameters.model == 0 ? Presence::SILENT : Presence::ANSWERS;
    if (presence == Presence::ANSWERS && parameters.alwaysExist == 0)
        presence = ProbePort(port, &parameters);
    if (presence == Presence::UNAVAILABLE)
        return;
    const ULONG status = platform::StatusOf(port) & ~DN_HAS_PROBLEM;
    platform::SetStatus(port, presence == Presence::ANSWERS ? status : status | DN_HAS_PROBLEM);
    platform::PresentChild(port, presence == Presence::ANSWERS ? ChildId(&parameters) : u"");
}

} // namespace korvex::drivers

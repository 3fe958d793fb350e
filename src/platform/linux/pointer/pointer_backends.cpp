#include "platform/linux/pointer/pointer_backends.h"

#include <algorithm>
#include <array>

#include "platform/linux/machine.h"
#include "platform/linux/pointer/pointer_log.h"
#include "platform/linux/pointer/pointer_uinput.h"
#include "platform/linux/pointer/pointer_x11.h"

namespace korvex::platform {

namespace {

bool DropInput(const PointerSettings& /*settings*/, std::string* /*reason*/)
{
    ThisMachine()->pointer = {.send = [](const INPUT* /*input*/) { return true; }};
    return true;
}

constexpr std::array KINDS{NamedPointerBackend{"x11", UseX11Pointer},
    NamedPointerBackend{"uinput", UseInputDevices}, NamedPointerBackend{"log", UseLoggedPointer},
    NamedPointerBackend{"none", DropInput}};

} // namespace

const NamedPointerBackend* FindPointerKind(const std::string& name)
{
    const auto* const found = std::find_if(KINDS.begin(), KINDS.end(),
        [&name](const NamedPointerBackend& kind) { return name == kind.name; });
    return found == KINDS.end() ? nullptr : found;
}

std::vector<std::string> PointerNames()
{
    std::vector<std::string> names;
    names.reserve(KINDS.size());
    for (const NamedPointerBackend& kind : KINDS)
        names.emplace_back(kind.name);
    return names;
}

} // namespace korvex::platform

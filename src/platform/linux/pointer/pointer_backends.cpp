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

constexpr std::array KINDS{PointerKind{"x11", UseX11Pointer},
    PointerKind{"uinput", UseInputDevices}, PointerKind{"log", UseLoggedPointer},
    PointerKind{"none", DropInput}};

} // namespace

const PointerKind* FindPointerKind(const std::string& name)
{
    const auto* const found = std::find_if(
        KINDS.begin(), KINDS.end(), [&name](const PointerKind& kind) { return name == kind.name; });
    return found == KINDS.end() ? nullptr : found;
}

std::vector<std::string> PointerNames()
{
    std::vector<std::string> names;
    names.reserve(KINDS.size());
    for (const PointerKind& kind : KINDS)
        names.emplace_back(kind.name);
    return names;
}

} // namespace korvex::platform

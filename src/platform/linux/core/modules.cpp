#include "platform/linux/core/modules.h"

#include <bit>
#include <string_view>

#include "platform/linux/core/text.h"
#include "platform/linux/core/threads.h"
#include "platform/linux/machine.h"

namespace {

// Stand for the modules; only their addresses matter.
char programModule = 0;
char kernelModule = 0;

} // namespace

HMODULE GetModuleHandleW(LPCWSTR name)
{
    if (name == nullptr)
        return reinterpret_cast<HMODULE>(&programModule);
    return korvex::platform::EqualNoCase(name, TEXT("kernel32.dll"))
        ? reinterpret_cast<HMODULE>(&kernelModule)
        : nullptr;
}

FARPROC GetProcAddress(HMODULE module, const char* name)
{
    const bool known = module == reinterpret_cast<HMODULE>(&kernelModule)
        && std::string_view(name) == "CancelSynchronousIo";
    return known && korvex::platform::ThisMachine()->tests.hasCancelSynchronousIo
        ? std::bit_cast<FARPROC>(&CancelSynchronousIo)
        : nullptr;
}

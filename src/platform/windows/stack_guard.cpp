// The guard value of -fstack-protector and the end of a process whose stack is overwritten, instead
// of GCC's own (libssp): that one loads a library for random numbers at its start, which a DLL must
// not do while it is being loaded (Microsoft, "Dynamic-Link Library Best Practices").
#include <windows.h>

#include <cstdint>

extern "C" {

uintptr_t __stack_chk_guard = 0;

[[noreturn]] void __stack_chk_fail()
{
    __builtin_trap(); // Windows reports it as a fault of the program
}

} // extern "C"

namespace {

// Mixes what another process cannot know exactly, as the start-up code of Microsoft's compiler
// does.
__attribute__((constructor, no_stack_protector)) void SetGuard()
{
    FILETIME time{};
    GetSystemTimeAsFileTime(&time);
    LARGE_INTEGER counter{};
    QueryPerformanceCounter(&counter);
    const uintptr_t place = reinterpret_cast<uintptr_t>(&counter);
    __stack_chk_guard = time.dwLowDateTime ^ time.dwHighDateTime ^ counter.LowPart
        ^ static_cast<DWORD>(counter.HighPart) ^ GetTickCount() ^ (GetCurrentProcessId() << 16)
        ^ GetCurrentThreadId() ^ place;
}

} // namespace

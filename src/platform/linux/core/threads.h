// Threads, events and locks.
#pragma once

#include <mutex>

#include "platform/linux/core/handles.h"
#include "platform/linux/core/types.h"

inline constexpr DWORD INFINITE = 0xFFFFFFFF;
inline constexpr DWORD WAIT_OBJECT_0 = 0;
inline constexpr DWORD WAIT_TIMEOUT = 258;
inline constexpr DWORD WAIT_FAILED = 0xFFFFFFFF;

struct CRITICAL_SECTION {
    std::recursive_mutex mutex;
};

void InitializeCriticalSection(CRITICAL_SECTION* section);
void DeleteCriticalSection(CRITICAL_SECTION* section);
void EnterCriticalSection(CRITICAL_SECTION* section);
void LeaveCriticalSection(CRITICAL_SECTION* section);

// Unnamed events only.
HANDLE CreateEventW(
    SECURITY_ATTRIBUTES* security, BOOL manualReset, BOOL initialState, LPCWSTR name);
BOOL SetEvent(HANDLE handle);

// Waits for an event, or for a thread's end, at most `milliseconds` (INFINITE: without limit). A
// thread that a wait has seen end is gone from the process. Any other handle: WAIT_FAILED at once.
DWORD WaitForSingleObject(HANDLE handle, DWORD milliseconds);

using ThreadRoutine = unsigned(__stdcall*)(void*);

// The C runtime's thread start: returns the thread's handle, which the caller closes, or 0 when the
// system refuses a thread.
// `stackSize` and `flags` must be 0.
uintptr_t _beginthreadex(void* security, unsigned stackSize, ThreadRoutine routine, void* argument,
    unsigned flags, unsigned* threadId);

BOOL GetExitCodeThread(HANDLE handle, DWORD* exitCode); // STILL_ACTIVE (259) while it runs
void Sleep(DWORD milliseconds);

// Ends the serial read, write or wait in which the thread blocks; that call fails with
// ERROR_OPERATION_ABORTED. Fails with ERROR_NOT_FOUND when the thread is in none: it may just be
// about to enter one.
BOOL CancelSynchronousIo(HANDLE handle);

namespace korvex::platform {

// How many threads of _beginthreadex are running.
int RunningThreads();

} // namespace korvex::platform

// Scoped locking.
#pragma once

#include "platform/win32.h"

namespace korvex {

// Holds a critical section while it lives.
struct LockGuard {
    CRITICAL_SECTION* section;

    explicit LockGuard(CRITICAL_SECTION* entered) : section(entered)
    {
        EnterCriticalSection(section);
    }
    ~LockGuard() { LeaveCriticalSection(section); }
    LockGuard(const LockGuard&) = delete;
    LockGuard& operator=(const LockGuard&) = delete;
};

} // namespace korvex

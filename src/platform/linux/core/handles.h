// What stands behind a HANDLE of this layer.
#pragma once

#include <memory>

#include "platform/linux/core/types.h"

namespace korvex::platform {

enum class HandleKind { EVENT, THREAD, FILE, SERIAL_PORT, DEVICE, MUTEX };

// The common start of every object; the record behind it is told by `kind`, and deleted through `close`.
struct HandleObject {
    HandleKind kind;
    void (*close)(HandleObject* object);
};

inline HandleObject* ObjectOf(HANDLE handle)
{
    return handle == nullptr || handle == INVALID_HANDLE_VALUE ? nullptr : static_cast<HandleObject*>(handle);
}

// The object behind `handle` when it is of the kind that T stands for (T::KIND), else null with ERROR_INVALID_HANDLE.
template <typename T>
T* ObjectAs(HANDLE handle)
{
    HandleObject* object = ObjectOf(handle);
    if (object == nullptr || object->kind != T::KIND) {
        SetLastError(ERROR_INVALID_HANDLE);
        return nullptr;
    }
    return static_cast<T*>(object);
}

// The Windows error that stands for an errno value.
DWORD ErrorFromErrno(int number);

// Sets the last error from `errno` and returns FALSE.
BOOL FailWithErrno();

// Sets the last error and returns FALSE.
BOOL Fail(DWORD error);

} // namespace korvex::platform

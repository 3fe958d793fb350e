// The objects that handles of this layer point to.
#pragma once

#include "platform/linux/core/last_error.h"
#include "platform/linux/core/types.h"

namespace korvex::platform {

// The object of a handle: ports, files, events and others each have a type of their own. It is
// destroyed when the handle is closed.
struct HandleObject {
    HandleObject() = default;
    HandleObject(const HandleObject&) = delete;
    HandleObject& operator=(const HandleObject&) = delete;
    virtual ~HandleObject() = default;

    // ReadFile, WriteFile and FlushFileBuffers; not for handles of every type.
    virtual BOOL Read(void* /*buffer*/, DWORD /*count*/, DWORD* /*received*/)
    {
        return Fail(ERROR_INVALID_HANDLE);
    }
    virtual BOOL Write(const void* /*bytes*/, DWORD /*count*/, DWORD* /*written*/)
    {
        return Fail(ERROR_INVALID_HANDLE);
    }
    virtual BOOL Flush() { return Fail(ERROR_INVALID_HANDLE); }
};

inline HandleObject* ObjectOf(HANDLE handle)
{
    return handle == nullptr || handle == INVALID_HANDLE_VALUE ? nullptr
                                                               : static_cast<HandleObject*>(handle);
}

inline HANDLE HandleOf(HandleObject* object)
{
    return object;
}

// The object of a handle of that type; else null, with ERROR_INVALID_HANDLE.
template <typename T>
T* ObjectAs(HANDLE handle)
{
    auto* object = dynamic_cast<T*>(ObjectOf(handle));
    if (object == nullptr)
        SetLastError(ERROR_INVALID_HANDLE);
    return object;
}

} // namespace korvex::platform

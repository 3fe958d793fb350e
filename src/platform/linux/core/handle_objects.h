// What a HANDLE of this layer points to.
#pragma once

#include "platform/linux/core/last_error.h"
#include "platform/linux/core/types.h"

namespace korvex::platform {

struct HandleObject;

// What all objects of one kind have in common: one constant for each kind, which also tells the
// kind. A call that is null is not for handles of that kind.
struct HandleType {
    void (*close)(HandleObject* object); // frees the object
    BOOL (*read)(HandleObject* object, void* buffer, DWORD count, DWORD* received) = nullptr;
    BOOL (*write)(HandleObject* object, const void* bytes, DWORD count, DWORD* written) = nullptr;
    BOOL (*flush)(HandleObject* object) = nullptr;
};

// The common start of every object.
struct HandleObject {
    const HandleType* type;
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

// The object behind `handle` when it is of the type T::TYPE, else null with ERROR_INVALID_HANDLE.
template <typename T>
T* ObjectAs(HANDLE handle)
{
    HandleObject* object = ObjectOf(handle);
    if (object == nullptr || object->type != &T::TYPE) {
        SetLastError(ERROR_INVALID_HANDLE);
        return nullptr;
    }
    return static_cast<T*>(object);
}

} // namespace korvex::platform

#include "platform/linux/core/handles.h"

#include "platform/linux/core/handle_objects.h"

using korvex::platform::Fail;
using korvex::platform::HandleObject;
using korvex::platform::ObjectOf;

BOOL ReadFile(HANDLE handle, void* buffer, DWORD count, DWORD* received, OVERLAPPED* /*overlapped*/)
{
    HandleObject* object = ObjectOf(handle);
    return object != nullptr ? object->Read(buffer, count, received) : Fail(ERROR_INVALID_HANDLE);
}

BOOL WriteFile(
    HANDLE handle, const void* bytes, DWORD count, DWORD* written, OVERLAPPED* /*overlapped*/)
{
    HandleObject* object = ObjectOf(handle);
    return object != nullptr ? object->Write(bytes, count, written) : Fail(ERROR_INVALID_HANDLE);
}

BOOL FlushFileBuffers(HANDLE handle)
{
    HandleObject* object = ObjectOf(handle);
    return object != nullptr ? object->Flush() : Fail(ERROR_INVALID_HANDLE);
}

BOOL CloseHandle(HANDLE handle)
{
    HandleObject* object = ObjectOf(handle);
    if (object == nullptr)
        return Fail(ERROR_INVALID_HANDLE);
    delete object;
    return TRUE;
}

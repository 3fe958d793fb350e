#include "platform/linux/core/last_error.h"

#include <cerrno>

namespace {

thread_local DWORD lastError = ERROR_SUCCESS;

} // namespace

DWORD GetLastError()
{
    return lastError;
}

void SetLastError(DWORD error)
{
    lastError = error;
}

namespace korvex::platform {

DWORD ErrorFromErrno(int number)
{
    switch (number) {
    case ENOENT:
        return ERROR_FILE_NOT_FOUND;
    case ENOTDIR:
        return ERROR_PATH_NOT_FOUND;
    case EMFILE:
    case ENFILE:
        return ERROR_TOO_MANY_OPEN_FILES;
    case EACCES:
    case EPERM:
    case EISDIR:
        return ERROR_ACCESS_DENIED;
    case ENOMEM:
    case EAGAIN:
        return ERROR_NOT_ENOUGH_MEMORY;
    case EBUSY:
        return ERROR_SHARING_VIOLATION;
    case EINVAL:
        return ERROR_INVALID_PARAMETER;
    case ENXIO:
    case ENODEV:
    case EIO:
        return ERROR_DEVICE_NOT_CONNECTED;
    case ENOTTY:
        return ERROR_INVALID_FUNCTION;
    default:
        return ERROR_GEN_FAILURE;
    }
}

BOOL FailWithErrno()
{
    return Fail(ErrorFromErrno(errno));
}

BOOL Fail(DWORD error)
{
    SetLastError(error);
    return FALSE;
}

} // namespace korvex::platform

#include "runner/port_failure.h"

namespace korvex::runner {

const char* PortFailureText(DWORD error)
{
    switch (error) {
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
        return "there is no such port";
    case ERROR_ACCESS_DENIED:
        return "no permission (is the user in the group \"dialout\"?)";
    case ERROR_SHARING_VIOLATION:
        return "another program is using it";
    case ERROR_DEVICE_NOT_CONNECTED:
        return "no device is connected";
    case ERROR_INVALID_FUNCTION:
        return "it is not a serial port";
    default:
        return "the system refuses it";
    }
}

} // namespace korvex::runner

// Services of the system.
#pragma once

#include "platform/win32.h"

namespace korvex {

// Opens a service of the active database; null when the service manager or the service cannot be
// opened. The caller closes it.
SC_HANDLE OpenServiceByName(const WCHAR* service, DWORD access);

} // namespace korvex

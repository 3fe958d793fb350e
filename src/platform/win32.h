// The one door to the Windows API. On Windows it is the platform's own headers; elsewhere the layer in posix/ supplies the calls
// that the library makes, under the same names and with the behaviour that Microsoft documents for them.
#pragma once

#ifdef _WIN32
#include <windows.h>

#include <process.h>
#include <setupapi.h>
#include <shellapi.h>
#include <shlobj.h>

#include <cfgmgr32.h>
#else
#include "platform/posix/clock.h"
#include "platform/posix/debug_output.h"
#include "platform/posix/files.h"
#include "platform/posix/modules.h"
#include "platform/posix/pointer.h"
#include "platform/posix/process.h"
#include "platform/posix/profile.h"
#include "platform/posix/registry.h"
#include "platform/posix/serial.h"
#include "platform/posix/setupapi.h"
#include "platform/posix/system.h"
#include "platform/posix/threads.h"
#include "platform/posix/types.h"
#include "platform/posix/windowing.h"
#endif

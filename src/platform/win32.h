// The one door to the Windows API. On Windows it is the platform's own headers; elsewhere the layer
// in linux/ supplies the calls that the library makes, under the same names and with the behaviour
// that Microsoft documents for them.
#pragma once

#ifdef _WIN32
#include <windows.h>

#include <dbt.h>
#include <process.h>
#include <setupapi.h>
#include <shellapi.h>
#include <shlobj.h>

#include <cfgmgr32.h>
#else
#include "platform/linux/core/clock.h"
#include "platform/linux/core/debug_output.h"
#include "platform/linux/core/handles.h"
#include "platform/linux/core/input.h"
#include "platform/linux/core/last_error.h"
#include "platform/linux/core/modules.h"
#include "platform/linux/core/system.h"
#include "platform/linux/core/threads.h"
#include "platform/linux/core/types.h"
#include "platform/linux/create_file.h"
#include "platform/linux/devices/config_manager.h"
#include "platform/linux/devices/device_io.h"
#include "platform/linux/devices/inf.h"
#include "platform/linux/devices/registry.h"
#include "platform/linux/devices/services.h"
#include "platform/linux/devices/setupapi.h"
#include "platform/linux/files/files.h"
#include "platform/linux/files/process.h"
#include "platform/linux/files/profile.h"
#include "platform/linux/pointer/pointer.h"
#include "platform/linux/serial/serial.h"
#include "platform/linux/windows/message_box.h"
#include "platform/linux/windows/messages.h"
#include "platform/linux/windows/painting.h"
#include "platform/linux/windows/windowing.h"
#endif

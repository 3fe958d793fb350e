#include "machine/keyboard.h"

#include <libudev.h>

namespace korvex::command {

namespace {

// Whether udev has an input device with that property set.
bool HasInputDevice(udev* context, const char* property)
{
    udev_enumerate* devices = udev_enumerate_new(context);
    udev_enumerate_add_match_subsystem(devices, "input");
    udev_enumerate_add_match_property(devices, property, "1");
    udev_enumerate_scan_devices(devices);
    const bool found = udev_enumerate_get_list_entry(devices) != nullptr;
    udev_enumerate_unref(devices);
    return found;
}

} // namespace

bool HasKeyboard()
{
    udev* context = udev_new();
    if (context == nullptr)
        return true;
    const bool has
        = HasInputDevice(context, "ID_INPUT_KEYBOARD") || !HasInputDevice(context, "ID_INPUT");
    udev_unref(context);
    return has;
}

} // namespace korvex::command

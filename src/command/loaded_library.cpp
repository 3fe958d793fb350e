// For programs that link libkorvex: when it is loaded the machine is set up as for `korvex` without options. What cannot be had, a
// display say, is named on standard error and left out.

#include "command/machine_setup.h"
#include "command/options.h"

namespace korvex::command {

namespace {

__attribute__((constructor)) void SetUpLoadedLibrary()
{
    Options options;
    options.command = "libkorvex";
    SetDefaults(&options);
    SetUpPointer(&options);
    SetUpWindows(&options);
    SetUpDevices(&options);
}

} // namespace

} // namespace korvex::command

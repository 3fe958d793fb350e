// For programs that link libkorvex: at their first call the machine is set up as for `korvex`
// without options. What cannot be had, a display say, is named on standard error and left out.

#include <mutex>

#include "host/machine_hook.h"
#include "machine/machine_setup.h"
#include "process/message.h"
#include "process/options.h"

namespace korvex {

namespace {

void SetUpLoadedLibrary()
{
    using namespace command; // NOLINT(google-build-using-namespace): of one routine
    Options options;
    SetMessagePrefix("libkorvex");
    SetDefaults(&options);
    SetUpPointer(&options);
    SetUpWindows(&options);
    SetUpMachine(&options, {SetUpState, SetUpPorts});
}

} // namespace

void PrepareMachine()
{
    static std::once_flag prepared;
    std::call_once(prepared, SetUpLoadedLibrary);
}

} // namespace korvex

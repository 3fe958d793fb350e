#include "command/detection.h"

#include <cstdio>
#include <cstring>
#include <string>

#include "control/control_client.h"
#include "host/host.h"
#include "machine/port_failure.h"
#include "machine/port_names.h"
#include "platform/linux/machine.h"
#include "platform/linux/windows/messages.h"
#include "platform/win32.h"
#include "process/exit_codes.h"
#include "process/message.h"

namespace korvex::command {

namespace {

// What can be done about a port that the entry cannot open; empty where nothing is known.
std::string WayAround(const std::string& path, DWORD error)
{
    const std::string name = PanelNameOf(path);
    if (MessagePrefix() != "korvex paneltest" || error != ERROR_SHARING_VIOLATION
        || !FindRuntime(path, name))
        return "";
    return "; 'korvex calibrate " + name + "' calibrates the panel while it is driven";
}

} // namespace

int RunEntry(const Options* options, const Entry* entry)
{
    platform::Machine* machine = platform::ThisMachine();
    machine->observers.portRefused = [](const std::string& path, DWORD error) {
        Warning("'" + ShownPath(path) + "' is left out: " + PortFailureText(path, error)
            + WayAround(path, error));
    };
    static std::string lockFault;
    machine->observers.mutexRefused = [](const std::string& folder, int error) {
        lockFault = (folder.empty() ? "a folder of your own" : "'" + folder + "'") + ": "
            + strerror(error);
    };
    if (!machine->onExit)
        machine->onExit = EntryExitCode;
    SetLastError(ERROR_SUCCESS);
    if (options->single)
        entry->runSingle(nullptr, nullptr, nullptr, SW_SHOW);
    else
        entry->run();
    if (!lockFault.empty()) {
        Error("whether another one is running cannot be known without a lock in " + lockFault);
        return EXIT_FAULT;
    }
    if (options->single && GetLastError() == ERROR_ALREADY_EXISTS) {
        Error("another one is running in this session");
        return EXIT_ALREADY_RUNNING;
    }
    // The entry has ended without a display, or without memory for its window. Readers and worker
    // may still be running.
    DestroyHostContext();
    Error(platform::IsDisplayLost() ? "the display is lost" : "memory is short");
    ExitProcess(EXIT_FAULT);
}

void EndWithoutWorker()
{
    Error("the system refuses a thread for the detection");
    DestroyHostContext();
    ExitProcess(EXIT_FAULT);
}

int EntryExitCode(int exitCode)
{
    if (exitCode != EXIT_DONE || !platform::IsDisplayLost())
        return exitCode;
    Error("the display is lost");
    return EXIT_FAULT;
}

} // namespace korvex::command

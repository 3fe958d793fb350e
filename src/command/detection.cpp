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

// The command's words, for the routines that the library calls back.
std::string command;

// What can be done about a port that the entry cannot open; empty where nothing is known.
std::string WayAround(const std::string& path, DWORD error)
{
    const std::string name = PanelNameOf(path);
    if (command != "korvex paneltest" || error != ERROR_SHARING_VIOLATION
        || !FindRuntime(path, name))
        return "";
    return "; 'korvex calibrate " + name + "' calibrates the panel while it is driven";
}

} // namespace

int RunEntry(const Options* options, const Entry* entry)
{
    command = options->command;
    platform::Machine* machine = platform::ThisMachine();
    machine->observers.portRefused = [](const std::string& path, DWORD error) {
        Tell(Priority::WARNING,
            command + ": '" + ShownPath(path) + "' is left out: " + PortFailureText(path, error)
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
        fprintf(stderr, "%s: whether another one is running cannot be known without a lock in %s\n",
            command.c_str(), lockFault.c_str());
        return EXIT_FAULT;
    }
    if (options->single && GetLastError() == ERROR_ALREADY_EXISTS) {
        fprintf(stderr, "%s: another one is running in this session\n", command.c_str());
        return EXIT_ALREADY_RUNNING;
    }
    // The entry has ended without a display, or without memory for its window. Readers and worker
    // may still be running.
    DestroyHostContext();
    fprintf(stderr, "%s: %s\n", command.c_str(),
        platform::IsDisplayLost() ? "the display is lost" : "memory is short");
    ExitProcess(EXIT_FAULT);
}

const std::string& EntryCommand()
{
    return command;
}

void EndWithoutWorker()
{
    fprintf(stderr, "%s: the system refuses a thread for the detection\n", command.c_str());
    DestroyHostContext();
    ExitProcess(EXIT_FAULT);
}

int EntryExitCode(int exitCode)
{
    if (exitCode != EXIT_DONE || !platform::IsDisplayLost())
        return exitCode;
    fprintf(stderr, "%s: the display is lost\n", command.c_str());
    return EXIT_FAULT;
}

} // namespace korvex::command

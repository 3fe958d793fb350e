#include "process/shutdown.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <ctime>
#include <system_error>
#include <thread>

#include "process/exit_codes.h"
#include "process/terminal.h"

namespace korvex::command {

namespace {

constexpr timespec SHUTDOWN_LIMIT{2, 800'000'000};

struct ShutdownWatch {
    HANDLE event = nullptr;
    int descriptor = -1; // an eventfd, written once and never read
};

ShutdownWatch watch;
std::atomic<int> overdueExitCode{EXIT_DONE};
bool hangupIgnored = false; // when the process started, as under nohup(1)

sigset_t ShutdownSignals()
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    if (!hangupIgnored)
        sigaddset(&signals, SIGHUP);
    return signals;
}

// Takes the signals. The thread ends with the process.
void AwaitSignals()
{
    const sigset_t signals = ShutdownSignals();
    int signal = 0;
    while (sigwait(&signals, &signal) != 0) { }
    SetEvent(watch.event);
    eventfd_write(watch.descriptor, 1);
    timespec left = SHUTDOWN_LIMIT;
    while (nanosleep(&left, &left) != 0) { }
    RestoreTerminal();
    _exit(overdueExitCode);
}

} // namespace

void BlockShutdownSignals()
{
    struct sigaction hangup{};
    hangupIgnored = sigaction(SIGHUP, nullptr, &hangup) == 0 && hangup.sa_handler == SIG_IGN;
    const sigset_t signals = ShutdownSignals();
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

void AllowShutdownSignals()
{
    const sigset_t signals = ShutdownSignals();
    pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
}

bool WatchForShutdown()
{
    watch.event = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    watch.descriptor = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (watch.event == nullptr || watch.descriptor < 0)
        return false;
    try {
        std::thread(AwaitSignals).detach();
    } catch (const std::system_error&) {
        return false;
    }
    return true;
}

void SetOverdueExitCode(int exitCode)
{
    overdueExitCode = exitCode;
}

void RequestShutdown()
{
    SetEvent(watch.event);
}

bool IsShutdownRequested()
{
    return WaitForShutdown(std::chrono::milliseconds(0));
}

HANDLE ShutdownEvent()
{
    return watch.event;
}

int ShutdownDescriptor()
{
    return watch.descriptor;
}

bool WaitForShutdown(std::chrono::milliseconds limit)
{
    return WaitForSingleObject(watch.event, static_cast<DWORD>(limit.count())) == WAIT_OBJECT_0;
}

} // namespace korvex::command

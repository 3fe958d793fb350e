#include "process/end_request.h"

#include <fcntl.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <csignal>
#include <ctime>
#include <system_error>
#include <thread>

#include "process/exit_codes.h"
#include "process/terminal.h"

namespace korvex::command {

namespace {

constexpr timespec END_LIMIT{2, 800'000'000};

struct EndWatch {
    HANDLE event = nullptr;
    std::array<int, 2> pipe{-1, -1}; // to be read, to be written
};

EndWatch watch;
std::atomic<int> overdueExitCode{EXIT_DONE};

sigset_t EndSignals()
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    return signals;
}

void TellWindows()
{
    const signalfd_siginfo signal{};
    if (write(watch.pipe[1], &signal, sizeof(signal)) < 0)
        return; // it is full of requests
}

// Takes the signals. The thread ends with the process.
void TakeSignals()
{
    const sigset_t signals = EndSignals();
    int signal = 0;
    while (sigwait(&signals, &signal) != 0) { }
    SetEvent(watch.event);
    TellWindows();
    timespec left = END_LIMIT;
    while (nanosleep(&left, &left) != 0) { }
    RestoreTerminal();
    _exit(overdueExitCode);
}

} // namespace

void BlockEndSignals()
{
    const sigset_t signals = EndSignals();
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

void AllowEndSignals()
{
    const sigset_t signals = EndSignals();
    pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
}

bool WatchForEnd()
{
    watch.event = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    if (watch.event == nullptr || pipe2(watch.pipe.data(), O_CLOEXEC | O_NONBLOCK) != 0)
        return false;
    try {
        std::thread(TakeSignals).detach();
    } catch (const std::system_error&) {
        return false;
    }
    return true;
}

void SetOverdueExitCode(int exitCode)
{
    overdueExitCode = exitCode;
}

void RequestEnd()
{
    SetEvent(watch.event);
}

bool IsEndRequested()
{
    return WaitForEnd(std::chrono::milliseconds(0));
}

HANDLE EndEvent()
{
    return watch.event;
}

int EndDescriptor()
{
    return watch.pipe[0];
}

bool WaitForEnd(std::optional<std::chrono::milliseconds> limit)
{
    return WaitForSingleObject(watch.event, limit ? static_cast<DWORD>(limit->count()) : INFINITE)
        == WAIT_OBJECT_0;
}

} // namespace korvex::command

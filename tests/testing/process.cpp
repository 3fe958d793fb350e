#include "testing/process.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <stdexcept>
#include <thread>

#include "testing/temporary_folder.h"

namespace korvex::testing {

namespace {

constexpr int LIMIT_MS = 10000;

// Input of a test must not reach the desktop of the user who runs it.
[[maybe_unused]] const bool leftTheDesktop
    = unsetenv("WAYLAND_DISPLAY") == 0 && unsetenv("XDG_SESSION_TYPE") == 0;

std::array<int, 2> Pipe()
{
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0)
        throw std::runtime_error("no pipe");
    return ends;
}

void Close(int* descriptor)
{
    if (*descriptor >= 0)
        close(*descriptor);
    *descriptor = -1;
}

} // namespace

Process::Process(const std::vector<std::string>& command)
{
    const std::array<int, 2> inputEnds = Pipe();
    const std::array<int, 2> outputEnds = Pipe();
    const std::array<int, 2> errorEnds = Pipe();
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, inputEnds[0], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, outputEnds[1], STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, errorEnds[1], STDERR_FILENO);
    // what whoever runs the tests has left open
    posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1);
    std::vector<char*> arguments;
    arguments.reserve(command.size() + 1);
    for (const std::string& word : command)
        // NOLINTNEXTLINE(cppcoreguidelines-pro-type-const-cast): as posix_spawn takes them
        arguments.push_back(const_cast<char*>(word.c_str()));
    arguments.push_back(nullptr);
    const int refusal
        = posix_spawnp(&pid, arguments[0], &actions, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(inputEnds[0]);
    close(outputEnds[1]);
    close(errorEnds[1]);
    input = inputEnds[1];
    output = outputEnds[0];
    error = errorEnds[0];
    if (refusal != 0)
        throw std::runtime_error("cannot start " + command[0]);
}

Process::~Process()
{
    if (pid > 0) {
        kill(pid, SIGKILL);
        waitpid(pid, nullptr, 0);
    }
    Close(&input);
    Close(&output);
    Close(&error);
}

std::string ReadAll(int descriptor)
{
    std::string text;
    std::array<char, 4096> block{};
    for (ssize_t count = 0; (count = read(descriptor, block.data(), block.size())) > 0;)
        text.append(block.data(), static_cast<size_t>(count));
    return text;
}

std::string ReadLine(int descriptor)
{
    std::string line;
    for (;;) {
        pollfd polled{descriptor, POLLIN, 0};
        char unit = 0;
        if (poll(&polled, 1, LIMIT_MS) <= 0 || read(descriptor, &unit, 1) <= 0)
            return {};
        if (unit == '\n')
            return line;
        line.push_back(unit);
    }
}

std::string ReadLineWith(int descriptor, const std::string& text)
{
    for (;;) {
        std::string line = ReadLine(descriptor);
        if (line.empty() || line.find(text) != std::string::npos)
            return line;
    }
}

void WriteLine(const Process* process, const std::string& line)
{
    const std::string bytes = line + "\n";
    if (write(process->input, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size()))
        throw std::runtime_error("the program takes no input");
}

int64_t ProcessorTime(pid_t process)
{
    clockid_t clock = 0;
    timespec time{};
    if (clock_getcpuclockid(process, &clock) != 0 || clock_gettime(clock, &time) != 0)
        throw std::runtime_error("there is no such process");
    return time.tv_sec * 1000 + time.tv_nsec / 1000000;
}

bool WaitUntil(const std::function<bool()>& condition)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(LIMIT_MS);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

int WaitForExit(Process* process)
{
    int status = 0;
    if (!WaitUntil([&] { return waitpid(process->pid, &status, WNOHANG) != 0; }))
        return -1;
    process->pid = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

int EndBySignal(Process* process, int signal)
{
    kill(process->pid, signal);
    return WaitForExit(process);
}

std::vector<std::string> Joined(
    std::vector<std::string> words, const std::vector<std::string>& more)
{
    words.insert(words.end(), more.begin(), more.end());
    return words;
}

RunResult RunProgram(const std::vector<std::string>& command)
{
    Process process(command);
    Close(&process.input);
    RunResult result{WaitForExit(&process), "", ""};
    if (process.pid > 0)
        kill(process.pid, SIGKILL); // or its output would have no end
    result.output = ReadAll(process.output);
    result.error = ReadAll(process.error);
    return result;
}

DisplayServer::DisplayServer(const std::string& screen)
    : server({"Xvfb", "-displayfd", "1", "-screen", "0", screen, "-listen", "tcp"})
    , name(":" + ReadLine(server.output))
{
}

// Starts a server whose outputs are not real ones; it writes its configuration first.
std::vector<std::string> DummyServerCommand()
{
    WriteTextFile("monitors.conf", R"(
Section "Device"
    Identifier "device"
    Driver "dummy"
    VideoRam 64000
EndSection
Section "Monitor"
    Identifier "monitor"
    HorizSync 1-1000
    VertRefresh 1-1000
EndSection
Section "Screen"
    Identifier "screen"
    Device "device"
    Monitor "monitor"
    DefaultDepth 24
    SubSection "Display"
        Depth 24
        Virtual 2048 768
    EndSubSection
EndSection
)");
    return {"Xorg", "-displayfd", "1", "-config", "monitors.conf", "-noreset", "-logfile",
        "monitors.log", "-sharevts", "-novtswitch", "-listen", "tcp"};
}

TwoMonitors::TwoMonitors() : server(DummyServerCommand()), name(":" + ReadLine(server.output))
{
    RunProgram({"xrandr", "--display", name, "--addmode", "DUMMY1", "1024x768"});
    RunProgram({"xrandr", "--display", name, "--output", "DUMMY0", "--mode", "1024x768", "--output",
        "DUMMY1", "--mode", "1024x768", "--right-of", "DUMMY0", "--primary"});
}

} // namespace korvex::testing

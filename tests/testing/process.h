// Programs that a test runs.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace korvex::testing {

// A running program; it is killed with the guard when it has not been waited for.
struct Process {
    pid_t pid = -1;
    int input = -1;  // what is written here the program reads
    int output = -1; // what it prints
    int error = -1;  // what it prints on standard error

    explicit Process(const std::vector<std::string>& command);
    ~Process();
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;
};

// The next line without its end; empty when there is none within 10 s.
std::string ReadLine(int descriptor);

// Reads lines until one contains `text`, and returns it; empty when none does.
std::string ReadLineWith(int descriptor, const std::string& text);

// Everything up to the end of what a program prints.
std::string ReadAll(int descriptor);

void WriteLine(const Process* process, const std::string& line);

// Waits for the program's end: its exit code, or -1 when it did not end by itself within 10 s.
int WaitForExit(Process* process);

// Sends a signal, then waits.
int EndBySignal(Process* process, int signal);

// Processor time that a process has used so far, in milliseconds.
int64_t ProcessorTime(pid_t process);

// Looks every 2 ms whether the condition holds; false when it does not within 10 s.
bool WaitUntil(const std::function<bool()>& condition);

// The words of a command, and more words after them.
std::vector<std::string> Joined(
    std::vector<std::string> words, const std::vector<std::string>& more);

struct RunResult {
    int exitCode;
    std::string output;
    std::string error;
};

// Runs a program to its end, without input; what it prints must fit a pipe.
RunResult RunProgram(const std::vector<std::string>& command);

// An X server without a screen, for the programs and calls that need a display.
struct DisplayServer {
    Process server;
    std::string name; // as for DISPLAY

    explicit DisplayServer(const std::string& screen = "1024x768x24"); // width, height and depth
};

// An X server with two monitors of 1024 x 768 side by side, the right one primary. It needs the
// current folder for its configuration.
struct TwoMonitors {
    Process server;
    std::string name;

    TwoMonitors();
};

} // namespace korvex::testing

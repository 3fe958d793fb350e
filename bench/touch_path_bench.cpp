// The touch path over pseudo-terminals: latency, system calls and CPU time per report, many
// controllers at once, and the stop.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "emulator/emulator.h"
#include "input/session.h"
#include "link/port_link.h"
#include "platform/linux/core/text.h"
#include "platform/linux/machine.h"
#include "platform/linux/pointer/touch_events.h"
#include "testing/process.h"

namespace korvex {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::microseconds;
using std::chrono::milliseconds;

constexpr int LINE_RATE = 320; // reports a second that 19200 baud carries, 6 bytes each

double CpuSeconds()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

// A session on a terminal; model 0x5460 asks its controller nothing at the start.
TouchController* StartOn(const std::string& path)
{
    TouchController* controller = CreateController();
    controller->model = MODEL_5460;
    controller->reportLength = 6;
    HANDLE port = CreateFileW(platform::FromNativePath(path).c_str(), GENERIC_READ | GENERIC_WRITE,
        0, nullptr, OPEN_EXISTING, 0, nullptr);
    LinkInit(&controller->link, port, LINK_SERIAL, 1);
    StartSession(controller);
    return controller;
}

void SilenceTrace()
{
    platform::ThisMachine()->trace = [](std::string_view) { };
}

double Percentile(std::vector<double>* values, double part)
{
    std::sort(values->begin(), values->end());
    return (*values)[static_cast<size_t>(part * static_cast<double>(values->size() - 1))];
}

// Microseconds from the write of a report's last byte to `arrived` changing.
double Latency(emulator::Emulator* emulator, const emulator::Bytes& report,
    const std::atomic<Clock::rep>* arrived)
{
    const Clock::rep before = *arrived;
    const Clock::rep sent = Clock::now().time_since_epoch().count();
    SendBytes(emulator, report);
    while (*arrived == before)
        std::this_thread::yield();
    return static_cast<double>(*arrived - sent) / 1000;
}

// Two lines take turns at line rate: a session's, and one that is read by a bare poll and read, the
// least that any driver could need.
void BM_Latency(benchmark::State& state)
{
    SilenceTrace();
    std::atomic<Clock::rep> inputSent{0};
    platform::ThisMachine()->pointer.send = [&inputSent](const INPUT*) {
        inputSent = Clock::now().time_since_epoch().count();
        return true;
    };
    const emulator::EmulatorPointer driven = emulator::StartEmulator({0x5460});
    TouchController* controller = StartOn(TerminalPath(driven.get()));

    std::atomic<Clock::rep> bareRead{0};
    const emulator::EmulatorPointer bare = emulator::StartEmulator({0x5460});
    const int terminal = open(TerminalPath(bare.get()).c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK);
    std::thread reader([terminal, &bareRead] {
        char block[64];
        pollfd polled{terminal, POLLIN, 0};
        while (poll(&polled, 1, 1000) > 0 && read(terminal, block, sizeof(block)) > 0)
            bareRead = Clock::now().time_since_epoch().count();
    });

    const emulator::Bytes report = ReportOf(driven.get(), true, 512, 512);
    std::vector<double> toInput;
    std::vector<double> toRead;
    for (auto _ : state) {
        Clock::time_point next = Clock::now();
        for (int i = 0; i < 6000; ++i) {
            std::this_thread::sleep_until(next += microseconds(1000000 / LINE_RATE / 2));
            if (i % 2 == 0)
                toInput.push_back(Latency(driven.get(), report, &inputSent));
            else
                toRead.push_back(Latency(bare.get(), report, &bareRead));
        }
    }
    reader.join(); // at its time-out
    close(terminal);
    StopSession(controller);
    ReleaseController(controller);
    state.counters["input_median_us"] = Percentile(&toInput, 0.5);
    state.counters["input_p99_us"] = Percentile(&toInput, 0.99);
    state.counters["bare_median_us"] = Percentile(&toRead, 0.5);
    state.counters["bare_p99_us"] = Percentile(&toRead, 0.99);
}

// Sends `reports` reports down each of `lines` emulated lines, in a process of its own, once a byte
// has come on `go`; writes the terminals' paths to `paths`, one a line.
[[noreturn]] void SendAll(int lines, int reports, int paths, int go)
{
    std::vector<emulator::EmulatorPointer> emulators;
    std::string text;
    for (int i = 0; i < lines; ++i) {
        emulators.push_back(emulator::StartEmulator({0x5460}));
        text += TerminalPath(emulators.back().get()) + "\n";
    }
    char byte = 0;
    if (write(paths, text.data(), text.size()) < 0 || read(go, &byte, 1) != 1)
        _exit(1);
    // The lines' reports are spread over the interval, as lines that know nothing of each other
    // are.
    const Clock::time_point start = Clock::now();
    for (int i = 0; i < reports; ++i) {
        for (int line = 0; line < lines; ++line) {
            std::this_thread::sleep_until(start
                + microseconds(
                    (int64_t{1000000} * i + int64_t{1000000} * line / lines) / LINE_RATE));
            SendReport(emulators[static_cast<size_t>(line)].get(), true,
                static_cast<uint32_t>(i & 1023), 512);
        }
    }
    read(go, &byte, 1); // the lines stay open until the other side has counted
    _exit(0);
}

void BM_ControllersAtLineRate(benchmark::State& state)
{
    const int lines = static_cast<int>(state.range(0));
    constexpr int SECONDS = 3;
    const int reports = LINE_RATE * SECONDS;
    int paths[2]{};
    int go[2]{};
    if (pipe(paths) != 0 || pipe(go) != 0)
        state.SkipWithError("no pipe");
    const pid_t sender = fork();
    if (sender == 0)
        SendAll(lines, reports, paths[1], go[0]);

    SilenceTrace();
    std::atomic<int> inputs{0};
    platform::ThisMachine()->pointer.send = [&inputs](const INPUT*) {
        ++inputs;
        return true;
    };
    std::vector<TouchController*> controllers;
    for (int i = 0; i < lines; ++i)
        controllers.push_back(StartOn(testing::ReadLine(paths[0])));
    for (auto _ : state) {
        const double cpuBefore = CpuSeconds();
        const Clock::time_point start = Clock::now();
        if (write(go[1], "g", 1) != 1)
            state.SkipWithError("the sender is gone");
        const Clock::time_point limit = start + std::chrono::seconds(SECONDS + 2);
        while (inputs < lines * reports && Clock::now() < limit)
            std::this_thread::sleep_for(milliseconds(1));
        const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
        state.counters["cores"] = (CpuSeconds() - cpuBefore) / seconds;
        state.counters["cpu_us_per_report"] = (CpuSeconds() - cpuBefore) * 1e6 / (lines * reports);
        state.counters["reports"] = lines * reports;
        state.counters["lost"] = lines * reports - inputs;
    }
    for (TouchController* controller : controllers) {
        StopSession(controller);
        ReleaseController(controller);
    }
    if (write(go[1], "e", 1) != 1)
        kill(sender, SIGKILL);
    waitpid(sender, nullptr, 0);
    for (const int descriptor : {paths[0], paths[1], go[0], go[1]})
        close(descriptor);
}

void BM_StopOfASilentController(benchmark::State& state)
{
    SilenceTrace();
    const emulator::EmulatorPointer emulator = emulator::StartEmulator({0x5460});
    double worst = 0;
    for (auto _ : state) {
        TouchController* controller = StartOn(TerminalPath(emulator.get()));
        std::this_thread::sleep_for(milliseconds(100)); // by now its reader waits for input
        const Clock::time_point start = Clock::now();
        StopSession(controller);
        const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
        state.SetIterationTime(seconds);
        worst = std::max(worst, seconds * 1e3);
        ReleaseController(controller);
    }
    state.counters["worst_ms"] = worst;
}

// The command under strace: the calls of its reader thread, from the first input to the last.
void BM_SystemCallsPerReport(benchmark::State& state)
{
    const std::filesystem::path trace
        = std::filesystem::temp_directory_path() / ("korvex-bench." + std::to_string(getpid()));
    constexpr int REPORTS = 600;
    for (auto _ : state) {
        const emulator::EmulatorPointer emulator = emulator::StartEmulator({});
        testing::Process drive({"strace", "-f", "-qq", "-o", trace.string(), KORVEX_COMMAND,
            "drive", TerminalPath(emulator.get()), "--pointer", "log", "--trace", "/dev/null"});
        WaitForQuietHost(emulator.get(), milliseconds(300), std::chrono::seconds(30));
        const Clock::time_point start = Clock::now();
        for (int i = 0; i < REPORTS; ++i) {
            std::this_thread::sleep_until(start + microseconds(int64_t{1000000} * i / LINE_RATE));
            SendReport(emulator.get(), true, 512, static_cast<uint32_t>(i & 1023));
            testing::ReadLine(drive.output);
        }
        testing::EndBySignal(&drive, SIGTERM);
    }
    std::ifstream lines(trace);
    std::vector<std::string> calls;
    std::string reader; // the thread that writes the inputs
    size_t first = 0;
    size_t last = 0;
    for (std::string line; std::getline(lines, line);) {
        calls.push_back(line);
        if (line.find("write(1, \"{\\\"dx\\\"") == std::string::npos)
            continue;
        reader = line.substr(0, line.find(' '));
        first = first == 0 ? calls.size() : first;
        last = calls.size();
    }
    const auto byReader = std::count_if(calls.begin() + static_cast<ptrdiff_t>(first),
        calls.begin() + static_cast<ptrdiff_t>(last), [&reader](const std::string& line) {
            return line.starts_with(reader + " ") && line.find("resumed>") == std::string::npos;
        });
    if (last > first)
        state.counters["calls_per_report"] = static_cast<double>(byReader) / (REPORTS - 1);
    else
        state.SkipWithError("strace has shown no input");
    std::filesystem::remove(trace);
}

// The writes to a kernel device, which takes each as one change, for the inputs of a touch that
// moves, rests and lifts.
void BM_EventWritesPerInput(benchmark::State& state)
{
    constexpr int INPUTS = 600;
    std::array<int, 2> ends{};
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK, 0, ends.data()) != 0)
        state.SkipWithError("no socket");
    int writes = 0;
    for (auto _ : state) {
        platform::TouchState before{false, 0, 0};
        for (int i = 0; i < INPUTS; ++i) {
            const platform::TouchState after{i % 100 != 99, 64 * (i / 2), 32768};
            platform::WriteTouch(ends[1], &before, &after);
            before = after;
            std::array<char, 1024> block{};
            while (read(ends[0], block.data(), block.size()) > 0)
                ++writes;
        }
    }
    close(ends[0]);
    close(ends[1]);
    state.counters["writes_per_input"] = static_cast<double>(writes) / INPUTS;
}

// The memory of the command while it drives so many controllers.
void BM_ResidentMemory(benchmark::State& state)
{
    std::vector<emulator::EmulatorPointer> emulators;
    std::vector<std::string> words{KORVEX_COMMAND, "monitor", "--json", "--pointer", "none"};
    for (int i = 0; i < static_cast<int>(state.range(0)); ++i) {
        emulators.push_back(emulator::StartEmulator({}));
        words.push_back(TerminalPath(emulators.back().get()));
    }
    for (auto _ : state) {
        testing::Process monitor(words);
        for (const emulator::EmulatorPointer& emulator : emulators)
            testing::ReadLineWith(monitor.error, TerminalPath(emulator.get())); // is driven now
        std::ifstream status("/proc/" + std::to_string(monitor.pid) + "/status");
        for (std::string line; std::getline(status, line);) {
            if (line.starts_with("VmRSS:"))
                state.counters["resident_MiB"] = std::stod(line.substr(6)) / 1024;
        }
        testing::EndBySignal(&monitor, SIGTERM);
    }
}

BENCHMARK(BM_EventWritesPerInput)->Iterations(1);
BENCHMARK(BM_ResidentMemory)->Arg(1)->Arg(64)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Latency)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SystemCallsPerReport)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ControllersAtLineRate)
    ->Arg(1)
    ->Arg(16)
    ->Arg(64)
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_StopOfASilentController)
    ->Iterations(20)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

} // namespace
} // namespace korvex

#include "command/record.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <mutex>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "command/machine_setup.h"
#include "command/opened_controller.h"
#include "command/options.h"
#include "command/recording.h"
#include "command/runner.h"
#include "emulator/emulator.h"
#include "input/session.h"
#include "link/port_link.h"
#include "platform/linux/machine.h"

namespace korvex::command {

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::microseconds;
using std::chrono::milliseconds;

// A recording that is being written, by the thread that identifies the controller and by its session's.
struct Recorder {
    FILE* file = nullptr;
    Clock::time_point start = Clock::now();
    std::thread::id commandThread = std::this_thread::get_id(); // sends commands and reads their answers
    std::mutex mutex;
    bool failed = false;
};

microseconds TimeOf(const Recorder* recorder)
{
    return std::chrono::duration_cast<microseconds>(Clock::now() - recorder->start);
}

// Written at once: what was recorded until a crash is in the file.
void Write(Recorder* recorder, const std::string& line)
{
    if (recorder->failed || (fputs(line.c_str(), recorder->file) != EOF && fflush(recorder->file) == 0))
        return;
    recorder->failed = true;
    kill(getpid(), SIGTERM); // which ends the recording
}

void RecordBytes(Recorder* recorder, platform::LineDirection direction, const uint8_t* bytes, size_t count)
{
    const std::lock_guard guard(recorder->mutex);
    const bool command = std::this_thread::get_id() == recorder->commandThread;
    const char* kind = direction == platform::LineDirection::SENT ? "sent" : command ? "answer" : "report";
    Write(recorder, EventLine(TimeOf(recorder), kind, bytes, count));
}

int Record(const Options* options, Recorder* recorder)
{
    platform::ThisMachine()->lineWatcher = [recorder](platform::LineDirection direction, const uint8_t* bytes, size_t count) {
        RecordBytes(recorder, direction, bytes, count);
    };
    TouchController* controller = nullptr;
    int exitCode = OpenController(options, options->arguments[1], &controller);
    if (exitCode != EXIT_DONE)
        return exitCode;
    {
        const std::lock_guard guard(recorder->mutex);
        Write(recorder, ControllerLine(TimeOf(recorder), controller));
    }
    exitCode = RunSession(options, options->arguments[1], controller);
    if (exitCode == EXIT_DONE)
        WaitForEndSignal(options->seconds
                ? std::optional(std::chrono::duration_cast<milliseconds>(std::chrono::duration<double>(*options->seconds)))
                : std::nullopt);
    const std::vector controllers{controller};
    return EndControllers(&controllers, exitCode);
}

// The emulated controller that a recording stands for.
emulator::EmulatorOptions EmulatorOf(const Recording* recording)
{
    emulator::EmulatorOptions options;
    options.model = recording->model;
    options.baudRate = recording->baudRate;
    options.resolutionBits = recording->resolutionBits;
    options.fwMajor = recording->fwMajor;
    options.fwMinor = recording->fwMinor;
    options.fwBuild = recording->fwBuild;
    options.memory = recording->memory;
    return options;
}

enum class PlayResult { DONE, ENDED_BY_SIGNAL, LINE_FULL };

// Sends the reports, each when its time has come.
PlayResult Play(const Recording* recording, bool fullSpeed, emulator::Emulator* panel)
{
    const Clock::time_point start = Clock::now();
    for (const RecordedReport& report : recording->reports) {
        const Clock::time_point due = start + (report.time - recording->reports.front().time);
        while (Clock::now() < due && !fullSpeed) {
            // Rounded up, so that the wait does not end before its time.
            if (WaitForEndSignal(std::chrono::ceil<milliseconds>(due - Clock::now())))
                return PlayResult::ENDED_BY_SIGNAL;
        }
        if (!SendBytes(panel, report.bytes))
            return PlayResult::LINE_FULL;
    }
    return PlayResult::DONE;
}

// Waits until the session has taken everything: the line is empty, and nothing has been counted for longer than a report may take.
void AwaitSilence(const TouchController* controller, const std::string& terminal)
{
    constexpr milliseconds LONGEST_REPORT{200};
    const auto total = [counters = &controller->counters] {
        return counters->reports + counters->rejectedPackets + counters->resynchronisations + counters->droppedBytes;
    };
    const int line = open(terminal.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    int waiting = 1;
    uint32_t before = 0;
    do {
        before = total();
        if (WaitForEndSignal(LONGEST_REPORT))
            break;
    } while (total() != before || (ioctl(line, FIONREAD, &waiting) == 0 && waiting > 0));
    if (line >= 0)
        close(line);
}

int Replay(const Options* options, const Recording* recording)
{
    const emulator::EmulatorPointer panel = emulator::StartEmulator(EmulatorOf(recording));
    if (!panel) {
        fprintf(stderr, "%s: the system refuses a pseudo-terminal\n", options->command.c_str());
        return EXIT_FAULT;
    }
    TouchController* controller = nullptr;
    int exitCode = OpenController(options, TerminalPath(panel.get()), &controller);
    if (exitCode != EXIT_DONE)
        return exitCode;
    exitCode = RunSession(options, options->arguments[0], controller);
    const PlayResult result = exitCode == EXIT_DONE ? Play(recording, options->fullSpeed, panel.get()) : PlayResult::ENDED_BY_SIGNAL;
    if (result == PlayResult::DONE)
        AwaitSilence(controller, TerminalPath(panel.get()));
    if (result == PlayResult::LINE_FULL) {
        fprintf(stderr, "%s: the session has taken nothing for a second; the rest is not played\n", options->command.c_str());
        exitCode = EXIT_FAULT;
    }
    const SessionCounters* counters = &controller->counters;
    fprintf(stderr, "%u reports, %u rejected packets, %u resynchronisations, %u bytes dropped, %u inputs\n", counters->reports.load(),
        counters->rejectedPackets.load(), counters->resynchronisations.load(), counters->droppedBytes.load(), counters->inputs.load());
    const std::vector controllers{controller};
    return EndControllers(&controllers, exitCode);
}

bool ReadWhole(const std::string& path, std::string* content)
{
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    *content = text.str();
    return file.good() && !text.bad() && !std::filesystem::is_directory(path);
}

} // namespace

int RunRecord(int argc, char** argv)
{
    Options options;
    options.pointer = "none";
    if (!ParseOptions(argc, argv, {"pointer", "trace", "seconds"}, {2, 2}, &options))
        return EXIT_USAGE_ERROR;
    if (const int exitCode = SetUpMachine(&options, {SetUpQuietTrace, SetUpPointer}); exitCode != EXIT_DONE)
        return exitCode;
    const std::string& path = options.arguments[0];
    Recorder recorder;
    recorder.file = fopen(path.c_str(), "wxe"); // a recording that is there is not overwritten
    if (recorder.file == nullptr) {
        fprintf(stderr, "%s: cannot create '%s': %s\n", options.command.c_str(), path.c_str(), strerror(errno));
        return EXIT_FAULT;
    }
    Write(&recorder, FirstRecordingLine());
    const int exitCode = Record(&options, &recorder);
    recorder.failed = fclose(recorder.file) != 0 || recorder.failed;
    if (exitCode == EXIT_NO_PORT)
        unlink(path.c_str()); // nothing came over a line; a controller that gave no answer leaves what was asked
    if (recorder.failed)
        fprintf(stderr, "%s: cannot write all of '%s'\n", options.command.c_str(), path.c_str());
    return recorder.failed ? EXIT_FAULT : exitCode;
}

int RunReplay(int argc, char** argv)
{
    Options options;
    if (!ParseOptions(argc, argv, {"pointer", "trace", "speed"}, {1, 1}, &options))
        return EXIT_USAGE_ERROR;
    const std::string& path = options.arguments[0];
    std::string text;
    std::string fault;
    Recording recording;
    if (!ReadWhole(path, &text)) {
        fprintf(stderr, "%s: cannot read '%s'\n", options.command.c_str(), path.c_str());
        return EXIT_FAULT;
    }
    if (!ParseRecording(text, &recording, &fault)) {
        fprintf(stderr, "%s: cannot play '%s': %s\n", options.command.c_str(), path.c_str(), fault.c_str());
        return EXIT_FAULT;
    }
    if (const int exitCode = SetUpMachine(&options, {SetUpQuietTrace, SetUpPointer}); exitCode != EXIT_DONE)
        return exitCode;
    return Replay(&options, &recording);
}

} // namespace korvex::command

#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "command/end_request.h"
#include "command/exit_codes.h"
#include "command/opened_controller.h"
#include "command/options.h"
#include "command/recording.h"
#include "command/subcommands.h"
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
    RequestEnd();
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
    platform::ThisMachine()->observers.lineBytes = [recorder](platform::LineDirection direction, const uint8_t* bytes, size_t count) {
        RecordBytes(recorder, direction, bytes, count);
    };
    TouchController* controller = nullptr;
    int exitCode = OpenController(options, options->arguments[1], &controller);
    if (controller == nullptr)
        return exitCode;
    {
        const std::lock_guard guard(recorder->mutex);
        Write(recorder, ControllerLine(TimeOf(recorder), controller));
    }
    exitCode = StartDriving(options, options->arguments[1], controller);
    if (exitCode == EXIT_DONE)
        WaitForEnd(options->seconds
                ? std::optional(std::chrono::duration_cast<milliseconds>(std::chrono::duration<double>(*options->seconds)))
                : std::nullopt);
    const std::vector controllers{controller};
    return EndControllers(&controllers, exitCode);
}

} // namespace

int RunRecord(const Options* options)
{
    const std::string& path = options->arguments[0];
    Recorder recorder;
    recorder.file = fopen(path.c_str(), "wxe"); // a recording that is there is not overwritten
    if (recorder.file == nullptr) {
        fprintf(stderr, "%s: cannot create '%s': %s\n", options->command.c_str(), path.c_str(), strerror(errno));
        return EXIT_FAULT;
    }
    Write(&recorder, FirstRecordingLine());
    const int exitCode = Record(options, &recorder);
    recorder.failed = fclose(recorder.file) != 0 || recorder.failed;
    if (exitCode == EXIT_NO_PORT)
        unlink(path.c_str()); // nothing came over a line; a controller that gave no answer leaves what was asked
    if (recorder.failed)
        fprintf(stderr, "%s: cannot write all of '%s'\n", options->command.c_str(), path.c_str());
    return recorder.failed ? EXIT_FAULT : exitCode;
}

} // namespace korvex::command

#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <limits>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "command/recording/recording.h"
#include "command/subcommands.h"
#include "input/session.h"
#include "platform/linux/machine.h"
#include "process/exit_codes.h"
#include "process/message.h"
#include "process/options.h"
#include "process/shutdown.h"
#include "runtime/opened_controller.h"

namespace korvex::command {

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::microseconds;
using std::chrono::milliseconds;

// A recording that is being written, by the thread that identifies the controller and by its
// session's.
struct Recorder {
    FILE* file = nullptr;
    Clock::time_point start = Clock::now();
    // sends commands and reads their answers
    std::thread::id commandThread = std::this_thread::get_id();
    // the session has sent a command and gets its answer
    bool asking = false;
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
    if (recorder->failed
        || (fputs(line.c_str(), recorder->file) != EOF && fflush(recorder->file) == 0))
        return;
    recorder->failed = true;
    RequestShutdown();
}

void RecordBytes(
    Recorder* recorder, platform::LineDirection direction, const uint8_t* bytes, size_t count)
{
    const std::lock_guard guard(recorder->mutex);
    // A session sends nothing but what it asks a controller that has come back, on a silent line:
    // what comes next is the answer.
    const bool sent = direction == platform::LineDirection::SENT;
    const bool command = std::this_thread::get_id() == recorder->commandThread
        || std::exchange(recorder->asking, sent);
    const char* kind = sent ? "sent" : command ? "answer" : "report";
    Write(recorder, FormatRecorded(TimeOf(recorder), kind, bytes, count));
}

// Waits for the shutdown, for the given time, or for the end of the session: then true.
bool AwaitEnd(const Options* options, const TouchController* controller)
{
    constexpr milliseconds INTERVAL{100};
    const auto limit = std::chrono::duration<double>(
        options->seconds.value_or(std::numeric_limits<double>::infinity()));
    for (const Clock::time_point start = Clock::now();;) {
        const std::chrono::duration<double> left = limit - (Clock::now() - start);
        if (left.count() <= 0
            || WaitForShutdown(left < INTERVAL ? std::chrono::ceil<milliseconds>(left) : INTERVAL))
            return false;
        if (HasReaderEnded(controller))
            return true;
    }
}

int Record(const Options* options, Recorder* recorder)
{
    platform::ThisMachine()->handlers.lineBytes
        = [recorder](platform::LineDirection direction, const uint8_t* bytes, size_t count) {
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
    if (exitCode == EXIT_DONE && AwaitEnd(options, controller)) {
        Error("another controller answers on '" + options->arguments[1] + "'; the recording ends");
        exitCode = EXIT_NO_CONTROLLER;
    }
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
        Error("cannot create '" + path + "': " + strerror(errno));
        return EXIT_FAULT;
    }
    Write(&recorder, FirstRecordingLine());
    const int exitCode = Record(options, &recorder);
    recorder.failed = fclose(recorder.file) != 0 || recorder.failed;
    if (exitCode == EXIT_NO_PORT)
        // nothing came over a line; a controller that gave no answer leaves what was asked
        unlink(path.c_str());
    if (recorder.failed)
        Error("cannot write all of '" + path + "'");
    return recorder.failed ? EXIT_FAULT : exitCode;
}

} // namespace korvex::command

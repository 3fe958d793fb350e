#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "command/recording/recording.h"
#include "command/subcommands.h"
#include "control/panel_state.h"
#include "emulator/emulator.h"
#include "input/host_handlers.h"
#include "platform/linux/files/whole_files.h"
#include "platform/linux/pointer/pointer.h"
#include "process/exit_codes.h"
#include "process/message.h"
#include "process/options.h"
#include "process/shutdown.h"
#include "runtime/opened_controller.h"

namespace korvex::command {

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

// some weeks of touches; its events take several times as much memory
constexpr size_t MAX_RECORDING_BYTES = size_t{256} << 20;

enum class PlayResult { DONE, ENDED, LINE_FULL };

// Sends the reports, each when its time has come.
PlayResult Play(const Recording* recording, bool fullSpeed, emulator::Emulator* panel)
{
    const Clock::time_point start = Clock::now();
    for (const RecordedReport& report : recording->reports) {
        const Clock::time_point due = start + (report.time - recording->reports.front().time);
        while (Clock::now() < due && !fullSpeed) {
            // Rounded up, so that the wait does not end before its time.
            if (WaitForShutdown(std::chrono::ceil<milliseconds>(due - Clock::now())))
                return PlayResult::ENDED;
        }
        if (!SendBytes(panel, report.bytes))
            return PlayResult::LINE_FULL;
    }
    return PlayResult::DONE;
}

// Waits until the session has taken everything: the line is empty, and nothing has been counted for
// longer than a report may take.
void AwaitSilence(const TouchController* controller, const std::string& terminal)
{
    constexpr milliseconds LONGEST_REPORT{200};
    const auto count = [controller] { return CountersOf(controller); };
    const int line = open(terminal.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    int waiting = 1;
    PanelCounters before{};
    do {
        before = count();
        if (WaitForShutdown(LONGEST_REPORT))
            break;
    } while (!(count() == before) || (ioctl(line, FIONREAD, &waiting) == 0 && waiting > 0));
    if (line >= 0)
        close(line);
}

int Replay(const Options* options, const Recording* recording)
{
    const emulator::EmulatorPointer panel = emulator::StartEmulator(recording->controller);
    if (!panel) {
        Error("cannot open a pseudo-terminal");
        return EXIT_FAULT;
    }
    TouchController* controller = nullptr;
    // Again and again: on a busy machine the emulator can answer too late.
    int exitCode = AwaitController(options, TerminalPath(panel.get()), &controller);
    if (controller == nullptr)
        return exitCode;
    exitCode = StartDriving(options, options->arguments[0], controller);
    const PlayResult result = exitCode == EXIT_DONE
        ? Play(recording, options->fullSpeed, panel.get())
        : PlayResult::ENDED;
    if (result == PlayResult::DONE)
        AwaitSilence(controller, TerminalPath(panel.get()));
    if (result == PlayResult::LINE_FULL) {
        Error("the session has read nothing for a second; the rest is not played");
        exitCode = EXIT_FAULT;
    }
    const PanelCounters counters = CountersOf(controller);
    std::string sums;
    for (const PanelCounter& counter : PANEL_COUNTERS) {
        if (counter.words != nullptr)
            sums += (sums.empty() ? "" : ", ") + std::to_string(counters.*counter.value) + " "
                + counter.words;
    }
    fprintf(stderr, "%s\n", sums.c_str());
    const std::vector controllers{controller};
    return EndControllers(&controllers, exitCode);
}

// Reads a recording's text. Empty, or what is wrong with the file.
std::string ReadText(const std::string& path, std::string* text)
{
    if (platform::ReadWholeFile(path, text, MAX_RECORDING_BYTES))
        return "";
    if (errno == EINVAL)
        return "it is not a file";
    return errno == EFBIG ? "it is larger than " + std::to_string(MAX_RECORDING_BYTES >> 20) + " MB"
                          : strerror(errno);
}

} // namespace

int RunReplay(const Options* options)
{
    SetHostHandlers({.touchAbandoned = platform::AbandonTouch});
    const std::string& path = options->arguments[0];
    std::string text;
    if (const std::string fault = ReadText(path, &text); !fault.empty()) {
        Error("cannot read '" + path + "': " + fault);
        return EXIT_FAULT;
    }
    std::string fault;
    Recording recording;
    if (!ParseRecording(text, &recording, &fault)) {
        Error("cannot play '" + path + "': " + fault);
        return EXIT_FAULT;
    }
    return Replay(options, &recording);
}

} // namespace korvex::command

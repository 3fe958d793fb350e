#include "process/message.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <mutex>

#include "cli/text_layout.h"
#include "platform/linux/core/descriptors.h"
#include "platform/linux/core/text.h"
#include "process/exit_codes.h"
#include "process/service_manager.h"
#include "process/shutdown.h"

namespace korvex::command {

namespace {

std::string prefix = "korvex";

// Those of syslog(3).
enum class Priority { ERROR = 3, WARNING = 4, NOTICE = 5 };

// By Happening.
constexpr std::array MESSAGE_IDS{
    "22b53ee25bc34cb59066e2ec8c295a12", // DRIVEN
    "e1444a11e2824bf8bd3854001320358b", // PENDING
    "9cc70d6c432d41d4b965130347c8085c", // LOST
    "0940d0f15e4a4cd6ab7373077b4f4102", // RETURNED
    "3742009ecb2547d18e467fb110a70816", // REPLACED
    "ed3c1430190e42cfb74fd591e4a6656d", // NOISY
    "5d9b25dad53e4a0087852a50e641b42b", // QUIET
    "00f5828facad4718b5cf34b5a8cb3626", // CALIBRATED
    "4a03a8030efd4ec9bf7a39ee75857f86", // SETTINGS
};
static_assert(MESSAGE_IDS.size() == static_cast<size_t>(Happening::SETTINGS) + 1);

// Sends the line as an entry of the journal; false if it takes none.
bool PrintToJournal(
    Priority priority, const PanelSubject* subject, const std::string& line, bool waits)
{
    std::string fields = "PRIORITY=" + std::to_string(static_cast<int>(priority))
        + "\nSYSLOG_IDENTIFIER=korvex\nMESSAGE=" + line + "\n";
    if (subject != nullptr)
        fields += "KORVEX_PANEL=" + subject->panel
            + "\nMESSAGE_ID=" + MESSAGE_IDS[static_cast<size_t>(subject->happening)] + "\n";
    return SendToJournal(fields, waits);
}

// A line for each message; `subject` null: about the command.
void Print(Priority priority, const PanelSubject* subject, const std::string& text, bool waits)
{
    static const bool isJournal = IsStandardErrorJournal();
    std::string line = (subject == nullptr ? prefix : subject->title) + ": " + text;
    std::replace(line.begin(), line.end(), '\n', ' ');
    ReplaceControls(&line);
    if (isJournal && PrintToJournal(priority, subject, line, waits))
        return;
    if (isJournal)
        line.insert(0, "<" + std::to_string(static_cast<int>(priority)) + ">");
    if (!waits) // so much goes whole and without a wait into a pipe that is ready
        line.resize(std::min<size_t>(line.size(), PIPE_BUF - 1));
    line += '\n';
    static std::mutex mutex;
    const std::lock_guard guard(mutex); // two lines together may be more than what it is ready for
    pollfd output{STDERR_FILENO, POLLOUT, 0};
    if (waits || (poll(&output, 1, 0) > 0 && (output.revents & POLLOUT) != 0))
        platform::WriteWhole(STDERR_FILENO, line); // a failure cannot be reported anywhere
}

} // namespace

void SetMessagePrefix(const std::string& command)
{
    prefix = command;
}

void Error(const std::string& text)
{
    Print(Priority::ERROR, nullptr, text, true);
}

void Error(const PanelSubject& subject, const std::string& text)
{
    Print(Priority::ERROR, &subject, text, true);
}

void Warning(const std::string& text)
{
    Print(Priority::WARNING, nullptr, text, false);
}

void Warning(const PanelSubject& subject, const std::string& text)
{
    Print(Priority::WARNING, &subject, text, false);
}

void Notice(const std::string& text)
{
    Print(Priority::NOTICE, nullptr, text, false);
}

void Notice(const PanelSubject& subject, const std::string& text)
{
    Print(Priority::NOTICE, &subject, text, false);
}

bool WriteOutput(std::string_view text)
{
    while (!text.empty()) {
        std::array<pollfd, 2> polled{
            pollfd{STDOUT_FILENO, POLLOUT, 0}, pollfd{ShutdownDescriptor(), POLLIN, 0}};
        if (poll(polled.data(), polled.size(), -1) < 0 && errno != EINTR)
            return false;
        if (polled[1].revents != 0)
            return false;
        if (polled[0].revents == 0)
            continue;
        // So much a pipe that is ready takes without blocking.
        const ssize_t written
            = write(STDOUT_FILENO, text.data(), std::min<size_t>(text.size(), PIPE_BUF));
        if (written < 0 && errno != EINTR && errno != EAGAIN)
            return false;
        text.remove_prefix(static_cast<size_t>(std::max<ssize_t>(written, 0)));
    }
    return true;
}

int OutputFailed()
{
    Error("cannot write to standard output");
    return EXIT_FAULT;
}

void ShowErrorBox(const Options* options, const std::string& text, const WCHAR* title)
{
    constexpr size_t BOX_COLUMNS = 60;
    Error(text);
    if (options->windows != "none")
        MessageBoxW(nullptr, platform::FromUtf8(Wrapped(text, BOX_COLUMNS)).c_str(), title, MB_OK);
}

} // namespace korvex::command

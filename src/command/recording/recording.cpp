#include "command/recording/recording.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <optional>
#include <system_error>
#include <utility>

#include "cli/text_layout.h"
#include "link/command_protocol.h"

namespace korvex::command {

namespace {

constexpr std::string_view FORMAT = "korvex-recording ";
constexpr std::string_view VERSION = "1";

// Takes the next word off the text; empty at its end.
std::string_view PopWord(std::string_view* text)
{
    text->remove_prefix(std::min(text->find_first_not_of(" \t\r"), text->size()));
    const std::string_view word = text->substr(0, text->find_first_of(" \t\r"));
    text->remove_prefix(word.size());
    return word;
}

// A whole number in a base, all of the text; none when it is not one or above `largest`.
std::optional<uint32_t> Number(std::string_view text, int base, uint32_t largest)
{
    uint32_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, base);
    const bool valid
        = error == std::errc{} && end == text.data() + text.size() && number <= largest;
    return valid ? std::optional(number) : std::nullopt;
}

// "12.345678" as microseconds.
std::optional<std::chrono::microseconds> Time(std::string_view text)
{
    constexpr size_t DECIMALS = 6;
    constexpr uint32_t LONGEST = 10'000'000; // seconds, a hundred days
    const size_t point = std::min(text.find('.'), text.size());
    const std::optional<uint32_t> seconds = Number(text.substr(0, point), 10, LONGEST);
    if (!seconds || text.size() > point + 1 + DECIMALS)
        return std::nullopt;
    std::string decimals(point < text.size() ? text.substr(point + 1) : "0");
    decimals.resize(DECIMALS, '0');
    const std::optional<uint32_t> fraction = Number(decimals, 10, 999'999);
    if (!fraction || text.ends_with('.'))
        return std::nullopt;
    return std::chrono::seconds(*seconds) + std::chrono::microseconds(*fraction);
}

bool ParseBytes(std::string_view text, std::vector<uint8_t>* bytes)
{
    for (std::string_view word = PopWord(&text); !word.empty(); word = PopWord(&text)) {
        const std::optional<uint32_t> byte
            = word.size() == 2 ? Number(word, 16, 0xFF) : std::nullopt;
        if (!byte)
            return false;
        bytes->push_back(static_cast<uint8_t>(*byte));
    }
    return !bytes->empty();
}

// "5200 firmware 1.2.3 resolution 10 baud 19200"
bool ParseController(std::string_view text, emulator::EmulatorOptions* controller)
{
    controller->model = Number(PopWord(&text), 16, 0xFFFF).value_or(0);
    const bool firmware = PopWord(&text) == "firmware" && ParseFirmware(PopWord(&text), controller);
    const bool resolution = PopWord(&text) == "resolution";
    controller->resolutionBits = Number(PopWord(&text), 10, 12).value_or(0);
    const bool baud = PopWord(&text) == "baud";
    controller->baudRate = Number(PopWord(&text), 10, 19200).value_or(0);
    const auto* known = std::find_if(DRIVEN_MODELS.begin(), DRIVEN_MODELS.end(),
        [controller](const DrivenModel& driven) { return driven.model == controller->model; });
    const bool bits = known != DRIVEN_MODELS.end()
        && (controller->resolutionBits == LOW_RESOLUTION_BITS
            || (controller->resolutionBits == HIGH_RESOLUTION_BITS && known->hasHighResolution));
    const bool rate = controller->baudRate == 19200 || controller->baudRate == 9600;
    return bits && firmware && resolution && baud && rate && PopWord(&text).empty();
}

// Takes what the controller's memory holds from the answer to a command that asks for it.
void ParseMemory(
    const std::vector<uint8_t>* command, const std::vector<uint8_t>* answer, Recording* recording)
{
    const size_t length = ReportLengthOf(recording->controller.model);
    if (command->size() != length || answer->size() != length
        || answer->front() != command->front())
        return;
    const MemoryAccess access = MemoryAccessOf(recording->controller.model);
    uint32_t address = (*command)[2];
    if (access.codePerAddress)
        address = access.bytes * static_cast<uint8_t>(command->front() - access.firstCode);
    else if (command->front() != access.firstCode)
        return;
    if (address + access.bytes <= recording->controller.memory.size())
        std::copy_n(answer->begin() + access.offset, access.bytes,
            recording->controller.memory.begin() + static_cast<ptrdiff_t>(address));
}

// The parser's state between two lines.
struct ParserState {
    std::chrono::microseconds time{0}; // of the event before
    std::vector<uint8_t> command;      // the last one
    std::vector<uint8_t> answer;       // what has come since
};

// Reads an event into the recording; empty, or what is wrong with it.
std::string ParseEvent(std::string_view line, ParserState* state, Recording* recording)
{
    const std::optional<std::chrono::microseconds> time = Time(PopWord(&line));
    if (!time)
        return "a time in seconds is missing";
    if (*time < state->time)
        return "the time is before that of the line above";
    state->time = *time;
    const std::string_view kind = PopWord(&line);
    if (kind == "controller") {
        if (recording->controller.model != 0)
            return "a second controller";
        return ParseController(line, &recording->controller)
            ? ""
            : "not a controller that can be driven";
    }
    if (kind != "sent" && kind != "answer" && kind != "report")
        return "unknown event '" + std::string(kind) + "'";
    RecordedReport report{*time, {}};
    if (!ParseBytes(line, &report.bytes))
        return "bytes of two hexadecimal digits are missing";
    if (kind == "report" && recording->controller.model == 0)
        return "a report before the controller is known";
    if (kind == "report") {
        recording->reports.push_back(std::move(report));
    } else if (kind == "sent") {
        state->command = report.bytes;
        state->answer.clear();
    } else {
        state->answer.insert(state->answer.end(), report.bytes.begin(), report.bytes.end());
        ParseMemory(&state->command, &state->answer, recording);
    }
    return "";
}

std::string TimeText(std::chrono::microseconds time)
{
    return Formatted("%lld.%06lld", static_cast<long long>(time.count() / 1'000'000),
        static_cast<long long>(time.count() % 1'000'000));
}

} // namespace

bool ParseRecording(std::string_view text, Recording* recording, std::string* error)
{
    *recording = {.controller = {.model = 0}, .reports = {}};
    ParserState state;
    std::string fault;
    size_t number = 0;
    while (!text.empty() && fault.empty()) {
        std::string_view line = text.substr(0, text.find('\n'));
        text.remove_prefix(std::min(line.size() + 1, text.size()));
        ++number;
        std::string_view rest = line;
        const std::string_view word = PopWord(&rest);
        if (number == 1) {
            const bool named = line.starts_with(FORMAT);
            const std::string_view version = PopWord(&rest);
            if (!named)
                fault = "not a recording";
            else if (version != VERSION)
                fault = "version '" + std::string(version) + "' of the format is not known";
        } else if (!word.empty() && word.front() != '#') {
            fault = ParseEvent(line, &state, recording);
        }
    }
    if (fault.empty() && number == 0)
        fault = "not a recording";
    if (!fault.empty())
        *error = "line " + std::to_string(std::max<size_t>(number, 1)) + ": " + fault;
    else if (recording->controller.model == 0)
        *error = "no controller was identified in it";
    return fault.empty() && recording->controller.model != 0;
}

std::string FirstRecordingLine()
{
    std::string line(FORMAT);
    line += VERSION;
    line += '\n';
    return line;
}

std::string FormatRecorded(
    std::chrono::microseconds time, std::string_view kind, const uint8_t* bytes, size_t count)
{
    std::string line = TimeText(time);
    line += ' ';
    line += kind;
    for (size_t i = 0; i < count; ++i)
        line += Formatted(" %02X", bytes[i]);
    line += '\n';
    return line;
}

std::string ControllerLine(std::chrono::microseconds time, const TouchController* controller)
{
    return TimeText(time)
        + Formatted(" controller %X firmware %u.%u.%u resolution %u baud %u\n", controller->model,
            controller->fwMajor, controller->fwMinor, controller->fwBuild,
            controller->resolutionBits, controller->link.baudRate);
}

} // namespace korvex::command

#include "emulator/command_options.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <cmath>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "emulator/gestures.h"

namespace korvex::emulator {

namespace {

bool ParseNumber(std::string_view text, uint32_t largest, uint32_t* number)
{
    if (text.empty() || text.size() > 9
        || text.find_first_not_of("0123456789") != std::string_view::npos)
        return false;
    *number = static_cast<uint32_t>(std::stoul(std::string(text)));
    return *number <= largest;
}

bool ParseHex(std::string_view text, Bytes* bytes)
{
    if (text.size() % 2 != 0
        || text.find_first_not_of("0123456789abcdefABCDEF") != std::string_view::npos)
        return false;
    for (size_t i = 0; i < text.size(); i += 2)
        bytes->push_back(
            static_cast<uint8_t>(std::stoul(std::string(text.substr(i, 2)), nullptr, 16)));
    return true;
}

// Splits at the first `separator`; false when there is none.
bool Split(std::string_view text, char separator, std::string_view* left, std::string_view* right)
{
    const size_t position = text.find(separator);
    if (position == std::string_view::npos)
        return false;
    *left = text.substr(0, position);
    *right = text.substr(position + 1);
    return true;
}

bool ParseDecimal(std::string_view text, double* number)
{
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), *number);
    return error == std::errc{} && end == text.data() + text.size() && std::abs(*number) <= 1000;
}

bool SplitPair(std::string_view text, PanelPoint* pair)
{
    std::string_view first;
    std::string_view second;
    return Split(text, ',', &first, &second) && ParseDecimal(first, &pair->x)
        && ParseDecimal(second, &pair->y);
}

bool ParseTargetError(std::string_view text, EmulatorOptions* options)
{
    std::string_view target;
    std::string_view error;
    uint32_t number = 0;
    return Split(text, '=', &target, &error) && ParseNumber(target, PANEL_TARGET_COUNT, &number)
        && number > 0 && SplitPair(error, &options->distortion.targetErrors[number - 1]);
}

bool ParseNoise(std::string_view text, EmulatorOptions* options)
{
    std::string_view deviationText = text;
    std::string_view seedText = "0";
    double deviation = 0;
    uint32_t seed = 0;
    Split(text, ',', &deviationText, &seedText);
    const bool valid = ParseDecimal(deviationText, &deviation) && deviation >= 0
        && ParseNumber(seedText, 999999999, &seed);
    options->noise = NoiseOf(deviation, seed);
    return valid;
}

bool ParseFault(std::string_view text, EmulatorOptions* options)
{
    std::string_view name = text;
    std::string_view countText;
    uint32_t count = 0;
    const bool counted = Split(text, '=', &name, &countText);
    if (counted && !ParseNumber(countText, 1000000, &count))
        return false;
    AnswerFault fault{AnswerFaultKind::SILENCE, counted ? static_cast<int>(count) : -1, -1, -1};
    if (name == "wrong-echo")
        fault.kind = AnswerFaultKind::WRONG_ECHO;
    else if (name == "corruption")
        fault.kind = AnswerFaultKind::CORRUPTION;
    else if (name == "noise")
        fault.kind = AnswerFaultKind::NOISE;
    else if (name != "silence")
        return false;
    options->answerFaults.push_back(fault);
    return true;
}

bool ParseGap(std::string_view text, EmulatorOptions* options)
{
    std::string_view byteText;
    std::string_view lengthText;
    uint32_t byte = 0;
    uint32_t length = 0;
    if (!Split(text, ',', &byteText, &lengthText) || !ParseNumber(byteText, 5, &byte)
        || !ParseNumber(lengthText, 60000, &length))
        return false;
    options->reportFault.gapAfter = byte;
    options->reportFault.gapLength = std::chrono::milliseconds(length);
    return true;
}

bool ParseMemory(std::string_view text, EmulatorOptions* options)
{
    Bytes bytes;
    if (!ParseHex(text, &bytes) || bytes.size() > MEMORY_BYTES)
        return false;
    std::copy(bytes.begin(), bytes.end(), options->memory.begin());
    return true;
}

} // namespace

command::Program EmulatorProgram(Settings* settings)
{
    using command::Completion;
    using command::StoreText;
    EmulatorOptions* options = &settings->options;
    const auto parse = [options](bool (*parser)(std::string_view, EmulatorOptions*)) {
        return [=](const std::string& text) { return parser(text, options); };
    };
    const auto number = [](uint32_t* value, int base) {
        return [=](const std::string& text) { // one of the choices
            *value = static_cast<uint32_t>(std::stoul(text, nullptr, base));
            return true;
        };
    };
    const auto pair = [](PanelPoint* value) {
        return [=](const std::string& text) { return SplitPair(text, value); };
    };
    std::vector<std::string> models;
    for (const uint32_t model : EMULATED_MODELS) {
        std::array<char, 12> name{};
        std::to_chars(name.begin(), name.end(), model, 16);
        models.emplace_back(name.data());
    }
    return {.name = "korvex-emulator",
        .help = "Emulates a touch controller on a pseudo-terminal and prints each command that it "
                "receives.",
        .footer = "Gestures, positions in percent of the panel:\n" + std::string(GESTURE_HELP),
        .options = {
            {.name = "--link",
                .value = "PATH",
                .help = "make PATH a symbolic link to the terminal",
                .store = StoreText(&settings->link),
                .expected = "a path",
                .completion = Completion::FILES},
            {.name = "--model",
                .help = "the model (default 5200)",
                .store = number(&options->model, 16),
                .choices = models},
            {.name = "--identity",
                .value = "NUMBER",
                .help = "the model number that the firmware reports (default: that of --model)",
                .store =
                    [=](const std::string& text) {
                        return ParseNumber(text, 65535, &options->modelNumber);
                    },
                .expected = "a number from 0 to 65535"},
            {.name = "--baud",
                .help = "the baud rate at which it answers (default 19200)",
                .store = number(&options->baudRate, 10),
                .choices = {"19200", "9600"}},
            {.name = "--resolution",
                .help = "bits of a coordinate (default 10; only model 5200 has 12)",
                .store = number(&options->resolutionBits, 10),
                .choices = {"10", "12"}},
            {.name = "--firmware",
                .value = "A.B.C",
                .help = "firmware version (default 1.2.3)",
                .store = parse(ParseFirmware),
                .expected = "MAJOR.MINOR.BUILD, such as 1.2.3"},
            {.name = "--memory",
                .value = "HEX",
                .help = "the start of the board memory, two digits per byte (default all zero)",
                .store = parse(ParseMemory),
                .expected = "hexadecimal digits, two per byte"},
            {.name = "--fault",
                .value = "KIND[=COUNT]",
                .help = "make the next COUNT answers, or all, faulty: silence, wrong-echo, "
                        "corruption or noise; may be given several times",
                .store = parse(ParseFault),
                .expected = "silence, wrong-echo, corruption or noise, and perhaps =COUNT",
                .repeatable = true},
            {.name = "--report-noise",
                .value = "HEX",
                .help = "send these bytes before each report",
                .store =
                    [=](const std::string& text) {
                        return ParseHex(text, &options->reportFault.noiseBefore);
                    },
                .expected = "hexadecimal digits, two per byte"},
            {.name = "--report-gap",
                .value = "BYTE,MS",
                .help = "pause for MS milliseconds after each report's first BYTE bytes",
                .store = parse(ParseGap),
                .expected = "a number from 0 to 5, and milliseconds"},
            {.name = "--scale",
                .value = "X,Y",
                .help = "scale measured positions about the panel's centre by these factors",
                .store = pair(&options->distortion.scale),
                .expected = "two numbers"},
            {.name = "--rotate",
                .value = "DEGREES",
                .help = "rotate measured positions clockwise about the centre, after --scale",
                .store =
                    [=](const std::string& text) {
                        return ParseDecimal(text, &options->distortion.rotation);
                    },
                .expected = "a number"},
            {.name = "--offset",
                .value = "X,Y",
                .help = "shift measured positions by these percentages of the panel's size, "
                        "after --rotate",
                .store = pair(&options->distortion.offset),
                .expected = "two numbers"},
            {.name = "--target-error",
                .value = "N=X,Y",
                .help = "shift them further at the panel test's target N (1 to 9, row by row); "
                        "may be given several times",
                .store = parse(ParseTargetError),
                .expected = "a target from 1 to 9, and two numbers",
                .repeatable = true},
            {.name = "--noise",
                .value = "UNITS[,SEED]",
                .help = "add noise of this standard deviation (raw units), and outliers, to the "
                        "measured positions",
                .store = parse(ParseNoise),
                .expected = "a number, and perhaps a whole one"},
            {.name = "--script",
                .value = "FILE",
                .help = "perform the gestures in FILE (\"-\": standard input), one per line",
                .store = StoreText(&settings->script),
                .expected = "a path",
                .completion = Completion::FILES},
            {.name = "--panel-test",
                .help = "follow a panel test, as a script with the line \"panel-test\" does",
                .store = command::StoreFlag(&settings->followsPanelTest)},
        }};
}

} // namespace korvex::emulator

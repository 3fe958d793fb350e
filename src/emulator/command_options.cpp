#include "emulator/command_options.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <string_view>
#include <system_error>

#include "emulator/gestures.h"

namespace korvex::emulator {

namespace {

constexpr int EXIT_USAGE = 2;

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

bool ParseTargetError(std::string_view text, Settings* settings)
{
    std::string_view target;
    std::string_view error;
    uint32_t number = 0;
    return Split(text, '=', &target, &error) && ParseNumber(target, TARGET_COUNT, &number)
        && number > 0 && SplitPair(error, &settings->distortion.targetErrors[number - 1]);
}

bool ParseNoise(std::string_view text, Settings* settings)
{
    std::string_view deviationText = text;
    std::string_view seedText = "0";
    double deviation = 0;
    uint32_t seed = 0;
    Split(text, ',', &deviationText, &seedText);
    const bool valid = ParseDecimal(deviationText, &deviation) && deviation >= 0
        && ParseNumber(seedText, 999999999, &seed);
    settings->noise = NoiseOf(deviation, seed);
    return valid;
}

bool ParseFirmware(std::string_view text, Settings* settings)
{
    EmulatorOptions* options = &settings->options;
    std::string_view majorText;
    std::string_view minorText;
    std::string_view buildText;
    std::string_view rest;
    uint32_t majorNumber = 0;
    uint32_t minorNumber = 0;
    uint32_t buildNumber = 0;
    const bool valid = Split(text, '.', &majorText, &rest)
        && Split(rest, '.', &minorText, &buildText) && ParseNumber(majorText, 255, &majorNumber)
        && ParseNumber(minorText, 255, &minorNumber) && ParseNumber(buildText, 65535, &buildNumber);
    options->fwMajor = static_cast<uint8_t>(majorNumber);
    options->fwMinor = static_cast<uint8_t>(minorNumber);
    options->fwBuild = static_cast<uint16_t>(buildNumber);
    return valid;
}

bool ParseFault(std::string_view text, Settings* settings)
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
    settings->answerFaults.push_back(fault);
    return true;
}

bool ParseGap(std::string_view text, Settings* settings)
{
    std::string_view byteText;
    std::string_view lengthText;
    uint32_t byte = 0;
    uint32_t length = 0;
    if (!Split(text, ',', &byteText, &lengthText) || !ParseNumber(byteText, 5, &byte)
        || !ParseNumber(lengthText, 60000, &length))
        return false;
    settings->reportFault.gapAfter = byte;
    settings->reportFault.gapLength = std::chrono::milliseconds(length);
    return true;
}

bool ParseModel(std::string_view text, Settings* settings)
{
    settings->options.model = text == "7700" ? 0x7700 : text == "5460" ? 0x5460 : 0x5200;
    return text == "7700" || text == "5460" || text == "5200";
}

bool ParseIdentity(std::string_view text, Settings* settings)
{
    return ParseNumber(text, 65535, &settings->options.modelNumber);
}

bool ParseBaudRate(std::string_view text, Settings* settings)
{
    uint32_t* rate = &settings->options.baudRate;
    return ParseNumber(text, 19200, rate) && (*rate == 19200 || *rate == 9600);
}

bool ParseResolution(std::string_view text, Settings* settings)
{
    uint32_t* bits = &settings->options.resolutionBits;
    return ParseNumber(text, 12, bits) && (*bits == 10 || *bits == 12);
}

bool ParseMemory(std::string_view text, Settings* settings)
{
    Bytes bytes;
    if (!ParseHex(text, &bytes) || bytes.size() > MEMORY_BYTES)
        return false;
    std::copy(bytes.begin(), bytes.end(), settings->options.memory.begin());
    return true;
}

bool ParseReportNoise(std::string_view text, Settings* settings)
{
    return ParseHex(text, &settings->reportFault.noiseBefore);
}

bool ParseRotation(std::string_view text, Settings* settings)
{
    return ParseDecimal(text, &settings->distortion.rotation);
}

template <PanelPoint Distortion::* PAIR>
bool ParsePair(std::string_view text, Settings* settings)
{
    return SplitPair(text, &(settings->distortion.*PAIR));
}

template <std::string Settings::* TEXT>
bool ParseText(std::string_view text, Settings* settings)
{
    settings->*TEXT = text;
    return !text.empty();
}

struct OptionDeclaration {
    const char* name;
    const char* value; // its placeholder
    const char* help;
    bool (*parse)(std::string_view text, Settings* settings); // false when it is not valid
};

// In the order of the help. Each may be given several times.
constexpr std::array OPTIONS{
    OptionDeclaration{"--link", "PATH", "leave a symbolic link to the terminal at PATH",
        ParseText<&Settings::link>},
    OptionDeclaration{"--model", "MODEL", "5200, 5460 or 7700 (default 5200)", ParseModel},
    OptionDeclaration{"--identity", "NUMBER",
        "the model number that the firmware gives (default: that of the model)", ParseIdentity},
    OptionDeclaration{"--baud", "RATE",
        "19200 or 9600: the rate at which it answers (default 19200)", ParseBaudRate},
    OptionDeclaration{
        "--resolution", "BITS", "10 or 12 (default 10; only model 5200 has 12)", ParseResolution},
    OptionDeclaration{"--firmware", "A.B.C", "firmware version (default 1.2.3)", ParseFirmware},
    OptionDeclaration{"--memory", "HEX",
        "the start of the board memory, two digits a byte (default all zero)", ParseMemory},
    OptionDeclaration{"--fault", "KIND[=COUNT]",
        "spoil the next COUNT answers, or all: silence, wrong-echo, corruption, noise", ParseFault},
    OptionDeclaration{
        "--report-noise", "HEX", "send these bytes before each report", ParseReportNoise},
    OptionDeclaration{"--report-gap", "BYTE,MS",
        "pause for MS milliseconds after each report's first BYTE bytes", ParseGap},
    OptionDeclaration{"--scale", "X,Y",
        "the panel measures touches stretched by these factors about its middle,",
        ParsePair<&Distortion::scale>},
    OptionDeclaration{"--rotate", "DEGREES", "turned clockwise about its middle,", ParseRotation},
    OptionDeclaration{"--offset", "X,Y", "shifted by these percentages of its size,",
        ParsePair<&Distortion::offset>},
    OptionDeclaration{"--target-error", "N=X,Y",
        "and off by these at the panel test's target N (1 to 9, row by row)", ParseTargetError},
    OptionDeclaration{"--noise", "UNITS[,SEED]",
        "measurements have noise of this standard deviation (raw units), and outliers", ParseNoise},
    OptionDeclaration{"--script", "FILE",
        "carry out the gestures in FILE (\"-\": standard input), one a line",
        ParseText<&Settings::script>},
};

int Refuse(const std::string& fault)
{
    fprintf(stderr, "korvex-emulator: %s\n", fault.c_str());
    return EXIT_USAGE;
}

} // namespace

int ParseOptions(int argc, char** argv, Settings* settings)
{
    CLI::App app("Emulates a touch controller on a pseudo-terminal and prints each command that it "
                 "receives.",
        "korvex-emulator");
    for (const OptionDeclaration& option : OPTIONS)
        app.add_option(option.name)
            ->description(option.help)
            ->option_text(option.value)
            ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
            ->allow_extra_args(false);
    app.add_flag("--panel-test", settings->followsPanelTest,
        "follow a panel test: the same as a script with the line \"panel-test\"");
    app.set_help_flag("-h,--help", "show this");
    app.set_version_flag("-v,--version", "korvex-emulator " KORVEX_VERSION, "show the version");
    app.footer("Gestures, positions in percent of the panel:\n" + std::string(GESTURE_HELP));
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success& asked) { // for help or the version
        return app.exit(asked);
    } catch (const CLI::ParseError& error) {
        const std::vector<std::string> left = app.remaining();
        return Refuse(left.empty() ? error.what() : "unexpected argument '" + left[0] + "'");
    }
    for (const OptionDeclaration& option : OPTIONS) {
        for (const std::string& value : app.get_option(option.name)->results()) {
            if (!option.parse(value, settings))
                return Refuse("invalid value '" + value + "' for '" + option.name + "'");
        }
    }
    return -1;
}

} // namespace korvex::emulator

#include "emulator/command.h"

#include <getopt.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>
#include <string_view>
#include <system_error>
#include <thread>
#include <vector>

#include "emulator/emulator.h"
#include "emulator/gestures.h"

namespace korvex::emulator {

namespace {

constexpr int EXIT_USAGE = 2;

constexpr const char* HELP = R"(Usage: korvex-emulator [OPTION]...
Emulates a touch controller on a pseudo-terminal and prints each command that it receives.

  --link PATH            leave a symbolic link to the terminal at PATH
  --model MODEL          5200, 5460 or 7700 (default 5200)
  --identity NUMBER      the model number that the firmware gives (default: that of the model)
  --baud RATE            19200 or 9600: the rate at which it answers (default 19200)
  --resolution BITS      10 or 12 (default 10; only model 5200 has 12)
  --firmware A.B.C       firmware version (default 1.2.3)
  --memory HEX           the start of the board memory, two digits a byte (default all zero)
  --fault KIND[=COUNT]   spoil the next COUNT answers, or all: silence, wrong-echo, corruption, noise
  --report-noise HEX     send these bytes before each report
  --report-gap BYTE,MS   pause for MS milliseconds after each report's first BYTE bytes
  --scale X,Y            the panel measures touches stretched by these factors about its middle,
  --rotate DEGREES       turned clockwise about its middle,
  --offset X,Y           shifted by these percentages of its size,
  --target-error N=X,Y   and off by these at the panel test's target N (1 to 9, row by row; repeatable)
  --noise UNITS[,SEED]   measurements have noise of this standard deviation (raw units), and outliers
  --panel-test           follow a panel test: the same as a script with the line "panel-test"
  --script FILE          carry out the gestures in FILE ("-": standard input), one a line
  --help                 show this
  --version              show the version

Gestures, positions in percent of the panel:
)";

struct Settings {
    EmulatorOptions options;
    std::string link;
    std::string script;
    std::vector<AnswerFault> answerFaults;
    ReportFault reportFault;
    Distortion distortion;
    Noise noise;
    bool followsPanelTest = false;
};

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

bool ParsePair(std::string_view text, PanelPoint* pair)
{
    std::string_view first;
    std::string_view second;
    return Split(text, ',', &first, &second) && ParseDecimal(first, &pair->x)
        && ParseDecimal(second, &pair->y);
}

bool ParseTargetError(std::string_view text, Distortion* distortion)
{
    std::string_view target;
    std::string_view error;
    uint32_t number = 0;
    return Split(text, '=', &target, &error) && ParseNumber(target, TARGET_COUNT, &number)
        && number > 0 && ParsePair(error, &distortion->targetErrors[number - 1]);
}

bool ParseNoise(std::string_view text, Noise* noise)
{
    std::string_view deviationText = text;
    std::string_view seedText = "0";
    double deviation = 0;
    uint32_t seed = 0;
    Split(text, ',', &deviationText, &seedText);
    const bool valid = ParseDecimal(deviationText, &deviation) && deviation >= 0
        && ParseNumber(seedText, 999999999, &seed);
    *noise = NoiseOf(deviation, seed);
    return valid;
}

bool ParseFirmware(std::string_view text, EmulatorOptions* options)
{
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

bool ParseFault(std::string_view text, std::vector<AnswerFault>* faults)
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
    faults->push_back(fault);
    return true;
}

bool ParseGap(std::string_view text, ReportFault* fault)
{
    std::string_view byteText;
    std::string_view lengthText;
    uint32_t byte = 0;
    uint32_t length = 0;
    if (!Split(text, ',', &byteText, &lengthText) || !ParseNumber(byteText, 5, &byte)
        || !ParseNumber(lengthText, 60000, &length))
        return false;
    fault->gapAfter = byte;
    fault->gapLength = std::chrono::milliseconds(length);
    return true;
}

bool ApplyOption(std::string_view name, std::string_view value, Settings* settings)
{
    EmulatorOptions* options = &settings->options;
    if (name == "link" || name == "script") {
        (name == "link" ? settings->link : settings->script) = value;
        return !value.empty();
    }
    if (name == "model") {
        options->model = value == "7700" ? 0x7700 : value == "5460" ? 0x5460 : 0x5200;
        return value == "7700" || value == "5460" || value == "5200";
    }
    if (name == "baud")
        return ParseNumber(value, 19200, &options->baudRate)
            && (options->baudRate == 19200 || options->baudRate == 9600);
    if (name == "identity")
        return ParseNumber(value, 65535, &options->modelNumber);
    if (name == "resolution")
        return ParseNumber(value, 12, &options->resolutionBits)
            && (options->resolutionBits == 10 || options->resolutionBits == 12);
    if (name == "firmware")
        return ParseFirmware(value, options);
    if (name == "memory") {
        Bytes bytes;
        if (!ParseHex(value, &bytes) || bytes.size() > MEMORY_BYTES)
            return false;
        std::copy(bytes.begin(), bytes.end(), options->memory.begin());
        return true;
    }
    if (name == "fault")
        return ParseFault(value, &settings->answerFaults);
    if (name == "report-noise")
        return ParseHex(value, &settings->reportFault.noiseBefore);
    if (name == "scale")
        return ParsePair(value, &settings->distortion.scale);
    if (name == "offset")
        return ParsePair(value, &settings->distortion.offset);
    if (name == "rotate")
        return ParseDecimal(value, &settings->distortion.rotation);
    if (name == "target-error")
        return ParseTargetError(value, &settings->distortion);
    if (name == "noise")
        return ParseNoise(value, &settings->noise);
    if (name == "report-gap")
        return ParseGap(value, &settings->reportFault);
    return false;
}

// The exit code when the command ends here; -1 to go on.
int ParseOptions(int argc, char** argv, Settings* settings)
{
    const std::array known{option{"link", required_argument, nullptr, 'v'},
        option{"model", required_argument, nullptr, 'v'},
        option{"identity", required_argument, nullptr, 'v'},
        option{"baud", required_argument, nullptr, 'v'},
        option{"resolution", required_argument, nullptr, 'v'},
        option{"firmware", required_argument, nullptr, 'v'},
        option{"memory", required_argument, nullptr, 'v'},
        option{"fault", required_argument, nullptr, 'v'},
        option{"report-noise", required_argument, nullptr, 'v'},
        option{"report-gap", required_argument, nullptr, 'v'},
        option{"script", required_argument, nullptr, 'v'},
        option{"scale", required_argument, nullptr, 'v'},
        option{"offset", required_argument, nullptr, 'v'},
        option{"rotate", required_argument, nullptr, 'v'},
        option{"target-error", required_argument, nullptr, 'v'},
        option{"noise", required_argument, nullptr, 'v'},
        option{"panel-test", no_argument, nullptr, 'p'}, option{"help", no_argument, nullptr, 'h'},
        option{"version", no_argument, nullptr, 'V'}, option{nullptr, 0, nullptr, 0}};
    int index = 0;
    for (;;) {
        switch (getopt_long(argc, argv, "", known.data(), &index)) {
        case -1:
            if (optind == argc)
                return -1;
            fprintf(stderr, "korvex-emulator: unexpected argument '%s'\n", argv[optind]);
            return EXIT_USAGE;
        case 'h':
            fputs(HELP, stdout);
            fputs(GESTURE_HELP.data(), stdout);
            return EXIT_SUCCESS;
        case 'V':
            puts("korvex-emulator " KORVEX_VERSION);
            return EXIT_SUCCESS;
        case 'p':
            settings->followsPanelTest = true;
            break;
        case 'v':
            if (ApplyOption(known[static_cast<size_t>(index)].name, optarg, settings))
                break;
            fprintf(stderr, "korvex-emulator: invalid value '%s' for '--%s'\n", optarg,
                known[static_cast<size_t>(index)].name);
            return EXIT_USAGE;
        default: // getopt has named the fault
            return EXIT_USAGE;
        }
    }
}

std::string HexText(const Bytes& bytes)
{
    std::string text;
    for (const uint8_t byte : bytes) {
        std::array<char, 4> digits{};
        snprintf(digits.data(), digits.size(), "%s%02X", text.empty() ? "" : " ", byte);
        text += digits.data();
    }
    return text;
}

void PrintCommand(const ReceivedCommand& command)
{
    printf("%5u baud: %-17s -> %s\n", command.baudRate, HexText(command.bytes).c_str(),
        command.answer.empty() ? "(no answer)" : HexText(command.answer).c_str());
    fflush(stdout);
}

// Carries out a line; false when it ends the emulator.
bool RunLine(Emulator* emulator, const std::string& line)
{
    std::string error;
    const GestureResult result = RunGesture(emulator, line, &error);
    if (result == GestureResult::FAILED)
        fprintf(stderr, "korvex-emulator: %s\n", error.c_str());
    if (result == GestureResult::QUIT)
        kill(getpid(), SIGTERM);
    return result != GestureResult::QUIT;
}

// Carries out what the settings ask for; its end leaves the emulator running, "quit" ends the
// process.
void RunScript(Emulator* emulator, const Settings* settings)
{
    if (settings->followsPanelTest)
        RunLine(emulator, "panel-test");
    if (settings->script.empty())
        return;
    std::ifstream file;
    if (settings->script != "-")
        file.open(settings->script);
    std::istream& lines = settings->script == "-" ? std::cin : file;
    if (!lines)
        fprintf(stderr, "korvex-emulator: cannot read '%s'\n", settings->script.c_str());
    for (std::string line; std::getline(lines, line) && RunLine(emulator, line);) { }
}

} // namespace

int RunEmulatorCommand(int argc, char** argv)
{
    Settings settings;
    const int exitCode = ParseOptions(argc, argv, &settings);
    if (exitCode >= 0)
        return exitCode;

    sigset_t endSignals;
    sigemptyset(&endSignals);
    sigaddset(&endSignals, SIGINT);
    sigaddset(&endSignals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &endSignals, nullptr);

    const EmulatorPointer emulator = StartEmulator(settings.options, PrintCommand);
    if (!emulator) {
        perror("korvex-emulator: cannot open a pseudo-terminal");
        return EXIT_FAILURE;
    }
    for (const AnswerFault& fault : settings.answerFaults)
        AddAnswerFault(emulator.get(), fault);
    SetReportFault(emulator.get(), settings.reportFault);
    SetDistortion(emulator.get(), settings.distortion);
    SetNoise(emulator.get(), settings.noise);

    namespace fs = std::filesystem;
    std::error_code error;
    if (!settings.link.empty()) {
        if (fs::is_symlink(settings.link, error))
            fs::remove(settings.link, error);
        fs::create_symlink(TerminalPath(emulator.get()), settings.link, error);
        if (error) {
            fprintf(stderr, "korvex-emulator: cannot create the link '%s': %s\n",
                settings.link.c_str(), error.message().c_str());
            return EXIT_FAILURE;
        }
    }
    printf(
        "emulating model %X on %s\n", settings.options.model, TerminalPath(emulator.get()).c_str());
    fflush(stdout);

    std::thread script;
    if (settings.followsPanelTest || !settings.script.empty())
        script = std::thread(RunScript, emulator.get(), &settings);
    int signal = 0;
    sigwait(&endSignals, &signal);
    if (!settings.link.empty())
        fs::remove(settings.link, error);
    fflush(stdout);
    // The script may be waiting for a line of its input, which nothing ends.
    if (script.joinable()) {
        script.detach();
        _exit(EXIT_SUCCESS);
    }
    return EXIT_SUCCESS;
}

} // namespace korvex::emulator

#include "command/options.h"

#include <getopt.h>
#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string_view>

namespace korvex::command {

namespace {

// An option, and what it sets when it takes no value.
struct KnownOption {
    const char* name;
    bool Options::*toggle;
};

constexpr std::array KNOWN{KnownOption{"port", nullptr}, KnownOption{"state", nullptr}, KnownOption{"pointer", nullptr},
    KnownOption{"windows", nullptr}, KnownOption{"trace", nullptr}, KnownOption{"seconds", nullptr}, KnownOption{"speed", nullptr},
    KnownOption{"instance", nullptr}, KnownOption{"os", nullptr}, KnownOption{"single", &Options::single},
    KnownOption{"json", &Options::json}, KnownOption{"server", &Options::server}, KnownOption{"tablet-pc", &Options::tabletPc}};

std::string EnvironmentText(const char* name)
{
    const char* value = getenv(name);
    return value == nullptr ? "" : value;
}

// As freedesktop.org has it for state of a user's programs.
std::string DefaultStateFolder()
{
    const std::string folder = EnvironmentText("XDG_STATE_HOME");
    if (!folder.empty())
        return folder + "/korvex";
    std::string home = EnvironmentText("HOME");
    if (const passwd* user = getpwuid(getuid()); home.empty() && user != nullptr)
        home = user->pw_dir;
    return home + "/.local/state/korvex";
}

bool IsPortName(std::string_view name)
{
    return name.starts_with("COM") && name.size() > 3 && name.size() < 8
        && name.find_first_not_of("0123456789", 3) == std::string_view::npos;
}

bool ParseVersion(const std::string& text, Options* options)
{
    const char* end = text.data() + text.size();
    const auto [dot, majorError] = std::from_chars(text.data(), end, options->osMajor);
    if (majorError != std::errc{} || dot == end || *dot != '.' || options->osMajor == 0)
        return false;
    const auto [rest, minorError] = std::from_chars(dot + 1, end, options->osMinor);
    return minorError == std::errc{} && rest == end;
}

bool ParseSeconds(const std::string& text, std::optional<double>* seconds)
{
    constexpr double LONGEST = 86400;
    double number = 0;
    const char* end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, number);
    *seconds = number;
    return error == std::errc{} && rest == end && number >= 0 && number <= LONGEST;
}

bool ApplyOption(std::string_view name, const std::string& value, Options* options)
{
    if (name == "port") {
        const size_t equals = value.find('=');
        if (equals == std::string::npos || equals + 1 == value.size() || !IsPortName(std::string_view(value).substr(0, equals)))
            return false;
        options->ports.push_back({value.substr(0, equals), value.substr(equals + 1)});
        const GivenPort* given = &options->ports.back();
        return std::none_of(options->ports.begin(), options->ports.end() - 1,
            [given](const GivenPort& other) { return other.name == given->name || other.path == given->path; });
    }
    if (name == "os")
        return ParseVersion(value, options);
    if (name == "instance") {
        options->instance = value;
        const size_t last = value.rfind('\\');
        return last != std::string::npos && last > 0 && last + 1 < value.size();
    }
    if (name == "pointer") {
        options->pointer = value;
        return value == "x11" || value == "log" || value == "none";
    }
    if (name == "windows") {
        options->windows = value;
        return value == "x11" || value == "none";
    }
    if (name == "speed") {
        options->fullSpeed = value == "full";
        return value == "full" || value == "recorded";
    }
    if (name == "seconds")
        return ParseSeconds(value, &options->seconds);
    (name == "state" ? options->stateFolder : options->traceFile) = value;
    return !value.empty();
}

const char* ExpectedValue(std::string_view name)
{
    if (name == "port")
        return "NAME=PATH, such as COM3=/dev/ttyS2, each once";
    if (name == "pointer")
        return "x11, log or none";
    if (name == "os")
        return "MAJOR.MINOR, such as 6.1";
    if (name == "instance")
        return "a device instance ID, such as USB\\KVX5200\\1";
    if (name == "speed")
        return "recorded or full";
    if (name == "seconds")
        return "a number from 0 to 86400";
    return name == "windows" ? "x11 or none" : "a path";
}

} // namespace

bool HasDisplay()
{
    return !EnvironmentText("DISPLAY").empty();
}

void SetDefaults(Options* options)
{
    if (options->pointer.empty())
        options->pointer = HasDisplay() ? "x11" : "log";
    options->windows = HasDisplay() ? "x11" : "none";
    options->stateFolder = DefaultStateFolder();
}

bool ParseOptions(int argc, char** argv, const std::vector<std::string>& accepted, ArgumentCount arguments, Options* options)
{
    options->command = std::string("korvex ") + argv[0];
    SetDefaults(options);

    std::vector<option> known;
    for (const KnownOption& candidate : KNOWN) {
        if (std::find(accepted.begin(), accepted.end(), candidate.name) != accepted.end())
            known.push_back({candidate.name, candidate.toggle == nullptr ? required_argument : no_argument, nullptr,
                static_cast<int>(&candidate - KNOWN.data())});
    }
    known.push_back({nullptr, 0, nullptr, 0});
    argv[0] = options->command.data(); // how getopt introduces its messages
    for (int found = 0; (found = getopt_long(argc, argv, "", known.data(), nullptr)) != -1;) {
        if (found == '?')
            return false; // getopt has named the fault
        const KnownOption* option = &KNOWN[static_cast<size_t>(found)];
        if (option->toggle != nullptr) {
            options->*option->toggle = true;
            continue;
        }
        if (ApplyOption(option->name, optarg, options))
            continue;
        fprintf(
            stderr, "%s: invalid value '%s' for '--%s': %s\n", options->command.c_str(), optarg, option->name, ExpectedValue(option->name));
        return false;
    }
    options->arguments.assign(argv + optind, argv + argc);
    if (options->arguments.size() < arguments.least) {
        fprintf(stderr, "%s: an argument is missing; see 'korvex --help'\n", options->command.c_str());
        return false;
    }
    if (options->arguments.size() > arguments.most) {
        fprintf(stderr, "%s: unexpected argument '%s'\n", options->command.c_str(), options->arguments[arguments.most].c_str());
        return false;
    }
    return true;
}

} // namespace korvex::command

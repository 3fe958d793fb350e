#include "runner/options.h"

#include <getopt.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <string_view>

namespace korvex::runner {

namespace {

struct KnownOption {
    const char* name;
    bool takesValue;
};

constexpr std::array KNOWN{KnownOption{"port", true}, KnownOption{"state", true}, KnownOption{"pointer", true},
    KnownOption{"windows", true}, KnownOption{"trace", true}, KnownOption{"single", false}, KnownOption{"json", false}};

std::string EnvironmentText(const char* name)
{
    const char* value = getenv(name);
    return value == nullptr ? "" : value;
}

bool HasDisplay()
{
    return !EnvironmentText("DISPLAY").empty();
}

std::string DefaultStateFolder()
{
    const std::string folder = EnvironmentText("XDG_STATE_HOME");
    return folder.empty() ? EnvironmentText("HOME") + "/.local/state/korvex" : folder + "/korvex";
}

bool IsPortName(std::string_view name)
{
    return name.starts_with("COM") && name.size() > 3 && name.size() < 8
        && name.find_first_not_of("0123456789", 3) == std::string_view::npos;
}

bool ApplyOption(std::string_view name, const std::string& value, Options* options)
{
    if (name == "port") {
        const size_t equals = value.find('=');
        if (equals == std::string::npos || equals + 1 == value.size() || !IsPortName(std::string_view(value).substr(0, equals)))
            return false;
        options->ports.push_back({value.substr(0, equals), value.substr(equals + 1)});
        return true;
    }
    if (name == "single" || name == "json") {
        (name == "single" ? options->single : options->json) = true;
        return true;
    }
    if (name == "pointer") {
        options->pointer = value;
        return value == "x11" || value == "log";
    }
    if (name == "windows") {
        options->windows = value;
        return value == "x11" || value == "none";
    }
    (name == "state" ? options->stateFolder : options->traceFile) = value;
    return !value.empty();
}

const char* ExpectedValue(std::string_view name)
{
    if (name == "port")
        return "NAME=PATH, such as COM3=/dev/ttyS2";
    if (name == "pointer")
        return "x11 or log";
    return name == "windows" ? "x11 or none" : "a path";
}

} // namespace

bool ParseOptions(int argc, char** argv, const std::vector<std::string>& accepted, size_t arguments, Options* options)
{
    options->command = std::string("korvex ") + argv[0];
    options->pointer = HasDisplay() ? "x11" : "log";
    options->windows = HasDisplay() ? "x11" : "none";
    options->stateFolder = DefaultStateFolder();

    std::vector<option> known;
    for (const KnownOption& candidate : KNOWN) {
        if (std::find(accepted.begin(), accepted.end(), candidate.name) != accepted.end())
            known.push_back({candidate.name, candidate.takesValue ? required_argument : no_argument, nullptr, 'v'});
    }
    known.push_back({nullptr, 0, nullptr, 0});
    std::string name = options->command; // how getopt introduces its messages
    argv[0] = name.data();
    int index = 0;
    for (int found = 0; (found = getopt_long(argc, argv, "", known.data(), &index)) != -1;) {
        if (found != 'v')
            return false; // getopt has named the fault
        const char* optionName = known[static_cast<size_t>(index)].name;
        if (ApplyOption(optionName, optarg == nullptr ? "" : optarg, options))
            continue;
        fprintf(stderr, "%s: invalid value '%s' for '--%s': %s\n", name.c_str(), optarg, optionName, ExpectedValue(optionName));
        return false;
    }
    options->arguments.assign(argv + optind, argv + argc);
    if (options->arguments.size() < arguments) {
        fprintf(stderr, "%s: an argument is missing; see 'korvex --help'\n", name.c_str());
        return false;
    }
    if (options->arguments.size() > arguments) {
        fprintf(stderr, "%s: unexpected argument '%s'\n", name.c_str(), options->arguments[arguments].c_str());
        return false;
    }
    return true;
}

} // namespace korvex::runner

// Any words on the command line: they are read or refused, and never run anything.

#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "cli/command_line.h"
#include "command/command_table.h"
#include "process/exit_codes.h"

using namespace korvex; // NOLINT(google-build-using-namespace): a program of one routine

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    // A word ends at a zero or a line end.
    std::vector<std::string> words{"korvex"};
    words.emplace_back();
    for (size_t i = 0; i < size; ++i) {
        if (bytes[i] == 0 || bytes[i] == '\n')
            words.emplace_back();
        else
            words.back().push_back(static_cast<char>(bytes[i]));
    }
    std::vector<char*> arguments;
    for (std::string& word : words)
        arguments.push_back(word.data());
    const int count = static_cast<int>(arguments.size());
    arguments.push_back(nullptr);

    command::Options options;
    const command::CommandLine line = command::ReadCommandLine(
        command::KorvexProgram(command::KorvexCommands(&options)), count, arguments.data());
    const bool isRefused = !line.fault.empty();
    if (isRefused != (line.exitCode == command::EXIT_USAGE_ERROR))
        abort();
    if (!isRefused && line.command.empty() && line.output.empty())
        abort(); // nothing to run and nothing to say
    return 0;
}

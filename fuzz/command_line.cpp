// Any words on the command line: they are read or refused with a documented exit code, and never
// run anything.

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "command/command_line.h"
#include "process/exit_codes.h"

using namespace korvex; // NOLINT(google-build-using-namespace): a program of one routine

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    static FILE* const nowhere = fopen("/dev/null", "w");
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

    FILE* const before = stderr;
    stderr = nowhere; // what is wrong is said there
    const command::CommandLine line = command::ReadCommandLine(count, arguments.data());
    stderr = before;
    if (line.command == nullptr && line.exitCode != command::EXIT_DONE
        && line.exitCode != command::EXIT_USAGE_ERROR)
        abort();
    if (line.command == nullptr && line.exitCode == command::EXIT_DONE && line.output.empty())
        abort(); // nothing to run and nothing to say
    return 0;
}

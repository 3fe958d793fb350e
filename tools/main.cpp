// Man pages and completions, which are made of the declarations of the programs and kept in
// packages/linux/: makes them again, or with --check compares them.
//   korvex-documents [--check] FOLDER

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "command/command_table.h"
#include "documents.h"
#include "emulator/command_options.h"

namespace {

using korvex::command::Program;

std::string Read(const std::filesystem::path& path)
{
    std::ifstream input(path);
    return {std::istreambuf_iterator<char>(input), {}};
}

// False where a document, with `check`, is not what it should be, or else cannot be written.
bool Keep(const std::filesystem::path& path, const std::string& text, bool check)
{
    if (Read(path) == text)
        return true;
    if (check)
        fprintf(stderr, "%s does not say what the program declares; run korvex-documents\n",
            path.c_str());
    return !check && (std::ofstream(path) << text << std::flush);
}

bool KeepDocuments(const std::filesystem::path& folder, const Program& program, bool check)
{
    const std::filesystem::path page = folder / (program.name + ".1.in");
    const std::filesystem::path completion = folder / (program.name + ".bash");
    const bool isPageKept = Keep(page, UpdateManPage(Read(page), program), check);
    return Keep(completion, BashCompletion(program), check) && isPageKept;
}

} // namespace

int main(int argc, char** argv)
{
    const bool check = argc == 3 && std::string(argv[1]) == "--check";
    if (argc != 2 && !check) {
        fputs("usage: korvex-documents [--check] FOLDER\n", stderr);
        return 2;
    }
    korvex::command::Options options;
    korvex::emulator::Settings settings;
    const std::filesystem::path folder = argv[argc - 1];
    const bool isKept
        = KeepDocuments(folder, KorvexProgram(korvex::command::KorvexCommands(&options)), check);
    return KeepDocuments(folder, EmulatorProgram(&settings), check) && isKept ? 0 : 1;
}

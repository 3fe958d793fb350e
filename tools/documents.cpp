// Makes a document at build time: writes a file of the parts that are made of the tables, in their
// places in a template where it has one.

#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <utility>

#include "command/documents.h"

int main(int argc, char** argv)
{
    using namespace korvex::command;
    const std::string_view document = argc > 1 ? argv[1] : "";
    if (!(argc == 3 && document == "completion") && !(argc == 4 && document == "man")) {
        fputs("usage: korvex-documents completion FILE, or korvex-documents man FILE TEMPLATE\n",
            stderr);
        return 2;
    }
    std::string text = BashCompletion();
    if (document == "man") {
        std::ifstream input(argv[3]);
        text.assign(std::istreambuf_iterator<char>(input), {});
        for (const auto& [mark, part] :
            {std::pair<std::string, std::string>("@VERSION@", KORVEX_VERSION),
                {"@COMMANDS@\n", ManCommands()}, {"@OPTIONS@\n", ManOptions()},
                {"@EXIT_CODES@", ExitCodes()}}) {
            const size_t place = text.find(mark);
            if (place == std::string::npos) {
                fprintf(stderr, "korvex-documents: the template lacks %s\n", mark.c_str());
                return 1;
            }
            text.replace(place, mark.size(), part);
        }
    }
    std::ofstream output(argv[2]);
    output << text << std::flush;
    return output ? 0 : 1;
}

// Makes a document at build time: reads a template from standard input, or none, and prints it with the parts that are made of the tables.

#include <cstdio>
#include <iostream>
#include <iterator>
#include <string>
#include <utility>

#include "command/documents.h"

int main(int argc, char** argv)
{
    using namespace korvex::command;
    if (argc != 2) {
        fputs("usage: korvex-documents completion, or korvex-documents man <TEMPLATE\n", stderr);
        return 2;
    }
    if (std::string(argv[1]) == "completion") {
        std::cout << BashCompletion() << std::flush;
        return std::cout ? 0 : 1;
    }
    std::string text(std::istreambuf_iterator<char>(std::cin), {});
    for (const auto& [mark, part] : {std::pair<std::string, std::string>("@VERSION@", KORVEX_VERSION), {"@COMMANDS@\n", ManCommands()},
             {"@OPTIONS@\n", ManOptions()}}) {
        const size_t place = text.find(mark);
        if (place == std::string::npos) {
            fprintf(stderr, "korvex-documents: the template lacks %s\n", mark.c_str());
            return 1;
        }
        text.replace(place, mark.size(), part);
    }
    std::cout << text << std::flush;
    return std::cout ? 0 : 1;
}

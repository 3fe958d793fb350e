#include "cli/program.h"

#include "cli/text_layout.h"

namespace korvex::command {

std::string PlaceholderOf(const Option& option)
{
    std::string text = option.value;
    if (text.empty()) {
        for (const std::string& choice : option.choices)
            text += (text.empty() ? "" : "|") + choice;
    }
    return text;
}

std::string ExitCodesText(const Program& program)
{
    std::string text;
    for (size_t code = 0; code < program.exitCodes.size(); ++code)
        text += (code == 0 ? "" : "; ") + std::to_string(code) + " " + program.exitCodes[code];
    return text;
}

} // namespace korvex::command

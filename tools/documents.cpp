#include "documents.h"

#include <algorithm>
#include <cctype>
#include <map>
#include <string_view>
#include <utility>
#include <vector>

namespace korvex::command {

namespace {

// A text escaped so that roff prints it verbatim.
std::string Roff(std::string_view text)
{
    std::string roff;
    for (const char unit : text) {
        if (unit == '\\')
            roff += "\\e";
        else if (unit == '-')
            roff += "\\-";
        else
            roff += unit;
    }
    return roff;
}

std::string Sentence(std::string text)
{
    text[0] = static_cast<char>(toupper(static_cast<unsigned char>(text[0])));
    return text + ".";
}

std::string ArgumentNames(const Command& command)
{
    std::string names;
    for (const Option& argument : command.arguments)
        names.append(names.empty() ? "" : " ")
            .append(argument.required ? argument.name : "[" + argument.name + "]")
            .append(argument.repeatable ? "..." : "");
    return names;
}

// The entry of a list: a bold name, what follows it in italics, and a text.
std::string ManEntry(std::string_view name, const std::string& value, const std::string& text)
{
    return ".TP\n.B" + std::string(value.empty() ? " " : "I ") + Roff(name)
        + (value.empty() ? "" : " \" " + Roff(value) + "\"") + "\n" + Roff(text) + "\n";
}

std::string ManCommands(const Program& program)
{
    std::string text;
    for (const Command& command : program.commands)
        text += ManEntry(command.name, ArgumentNames(command), Sentence(command.help));
    return text;
}

// An option in the man page: its value, and what it does. Commands for which it does the same are
// named together.
struct OptionEntry {
    std::string value;
    std::vector<std::pair<std::string, std::string>> helps; // what it does; the commands
};

void AddHelp(OptionEntry* entry, const Option& option, const std::string& command)
{
    entry->value = std::max(entry->value, PlaceholderOf(option),
        [](const std::string& a, const std::string& b) { return a.size() < b.size(); });
    for (auto& [help, commands] : entry->helps) {
        if (help == option.help) {
            commands += ", " + command;
            return;
        }
    }
    entry->helps.emplace_back(option.help, command);
}

std::string ManOptions(const Program& program)
{
    std::map<std::string, OptionEntry> entries;
    for (const Command& command : program.commands) {
        for (const Option& option : command.options)
            AddHelp(&entries[option.name], option, command.name);
    }
    for (const Option& option : program.options)
        AddHelp(&entries[option.name], option, "");
    std::string list;
    for (const auto& [name, entry] : entries) {
        std::string text;
        for (const auto& [help, commands] : entry.helps)
            text += (text.empty() ? "" : "\n") + (commands.empty() ? "" : "(" + commands + ") ")
                + Sentence(help);
        list += ManEntry(name, entry.value, text);
    }
    list += ".TP\n.B \\-h\\fR, \\fB\\-\\-help\nShow what the program does and takes";
    list += program.commands.empty()
        ? ".\n"
        : ", or the command before it; \"" + program.name + " help COMMAND\" does the same.\n"
            + ManEntry("--help-all", "", "Also list the commands that do what Windows would do.");
    return list + ".TP\n.B \\-v\\fR, \\fB\\-\\-version\nShow the version.\n";
}

void ReplaceSection(std::string* page, const std::string& title, const std::string& text)
{
    const std::string heading = ".SH " + title + "\n";
    const size_t start = page->find(heading);
    if (start == std::string::npos)
        return;
    const size_t body = start + heading.size();
    page->replace(body, page->find(".SH ", body) - body, text);
}

// The command that fills COMPREPLY; empty where nothing is offered.
std::string Reply(const Option& option)
{
    std::string source;
    for (const std::string& choice : option.choices)
        source.append(source.empty() ? "-W \"" : " ").append(choice);
    if (!source.empty())
        source += "\"";
    else if (option.completion == Completion::FILES)
        source = "-f";
    else if (option.completion == Completion::FOLDERS)
        source = "-d";
    else if (option.completion == Completion::PORTS)
        source = "-W \"$(_korvex_ports)\" -f";
    else if (option.completion == Completion::OUTPUTS)
        source = "-W \"$(_korvex_outputs)\"";
    return source.empty() ? "" : "COMPREPLY=($(compgen " + source + " -- \"$word\")); ";
}

// Lines of two case statements: what the values of its options are, and what else it takes.
void AddCases(const Command& command, std::string* values, std::string* others)
{
    std::string names = command.name.empty() ? "--help --version" : "--help";
    for (const Option& option : command.options) {
        names += " " + option.name;
        if (!PlaceholderOf(option).empty())
            *values += "    \"" + command.name + " " + option.name + "\") " + Reply(option)
                + "return ;;\n";
    }
    *others += "    " + (command.name.empty() ? "*" : command.name) + ") options=\"" + names + "\"";
    const std::string reply = command.arguments.empty() ? "" : Reply(command.arguments[0]);
    if (!reply.empty())
        *others += "; " + reply.substr(0, reply.size() - 2);
    *others += " ;;\n";
}

constexpr const char* FIND_COMMAND = R"bash(    for ((i = 1; i < COMP_CWORD; i++)); do
        [[ ${COMP_WORDS[i]} == -* ]] || { command=${COMP_WORDS[i]}; break; }
    done
)bash";

constexpr const char* HELPERS = R"bash(_korvex_ports() { # the names of panels, ports and their ttys
    korvex ports --json 2>/dev/null | sed -nE 's/^ *"(name|panel|path)": "(.*)",?$/\2/p'
}
_korvex_outputs() {
    xrandr 2>/dev/null | sed -n 's/ connected.*//p'
}
)bash";

} // namespace

std::string UpdateManPage(std::string page, const Program& program)
{
    ReplaceSection(&page, "COMMANDS", ManCommands(program));
    ReplaceSection(&page, "OPTIONS", ManOptions(program));
    ReplaceSection(&page, "EXIT STATUS", ExitCodesText(program) + ".\n");
    return page;
}

std::string BashCompletion(const Program& program)
{
    std::string values;
    std::string others;
    std::string names;
    for (const Command& command : program.commands) {
        AddCases(command, &values, &others);
        names += (names.empty() ? "" : " ") + command.name;
    }
    if (names.empty())
        AddCases(
            {.name = "", .group = "", .help = "", .options = program.options}, &values, &others);
    else
        others
            += R"bash(    *) options="--help --help-all --version"; COMPREPLY=($(compgen -W ")bash"
            + names + R"bash(" -- "$word")) ;;)bash" + "\n";
    std::string function = "_" + program.name;
    std::replace(function.begin(), function.end(), '-', '_');
    return "# Completion of " + program.name + "(1) for bash.\n" + (names.empty() ? "" : HELPERS)
        + function + R"bash(() {
    local word=$2 previous=$3 command="" options i
    COMPREPLY=()
)bash" + (names.empty() ? "" : FIND_COMMAND)
        + "    case \"$command $previous\" in\n" + values + "    esac\n    case $command in\n"
        + others + R"bash(    esac
    if [[ $word == -* ]]; then
        COMPREPLY=($(compgen -W "$options" -- "$word"))
    fi
}
complete -F )bash"
        + function + " " + program.name + "\n";
}

} // namespace korvex::command

#include "command/documents.h"

#include <cctype>
#include <string_view>
#include <utility>
#include <vector>

#include "command/command_table.h"
#include "process/exit_codes.h"

namespace korvex::command {

namespace {

// A text as roff prints it as it is.
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

// An option's help for the man page. Commands for which it does the same are named together, in the
// order of the commands.
std::string ManText(const OptionDeclaration* option)
{
    std::vector<std::pair<std::string, std::string>> groups; // what it does; the commands
    for (const CommandDeclaration& command : AllCommands()) {
        for (const OptionUse& use : command.options) {
            if (FindOption(&use) != option)
                continue;
            const std::string help = use.help == nullptr ? option->help : use.help;
            auto group = groups.begin();
            while (group != groups.end() && group->first != help)
                ++group;
            if (group == groups.end())
                groups.emplace_back(help, command.name);
            else
                group->second.append(", ").append(command.name);
        }
    }
    std::string text;
    for (const auto& [help, commands] : groups)
        text += (text.empty() ? "(" : "\n(") + commands + ") " + Sentence(help);
    return text;
}

std::string ArgumentNames(const CommandDeclaration* command)
{
    std::string names;
    for (const ArgumentDeclaration& argument : command->arguments)
        names.append(names.empty() ? "" : " ")
            .append(argument.optional ? std::string("[") + argument.name + "]"
                                      : argument.name + std::string(argument.many ? "..." : ""));
    return names;
}

// The entry of a list: a bold name, what follows it in italics, and a text.
std::string ManEntry(std::string_view name, const std::string& value, const std::string& text)
{
    return ".TP\n.B" + std::string(value.empty() ? " " : "I ") + Roff(name)
        + (value.empty() ? "" : " \" " + Roff(value) + "\"") + "\n" + Roff(text) + "\n";
}

std::string Joined(const std::vector<const char*>& words)
{
    std::string text;
    for (const char* word : words)
        text.append(text.empty() ? "" : " ").append(word);
    return text;
}

// The command that fills COMPREPLY; empty where nothing is offered.
std::string Reply(Completion completion, const std::vector<const char*>& choices)
{
    std::string source;
    if (!choices.empty())
        source = "-W \"" + Joined(choices) + "\"";
    else if (completion == Completion::FILES)
        source = "-f";
    else if (completion == Completion::FOLDERS)
        source = "-d";
    else if (completion == Completion::PORTS)
        source = "-W \"$(_korvex_ports)\" -f";
    else if (completion == Completion::OUTPUTS)
        source = "-W \"$(_korvex_outputs)\"";
    return source.empty() ? "" : "COMPREPLY=($(compgen " + source + " -- \"$word\")); ";
}

} // namespace

std::string ExitCodes()
{
    std::string text;
    for (size_t code = 0; code < EXIT_CODES.size(); ++code)
        text += (code == 0 ? "" : "; ") + std::to_string(code) + " " + EXIT_CODES[code];
    return text;
}

std::string ManCommands()
{
    std::string text;
    for (const CommandDeclaration& command : AllCommands())
        text += ManEntry(command.name, ArgumentNames(&command), Sentence(command.help));
    return text;
}

std::string ManOptions()
{
    std::string text;
    for (const OptionDeclaration& option : AllOptions())
        text
            += ManEntry(option.name, option.value == nullptr ? "" : option.value, ManText(&option));
    return text
        + ".TP\n.B \\-h\\fR, \\fB\\-\\-help\nShow what the program, or the command before it, does "
          "and takes; \"korvex help COMMAND\" does the same.\n"
        + ManEntry("--help-all", "", "List the commands that do what Windows would do as well.")
        + ".TP\n.B \\-v\\fR, \\fB\\-\\-version\nShow the version.\n";
}

std::string BashCompletion()
{
    std::string values;
    std::string arguments;
    std::string commands;
    for (const CommandDeclaration& command : AllCommands()) {
        const std::string name = command.name;
        std::string options;
        for (const OptionUse& use : command.options) {
            const OptionDeclaration* option = FindOption(&use);
            options.append(" ").append(option->name);
            if (option->value != nullptr)
                values.append("    \"")
                    .append(name)
                    .append(" ")
                    .append(option->name)
                    .append("\") ")
                    .append(Reply(option->completion, ChoicesOf(&use)))
                    .append("return ;;\n");
        }
        arguments.append("    ")
            .append(name)
            .append(") options=\"--help")
            .append(options)
            .append("\"");
        if (!command.arguments.empty()) {
            const std::string reply
                = Reply(command.arguments[0].completion, command.arguments[0].choices);
            arguments += reply.empty() ? "" : "; " + reply.substr(0, reply.size() - 2);
        }
        arguments += " ;;\n";
        commands += (commands.empty() ? "" : " ") + name;
    }
    return R"bash(# Completion of korvex(1) for bash.
_korvex_ports() { # the names of panels, ports and their ttys
    korvex ports --json 2>/dev/null | sed -nE 's/^ *"(name|panel|path)": "(.*)",?$/\2/p'
}
_korvex_outputs() {
    xrandr 2>/dev/null | sed -n 's/ connected.*//p'
}
_korvex() {
    local word=$2 previous=$3 command="" options i
    COMPREPLY=()
    for ((i = 1; i < COMP_CWORD; i++)); do
        [[ ${COMP_WORDS[i]} == -* ]] || { command=${COMP_WORDS[i]}; break; }
    done
    case "$command $previous" in
)bash" + values
        + R"(    esac
    case $command in
)" + arguments
        + R"(    *) options="--help --help-all --version"; COMPREPLY=($(compgen -W ")" + commands
        + R"(" -- "$word")) ;;
)" + R"(    esac
    if [[ $word == -* ]]; then
        COMPREPLY=($(compgen -W "$options" -- "$word"))
    fi
}
complete -F _korvex korvex
)";
}

} // namespace korvex::command

#include "command/command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <memory>
#include <string_view>
#include <vector>

#include "command/documents.h"
#include "process/exit_codes.h"
#include "process/message.h"
#include "process/text_layout.h"

namespace korvex::command {

namespace {

constexpr size_t NAME_COLUMN = 30;
constexpr size_t TEXT_COLUMNS = 78;

constexpr const char* CLOSING_TEXT
    = "'korvex COMMAND --help' lists the options of a command.\n"
      "\n"
      "The calibration is read from \"Korvex.ini\" in the current directory.\n"
      "\n";

std::string HelpOf(const char* text)
{
    return Wrapped(text, TEXT_COLUMNS);
}

void AddOption(CLI::App* app, const OptionUse* use)
{
    const OptionDeclaration* declaration = FindOption(use);
    const std::string help = HelpOf(use->help == nullptr ? declaration->help : use->help);
    if (declaration->value == nullptr) {
        app->add_flag(declaration->name, help);
        return;
    }
    CLI::Option* option
        = app->add_option(declaration->name)->description(help)->required(use->required);
    const char* value = use->value == nullptr ? declaration->value : use->value;
    option->option_text(value + std::string(use->required ? " (required)" : ""));
    if (!use->choices.empty()) {
        std::string text;
        for (const char* choice : use->choices)
            text.append(text.empty() ? "" : "|").append(choice);
        option->option_text(text);
    }
    option->multi_option_policy(declaration->repeatable ? CLI::MultiOptionPolicy::TakeAll
                                                        : CLI::MultiOptionPolicy::TakeLast);
}

void AddCommand(CLI::App* program, const CommandDeclaration* command, bool withOptions)
{
    CLI::App* app
        = program->add_subcommand(command->name, HelpOf(command->help))->group("Commands");
    if (!withOptions)
        return;
    app->get_formatter()->label("Positionals", "Arguments");
    app->set_help_flag("-h,--help", "show this");
    for (const ArgumentDeclaration& argument : command->arguments) {
        CLI::Option* option
            = app->add_option(argument.name)->description(HelpOf(argument.help))->option_text(" ");
        option->required(!argument.optional);
        if (argument.many)
            option->expected(CLI::detail::expected_max_vector_size);
    }
    for (const OptionUse& use : command->options)
        AddOption(app, &use);
}

// With the command that the line begins with, or else with the names of all: their options are
// many.
std::unique_ptr<CLI::App> MakeProgram(std::string_view first)
{
    auto program
        = std::make_unique<CLI::App>("The runtime of Korvex touch-screen controllers.", "korvex");
    program->get_formatter()->column_width(NAME_COLUMN);
    program->get_formatter()->label("SUBCOMMAND", "COMMAND");
    program->get_formatter()->label("OPTIONS", "OPTION...");
    program->set_help_flag("-h,--help", "show this");
    program->set_version_flag("--version", "korvex " KORVEX_VERSION, "show the version");
    program->require_subcommand(1);
    program->footer(CLOSING_TEXT + HelpOf(("Exit codes: " + ExitCodes() + ".").c_str()));
    const auto isFirst
        = [first](const CommandDeclaration& command) { return first == command.name; };
    const bool known = std::any_of(AllCommands().begin(), AllCommands().end(), isFirst);
    for (const CommandDeclaration& command : AllCommands()) {
        if (!known || isFirst(command))
            AddCommand(program.get(), &command, known);
    }
    return program;
}

// The name of an option in what was given for it, "--port=COM3" or "--port".
std::string NameIn(const std::string& word)
{
    return word.substr(0, word.find('='));
}

int Refuse(const std::string& fault)
{
    Error(fault);
    return EXIT_USAGE_ERROR;
}

std::string InvalidValue(
    const std::string& value, const std::string& name, const std::string& expected)
{
    return "invalid value '" + value + "' for '" + name + "': " + expected;
}

// What is wrong with a text that must be a line and, where there are any, one of these; else empty.
std::string FaultOf(
    const std::string& text, const std::string& name, const std::vector<const char*>& choices)
{
    if (text.find_first_of("\n\r") != std::string::npos)
        return InvalidValue(text, name, "it must be one line");
    const bool known = choices.empty()
        || std::find(choices.begin(), choices.end(), std::string_view(text)) != choices.end();
    return known ? "" : InvalidValue(text, name, ListOf(choices));
}

// Takes an option's values; what is wrong with them, or empty.
std::string TakeValues(const CLI::Option* given, const OptionUse* use, Options* options)
{
    const OptionDeclaration* declaration = FindOption(use);
    if (declaration->toggle != nullptr) {
        options->*declaration->toggle = given->count() > 0;
        return "";
    }
    for (const std::string& value : given->results()) {
        if (std::string fault = FaultOf(value, declaration->name, ChoicesOf(use)); !fault.empty())
            return fault;
        if (!declaration->take(value, options))
            return InvalidValue(value, declaration->name, declaration->expected);
    }
    return "";
}

// Takes what was given to the command; what is wrong with it, or empty.
std::string TakeAll(const CLI::App* app, const CommandDeclaration* command, Options* options)
{
    for (const OptionUse& use : command->options) {
        if (std::string fault = TakeValues(app->get_option(use.name), &use, options);
            !fault.empty())
            return fault;
    }
    for (const ArgumentDeclaration& argument : command->arguments) {
        for (const std::string& text : app->get_option(argument.name)->results()) {
            if (std::string fault = FaultOf(text, argument.name, argument.choices); !fault.empty())
                return fault;
            options->arguments.push_back(text);
        }
    }
    return "";
}

// The parser's error as a message that names the word. A wrong word comes before a missing one,
// which the parser reports first: it explains more.
std::string FaultOf(const CLI::App* app, bool isProgram, const CLI::ParseError* error)
{
    const std::vector<std::string> left = app->remaining();
    const std::string hint
        = "; see '" + std::string(isProgram ? "korvex" : "korvex " + app->get_name()) + " --help'";
    const auto wrong = std::find_if(
        left.begin(), left.end(), [](const std::string& word) { return word != "--"; });
    if (wrong != left.end() && wrong->starts_with('-'))
        return "unknown option '" + NameIn(*wrong) + "'" + hint;
    if (wrong != left.end())
        return std::string(isProgram ? "unknown command '" : "unexpected argument '") + *wrong + "'"
            + hint;
    if (isProgram)
        return "a command is missing" + hint;
    for (const CLI::Option* option : app->get_options()) {
        if (option->get_required() && option->count() == 0)
            return (option->get_positional() ? "an argument is missing: "
                                             : "an option is missing: ")
                + option->get_name() + hint;
    }
    if (error->get_name() == "ArgumentMismatch")
        return "'" + std::string(error->what()).substr(0, std::string_view(error->what()).find(':'))
            + "' needs a value" + hint;
    return error->what() + hint;
}

void SetCommandDefaults(const CommandDeclaration* command, Options* options)
{
    SetDefaults(options);
    SetMessagePrefix(std::string("korvex ") + command->name);
    if (command->pointer != nullptr)
        options->pointer = command->pointer;
}

} // namespace

CommandLine ReadCommandLine(int argc, char** argv)
{
    CommandLine line;
    const std::unique_ptr<CLI::App> program = MakeProgram(argc > 1 ? argv[1] : "");
    const auto chosen = [&program]() -> const CLI::App* {
        const std::vector<CLI::App*> apps = program->get_subcommands();
        return apps.empty() ? nullptr : apps.front();
    };
    try {
        program->parse(argc, argv);
    } catch (const CLI::CallForHelp&) {
        line.output = chosen() == nullptr ? program->help() : chosen()->help("korvex");
        return line;
    } catch (const CLI::CallForVersion&) {
        line.output = "korvex " KORVEX_VERSION "\n";
        return line;
    } catch (const CLI::ParseError& error) {
        const bool isProgram = chosen() == nullptr || !program->remaining().empty();
        SetMessagePrefix(isProgram ? "korvex" : "korvex " + chosen()->get_name());
        line.exitCode = Refuse(FaultOf(isProgram ? program.get() : chosen(), isProgram, &error));
        return line;
    }
    const auto command = std::find_if(
        AllCommands().begin(), AllCommands().end(), [&chosen](const CommandDeclaration& declared) {
            return chosen()->get_name() == declared.name;
        });
    SetCommandDefaults(&*command, &line.options);
    if (const std::string fault = TakeAll(chosen(), &*command, &line.options); !fault.empty())
        line.exitCode = Refuse(fault);
    else
        line.command = &*command;
    return line;
}

} // namespace korvex::command

#include "command/command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <memory>
#include <numeric>
#include <string_view>
#include <utility>
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

// CLI11 hides a group without a name.
std::string TitleOf(CommandGroup group, bool all)
{
    switch (group) {
    case CommandGroup::EVERY_DAY:
        return "Every day";
    case CommandGroup::DIAGNOSIS:
        return "Diagnosis";
    default:
        return all ? "What Windows would do" : "";
    }
}

void AddCommand(
    CLI::App* program, const CommandDeclaration* command, bool withOptions, bool withAllGroups)
{
    CLI::App* app = program->add_subcommand(command->name, HelpOf(command->help))
                        ->group(TitleOf(command->group, withAllGroups));
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
std::unique_ptr<CLI::App> MakeProgram(std::string_view first, bool withAllGroups)
{
    auto program
        = std::make_unique<CLI::App>("The runtime of Korvex touch-screen controllers.", "korvex");
    program->get_formatter()->column_width(NAME_COLUMN);
    program->get_formatter()->label("SUBCOMMAND", "COMMAND");
    program->get_formatter()->label("OPTIONS", "OPTION...");
    program->set_help_flag("-h,--help", "show this");
    program->add_flag("--help-all")
        ->description("show this, with the commands that do what Windows would do");
    program->set_version_flag("-v,--version", "korvex " KORVEX_VERSION, "show the version");
    program->require_subcommand(1);
    program->footer(CLOSING_TEXT + HelpOf(("Exit codes: " + ExitCodes() + ".").c_str()));
    const auto isFirst
        = [first](const CommandDeclaration& command) { return first == command.name; };
    const bool known = std::any_of(AllCommands().begin(), AllCommands().end(), isFirst);
    for (const CommandDeclaration& command : AllCommands()) {
        if (!known || isFirst(command))
            AddCommand(program.get(), &command, known, withAllGroups);
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

// How many letters must be added, left out or exchanged to make one word of the other
// (Levenshtein).
size_t EditDistance(std::string_view a, std::string_view b)
{
    std::vector<size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), size_t{0});
    for (size_t i = 0; i < a.size(); ++i) {
        size_t diagonal = std::exchange(row[0], i + 1);
        for (size_t j = 0; j < b.size(); ++j) {
            const size_t exchanged = diagonal + (a[i] == b[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({exchanged, row[j] + 1, diagonal + 1});
        }
    }
    return row[b.size()];
}

// "; did you mean 'calibrate'?" where one of these is near the word.
std::string NearestOf(const std::string& word, const std::vector<std::string>& known)
{
    constexpr size_t MAX_DISTANCE = 2;
    const auto nearest = std::min_element(
        known.begin(), known.end(), [&word](const std::string& a, const std::string& b) {
            return EditDistance(word, a) < EditDistance(word, b);
        });
    return nearest == known.end() || EditDistance(word, *nearest) > MAX_DISTANCE
        ? ""
        : "; did you mean '" + *nearest + "'?";
}

std::vector<std::string> CommandNames()
{
    std::vector<std::string> names;
    for (const CommandDeclaration& command : AllCommands())
        names.emplace_back(command.name);
    return names;
}

std::vector<std::string> OptionNames(const CLI::App* app)
{
    std::vector<std::string> names;
    for (const CLI::Option* option : app->get_options()) {
        for (const std::string& name : option->get_lnames())
            names.push_back("--" + name);
    }
    return names;
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
    if (wrong != left.end() && (isProgram || wrong->starts_with('-'))) {
        const bool isOption = wrong->starts_with('-');
        const std::string name = NameIn(*wrong);
        const std::string nearest = NearestOf(name, isOption ? OptionNames(app) : CommandNames());
        return std::string("unknown ") + (isOption ? "option" : "command") + " '" + name + "'"
            + (nearest.empty() ? hint : nearest);
    }
    if (wrong != left.end())
        return "unexpected argument '" + *wrong + "'" + hint;
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

// The words after the program's name; "help" and "version" are what people try first.
std::vector<std::string> WordsOf(int argc, char** argv)
{
    std::vector<std::string> words(argv + std::min(argc, 1), argv + argc);
    if (!words.empty() && words.front() == "version")
        words.front() = "--version";
    if (!words.empty() && words.front() == "help") {
        words.erase(words.begin());
        const std::vector<std::string> names = CommandNames();
        if (words.empty() || std::find(names.begin(), names.end(), words.front()) != names.end())
            words.emplace_back("--help");
    }
    return words;
}

} // namespace

CommandLine ReadCommandLine(int argc, char** argv)
{
    CommandLine line;
    const std::vector<std::string> words = WordsOf(argc, argv);
    const std::string first = words.empty() ? "" : words.front();
    const bool helpsWithAll = first == "--help-all";
    const std::unique_ptr<CLI::App> program = MakeProgram(first, helpsWithAll);
    if (helpsWithAll) {
        line.output = program->help();
        return line;
    }
    const auto chosen = [&program]() -> const CLI::App* {
        const std::vector<CLI::App*> apps = program->get_subcommands();
        return apps.empty() ? nullptr : apps.front();
    };
    try {
        program->parse(std::vector<std::string>(words.rbegin(), words.rend()));
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

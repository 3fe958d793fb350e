#include "cli/command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <numeric>
#include <optional>
#include <sstream>
#include <string_view>
#include <utility>
#include <vector>

#include "cli/text_layout.h"
#include "process/exit_codes.h"

namespace korvex::command {

namespace {

constexpr size_t NAME_COLUMN = 30;
constexpr size_t TEXT_COLUMNS = 78;

std::string ListOf(const std::vector<std::string>& words)
{
    std::string list;
    for (size_t i = 0; i < words.size(); ++i)
        list += (i == 0 ? "" : i + 1 == words.size() ? " or " : ", ") + words[i];
    return list;
}

// Stores a value; what is wrong with it, or empty. The option is called by `name`.
std::string StoreOne(const Option& option, const std::string& name, const std::string& value)
{
    const auto& choices = option.choices;
    std::string expected = choices.empty() ? option.expected : ListOf(choices);
    if (value.find_first_of("\n\r") != std::string::npos)
        expected = "it must be one line";
    else if ((choices.empty() || std::find(choices.begin(), choices.end(), value) != choices.end())
        && option.store(value))
        return "";
    return "invalid value '" + value + "' for '" + name + "'"
        + (expected.empty() ? "" : ": " + expected);
}

bool IsArgument(const Option& option)
{
    return !option.name.starts_with('-');
}

bool IsFlag(const Option& option)
{
    return !IsArgument(option) && PlaceholderOf(option).empty();
}

// Stores the values in the parsed line; what is wrong with the first that is not valid, or empty.
std::string StoreValues(
    const CLI::App& app, const std::vector<Option>& options, std::vector<GivenOption>* given)
{
    for (const Option& option : options) {
        const CLI::Option* parsed = app.get_option(option.name);
        if (parsed->count() == 0)
            continue;
        const bool isFlag = IsFlag(option);
        for (const std::string& value : isFlag ? std::vector<std::string>{""} : parsed->results()) {
            if (std::string fault = StoreOne(option, option.name, value); !fault.empty())
                return fault;
        }
        given->push_back(
            {option.name, isFlag ? std::vector<std::string>{"true"} : parsed->results()});
    }
    return "";
}

void AddOption(CLI::App* app, const Option& option)
{
    const std::string help = Wrapped(option.help, TEXT_COLUMNS);
    if (IsFlag(option)) {
        app->add_flag(option.name)->description(help);
        return;
    }
    CLI::Option* added = app->add_option(option.name)->description(help)->required(option.required);
    added->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    if (IsArgument(option))
        added->option_text(" ")->expected(
            option.repeatable ? CLI::detail::expected_max_vector_size : 1);
    else
        added->type_name(PlaceholderOf(option))->allow_extra_args(false);
}

void AddOptions(CLI::App* app, const std::vector<Option>& options)
{
    for (const Option& option : options)
        AddOption(app, option);
}

void AddCommands(CLI::App* app, const Program& program, bool withHidden)
{
    app->require_subcommand(1);
    app->get_formatter()->label("SUBCOMMAND", "COMMAND");
    app->add_flag("--help-all")
        ->description("show this, with the commands that do what Windows would do");
    for (const Command& command : program.commands) {
        CLI::App* added = app->add_subcommand(command.name, Wrapped(command.help, TEXT_COLUMNS));
        added->group(command.group.empty() && withHidden ? program.hiddenGroup : command.group);
        added->get_formatter()->label("Positionals", "Arguments");
        added->set_help_flag("-h,--help", "show this");
        AddOptions(added, command.arguments);
        AddOptions(added, command.options);
    }
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

// "; did you mean 'calibrate'?" where one of these is near the word; else `otherwise`.
std::string NearestOf(
    const std::string& word, const std::vector<std::string>& known, const std::string& otherwise)
{
    constexpr size_t MAX_DISTANCE = 2;
    const auto nearest = std::min_element(
        known.begin(), known.end(), [&word](const std::string& a, const std::string& b) {
            return EditDistance(word, a) < EditDistance(word, b);
        });
    return nearest == known.end() || EditDistance(word, *nearest) > MAX_DISTANCE
        ? otherwise
        : "; did you mean '" + *nearest + "'?";
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

bool HasWords(const std::vector<std::string>& words)
{
    return std::any_of(
        words.begin(), words.end(), [](const std::string& word) { return word != "--"; });
}

// The parser's error as a message. A wrong word comes before what is missing, which the parser
// reports first: it explains more.
std::string DescribeFault(const CLI::App* app, const CLI::ParseError& error)
{
    const bool hasCommand = app->get_parent() != nullptr;
    const std::string name
        = hasCommand ? app->get_parent()->get_name() + " " + app->get_name() : app->get_name();
    const std::string hint = "; see '" + name + " --help'";
    std::vector<std::string> commands;
    for (const CLI::App* command : app->get_subcommands({}))
        commands.push_back(command->get_name());
    for (const std::string& left : app->remaining()) {
        const std::string word = left.substr(0, left.find('='));
        if (left == "--")
            continue;
        if (left.starts_with("-"))
            return "unknown option '" + word + "'" + NearestOf(word, OptionNames(app), hint);
        if (!commands.empty())
            return "unknown command '" + word + "'" + NearestOf(word, commands, hint);
        return std::string("unexpected argument '").append(left).append("'").append(hint);
    }
    if (!commands.empty())
        return "a command is missing" + hint;
    const std::string fault = error.what();
    if (error.get_name() == "ArgumentMismatch")
        return "'" + fault.substr(0, fault.find(':')) + "' needs a value" + hint;
    return fault + hint;
}

// The words after the program's name; "help" and "version" are what people try first.
std::vector<std::string> WordsOf(const Program& program, int argc, char** argv)
{
    std::vector<std::string> words(argv + std::min(argc, 1), argv + argc);
    if (program.commands.empty() || words.empty())
        return words;
    if (words.front() == "version")
        words.front() = "--version";
    if (words.front() == "help") {
        words.erase(words.begin());
        const bool known = words.empty()
            || std::any_of(program.commands.begin(), program.commands.end(),
                [&words](const Command& command) { return command.name == words.front(); });
        if (known)
            words.emplace_back("--help");
    }
    return words;
}

std::string Trimmed(std::string text)
{
    return CLI::detail::trim(text);
}

// Stores the values of a setting; what is wrong with the first that is not valid, or empty.
std::string StoreSetting(const Option& option, const CLI::ConfigItem& item)
{
    if (IsFlag(option)) {
        const std::string value = item.inputs.size() == 1 ? item.inputs[0] : "";
        if (value != "true" && value != "false")
            return "'" + item.name + "' is either true or false";
        if (value == "true")
            option.store("");
        return "";
    }
    if (item.inputs.size() != 1 && !option.repeatable)
        return "'" + item.name + "' takes one value";
    for (const std::string& value : item.inputs) {
        if (std::string fault = StoreOne(option, item.name, value); !fault.empty())
            return fault;
    }
    return "";
}

// Parses a line of a configuration file; no value unless it is KEY = VALUE.
std::optional<CLI::ConfigItem> ParseSetting(const std::string& line)
{
    std::string text = line;
    if (Trimmed(line.substr(line.find('=') + 1)).starts_with('[')) {
        // CLI11 2.1 removes the last character of a list, whether it is the bracket or not.
        const size_t end = line.find(']');
        const std::string rest = end == std::string::npos ? line : Trimmed(line.substr(end + 1));
        if (!rest.empty() && rest.front() != '#')
            return std::nullopt;
        text = line.substr(0, end + 1);
    }
    try {
        std::istringstream input(text);
        const std::vector<CLI::ConfigItem> items = CLI::ConfigTOML().from_config(input);
        if (items.size() == 1 && items[0].name != "--" && items[0].parents.empty())
            return items[0];
    } catch (const CLI::Error&) { // CLI11 2.4 throws for an unknown escape
    }
    return std::nullopt;
}

// Stores what a line of a configuration file has; empty, or what is wrong with it.
std::string StoreLine(const std::string& line, const std::string& file, size_t number,
    const std::vector<Option>& options, std::vector<GivenOption>* given)
{
    const std::optional<CLI::ConfigItem> setting = ParseSetting(line);
    if (!setting)
        return "'" + line + "' is not a setting, KEY = VALUE";
    const CLI::ConfigItem& item = *setting;
    std::vector<std::string> keys(options.size());
    std::transform(options.begin(), options.end(), keys.begin(),
        [](const Option& known) { return known.name.substr(2); });
    const auto key = std::find(keys.begin(), keys.end(), item.name);
    if (key == keys.end())
        return "there is no setting '" + item.name + "'" + NearestOf(item.name, keys, "");
    const Option& option = options[static_cast<size_t>(key - keys.begin())];
    const auto earlier = std::find_if(given->begin(), given->end(),
        [&option](const GivenOption& one) { return one.name == option.name; });
    if (earlier != given->end() && earlier->file != file)
        return "";
    if (earlier != given->end() && !option.repeatable)
        return "'" + item.name + "' is there twice";
    std::string fault = StoreSetting(option, item);
    if (fault.empty())
        given->push_back({option.name, item.inputs, file, number});
    return fault;
}

} // namespace

std::vector<std::string> ReadOptionFile(const std::string& file, std::string_view content,
    const std::vector<Option>& options, std::vector<GivenOption>* given)
{
    std::vector<std::string> faults;
    std::istringstream lines{std::string(content)};
    std::string line;
    for (size_t number = 1; std::getline(lines, line); ++number) {
        line = Trimmed(line);
        if (line.empty() || line.front() == '#' || line.front() == ';')
            continue;
        const std::string fault = StoreLine(line, file, number, options, given);
        if (!fault.empty())
            faults.push_back(
                std::string("'").append(file).append("', line ").append(std::to_string(number))
                + ": " + fault);
    }
    return faults;
}

CommandLine ReadCommandLine(const Program& program, int argc, char** argv)
{
    CommandLine line;
    std::vector<std::string> words = WordsOf(program, argc, argv);
    const bool helpsWithAll = !words.empty() && words.front() == "--help-all";
    CLI::App app(program.help, program.name);
    app.get_formatter()->column_width(NAME_COLUMN);
    app.get_formatter()->label("OPTIONS", "OPTION...");
    app.set_help_flag("-h,--help", "show this");
    app.set_version_flag("-v,--version", program.name + " " KORVEX_VERSION, "show the version");
    const std::string footer = program.footer
        + (program.exitCodes.empty()
                ? ""
                : Wrapped("\nExit codes: " + ExitCodesText(program) + ".", TEXT_COLUMNS));
    app.footer(footer); // commands copy it
    if (program.commands.empty()) {
        AddOptions(&app, program.options);
    } else {
        AddCommands(&app, program, helpsWithAll);
        app.footer(
            "'" + program.name + " COMMAND --help' lists the options of a command.\n\n" + footer);
    }
    const auto chosen = [&app]() -> CLI::App* {
        const std::vector<CLI::App*> apps = app.get_subcommands();
        return apps.empty() ? &app : apps.front();
    };
    if (helpsWithAll)
        words.front() = "--help";
    std::reverse(words.begin(), words.end()); // as CLI11 takes them
    try {
        app.parse(std::move(words));
        const auto command = std::find_if(program.commands.begin(), program.commands.end(),
            [&chosen](const Command& one) { return one.name == chosen()->get_name(); });
        if (command == program.commands.end()) {
            line.fault = StoreValues(app, program.options, &line.given);
        } else {
            line.command = command->name;
            line.fault = StoreValues(*chosen(), command->arguments, &line.given);
            if (line.fault.empty())
                line.fault = StoreValues(*chosen(), command->options, &line.given);
        }
    } catch (const CLI::CallForHelp&) {
        line.output = app.help();
    } catch (const CLI::CallForVersion& version) {
        line.output = std::string(version.what()) + "\n";
    } catch (const CLI::ParseError& error) {
        const bool isProgram = chosen() == &app || HasWords(app.remaining());
        line.command = isProgram ? "" : chosen()->get_name();
        line.fault = DescribeFault(isProgram ? &app : chosen(), error);
    }
    line.exitCode = line.fault.empty() ? 0 : EXIT_USAGE_ERROR;
    return line;
}

} // namespace korvex::command

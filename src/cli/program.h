// A program's command line, declared once: parsing, help, man page and completion (tools/) are made
// of these records.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace korvex::command {

// The words that the shell offers for a value.
enum class Completion { NOTHING, FILES, FOLDERS, PORTS, OUTPUTS };

// Stores a value; false when it is not valid.
using StoreValue = std::function<bool(const std::string& value)>;

// An option, or an argument of a command.
struct Option {
    std::string name;       // "--port"; of an argument "PORT"
    std::string value = {}; // the placeholder of its value, if that is not its choices
    std::string help = {};
    StoreValue store = {};                 // called for each value; once with "" if it has none
    std::string expected = {};             // what a valid value is
    std::vector<std::string> choices = {}; // the only valid values; empty: `store` decides
    Completion completion = Completion::NOTHING;
    bool repeatable = false;
    bool required = false;
};

struct Command {
    std::string name;
    std::string group = {}; // its heading in the help; empty: only --help-all lists it
    std::string help = {};
    std::vector<Option> arguments = {};
    std::vector<Option> options = {};
};

struct Program {
    std::string name;
    std::string help;
    std::string footer;                 // the end of the help
    std::vector<Command> commands = {}; // in the order of the help; empty: it takes options alone
    std::string hiddenGroup = {};       // the heading of commands without a group
    std::vector<Option> options = {};   // of a program without commands
    std::vector<std::string> exitCodes = {}; // their meanings, from 0 on
};

// An option with a text, which may not be empty, and one without a value.
inline StoreValue StoreText(std::string* text)
{
    return [text](const std::string& value) {
        *text = value;
        return !value.empty();
    };
}

inline StoreValue StoreFlag(bool* flag)
{
    return [flag](const std::string& /*value*/) { return *flag = true; };
}

// The placeholder of an option's value, "x11|none"; empty: it takes none.
std::string PlaceholderOf(const Option& option);

// "0 done; 1 other failure"
std::string ExitCodesText(const Program& program);

} // namespace korvex::command

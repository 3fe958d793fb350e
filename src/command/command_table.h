// The commands and options of `korvex`, declared once: parsing, help, man page and completion are
// made of these tables.
#pragma once

#include <string>
#include <vector>

#include "process/options.h"

namespace korvex::command {

// What the shell offers for a value.
enum class Completion { NOTHING, FILES, FOLDERS, PORTS, OUTPUTS };

struct OptionDeclaration {
    const char* name; // "--port"
    // the placeholder of its value, "NAME=PATH"; null: it takes none
    const char* value;
    const char* help;       // what it does
    bool Options::* toggle; // what one without a value sets
    // sets what a value says; false when it is not valid
    bool (*take)(const std::string&, Options*);
    const char* expected; // of a value that is not valid, what it should be
    Completion completion = Completion::NOTHING;
    std::vector<const char*> choices = {}; // the only valid values; none: `take` says
    bool repeatable = false;
};

// An option as a command takes it.
struct OptionUse {
    const char* name;
    const char* help = nullptr; // what it does there; null: what its declaration says
    // those that are valid there; none: those of its declaration
    std::vector<const char*> choices = {};
    bool required = false;
    const char* value = nullptr; // its placeholder there; null: that of its declaration
};

struct ArgumentDeclaration {
    const char* name; // "PORT"
    const char* help;
    Completion completion = Completion::NOTHING;
    std::vector<const char*> choices = {}; // the only valid ones; none: any
    bool many = false;                     // one or more of them
    bool optional = false;
};

using SetUpPart = int (*)(const Options*);

// In the help of `korvex` commands stand in groups; what Windows would do only in --help-all.
enum class CommandGroup { EVERY_DAY, DIAGNOSIS, WINDOWS };

struct CommandDeclaration {
    const char* name;
    CommandGroup group;
    const char* help; // what it does
    std::vector<ArgumentDeclaration> arguments = {};
    std::vector<OptionUse> options = {};
    std::vector<SetUpPart> machine = {}; // what is set up before it runs (machine_setup.h)
    int (*run)(const Options*) = nullptr;
    // what a missing --pointer means; null: as the session has it, and where it has none "log"
    const char* pointer = nullptr;
    // SIGINT and SIGTERM are what it waits for (end_request.h); else they have their default action
    bool endsCleanly = false;
};

// The longest value of --seconds.
inline constexpr double MAX_SECONDS = 86400;

// All options and commands, in the order of help and man page.
const std::vector<OptionDeclaration>& AllOptions();
const std::vector<CommandDeclaration>& AllCommands();

// The declaration of an option that a command takes.
const OptionDeclaration* FindOption(const OptionUse* use);

// Its valid values in that use; empty when they are not counted.
const std::vector<const char*>& ChoicesOf(const OptionUse* use);

// "a, b or c"
std::string ListOf(const std::vector<const char*>& words);

} // namespace korvex::command

// The commands in the README and in docs/ do what is said of them: each runs, and ends well.

#include <csignal>
#include <cstdlib>
#include <sstream>

#include "testing/process.h"
#include "testing/temporary_folder.h"
#include "testing/test_line.h"
#include "testing/testing.h"

namespace korvex {
namespace {

// The commands of a document: its indented lines that begin with one of the programs, without their
// comments.
Texts CommandsIn(const std::filesystem::path& path)
{
    Texts commands;
    std::istringstream lines(ReadTextFile(path));
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with("    korvex ") || line.starts_with("    korvex-emulator "))
            commands.push_back(line.substr(4, line.find(" #") - 4));
    }
    return commands;
}

void Replace(std::string* text, const std::string& from, const std::string& to)
{
    const size_t position = text->find(from);
    if (position != std::string::npos)
        text->replace(position, from.size(), to);
}

// The words with the test's programs and panel in place of the reader's.
Texts WordsOf(std::string command)
{
    for (const char* port : {"/dev/ttyUSB0", "/dev/ttyS0", "/tmp/panel", "left", "right"})
        Replace(&command, port, command.starts_with("korvex-emulator") ? "emulated" : "panel");
    // no input device here: what it makes would be the desktop's of whoever runs the tests
    Replace(&command, "uinput", "log");
    std::istringstream text(command);
    Texts words;
    for (std::string word; text >> word;) {
        std::erase(word, '\'');
        words.push_back(word);
    }
    words[0] = words[0] == "korvex" ? KORVEX_COMMAND : EMULATOR_COMMAND;
    for (const char* name : {"enum", "paneltest", "calibrate", "check", "ports", "unbind"}) {
        if (words[1] == name && std::find(words.begin(), words.end(), "panel") == words.end())
            words.insert(words.end(), {"--port", words[1] == "unbind" ? "COM3=panel" : "panel"});
    }
    return words;
}

// Runs a command; one that does not end by itself is ended once it has found its panel.
void RunCommand(const std::string& command)
{
    SCOPED_TRACE(command);
    const emulator::EmulatorPointer panel = emulator::StartEmulator({});
    PlaceLink("panel", panel.get());
    const Texts words = WordsOf(command);
    std::optional<Process> runtime;
    if (words[1] == "status") { // somebody has one running
        setenv("XDG_RUNTIME_DIR", std::filesystem::current_path().c_str(), 1);
        runtime.emplace(Texts{KORVEX_COMMAND, "drive", "--pointer", "none", "panel"});
        EXPECT_NE(ReadLineWith(runtime->error, "controller"), "");
    }
    Process process(words);
    const Texts lasting{"enum", "paneltest", "calibrate", "drive", "monitor", "record"};
    if (words[0] == EMULATOR_COMMAND) {
        EXPECT_NE(ReadLine(process.output), "");
        EXPECT_EQ(EndBySignal(&process, SIGTERM), 0);
    } else if (std::find(lasting.begin(), lasting.end(), words[1]) != lasting.end()) {
        EXPECT_TRUE(WaitForQuietHost(panel.get(), milliseconds(200), milliseconds(10000)));
        EXPECT_EQ(EndBySignal(&process, SIGINT), words[1] == "calibrate" ? 7 : 0)
            << "7: nothing was calibrated";
    } else {
        EXPECT_EQ(WaitForExit(&process), 0);
    }
}

TEST(Documents, HaveCommandsThatWork)
{
    const TemporaryFolder folder;
    const DisplayServer display;
    setenv("DISPLAY", display.name.c_str(), 1);
    setenv("XDG_STATE_HOME", (folder.path / "state").c_str(), 1);
    size_t count = 0;
    const std::filesystem::path root = SOURCE_FOLDER;
    std::vector<std::filesystem::path> documents{root / "README.md"};
    for (const auto& entry : std::filesystem::directory_iterator(root / "docs"))
        documents.push_back(entry.path());
    for (const std::filesystem::path& document : documents) {
        std::filesystem::remove("touches.txt"); // a recording is never overwritten
        for (const std::string& command : CommandsIn(document)) {
            RunCommand(command);
            ++count;
        }
    }
    EXPECT_GT(count, 15U);
    unsetenv("DISPLAY");
    unsetenv("XDG_STATE_HOME");
}

} // namespace
} // namespace korvex

// The commands in the README and in docs/ do what is said of them: each runs, and ends well.

#ifndef __clang__ // g++ 12 has a false alarm in <regex>, GCC's report 105562
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif
#include <regex>
#include <sstream>

#include "testing/command.h"

namespace korvex {
namespace {

bool Has(const std::string& text, const char* pattern)
{
    return std::regex_search(text, std::regex(pattern));
}

// Runs a document's command; one that does not end by itself is ended once it has found its panel.
void RunCommand(PanelFolder* folder, std::string command)
{
    SCOPED_TRACE(command);
    folder->Put(StartEmulator({}));
    for (const auto& [pattern, text] :
        Pairs{{"^ *korvex", KORVEX}, {" +#.*", ""}, {"--link [^ ]+", "--link emulated"},
            {"/dev/tty\\w+|/tmp/panel", "panel"}, {" (left|right)\\b", " panel"},
            // no input device here: what it makes would be the desktop's of whoever runs the tests
            {"uinput", "log"}})
        command = std::regex_replace(command, std::regex(pattern), text);
    if (Has(command, "korvex (enum|paneltest|calibrate|check|ports|unbind)\\b")
        && !Has(command, "\\bpanel\\b"))
        command += " --port COM3=panel";
    std::optional<Process> runtime;
    if (Has(command, "korvex (status|calibration)\\b")) { // one runs already
        runtime.emplace(Texts{KORVEX, "drive", "--pointer", "none", "panel"});
        EXPECT_NE(ReadLineWith(runtime->error, "controller"), "");
    }
    Process process({"sh", "-c", "exec " + command});
    if (Has(command, "korvex-emulator ")) {
        EXPECT_NE(ReadLine(process.output), "");
        EXPECT_EQ(EndBySignal(&process, SIGTERM), 0);
    } else if (Has(command, "korvex (enum|paneltest|calibrate|try|drive|monitor|record)\\b")) {
        EXPECT_TRUE(WaitForQuietHost(folder->panel.get(), milliseconds(200), milliseconds(10000)));
        EXPECT_EQ(EndBySignal(&process, SIGINT), Has(command, "korvex calibrate") ? 7 : 0)
            << "7: nothing was calibrated";
    } else {
        EXPECT_EQ(WaitForExit(&process), 0);
    }
}

TEST(Documents, HaveCommandsThatWork)
{
    PanelFolder folder;
    const DisplayServer display;
    setenv("DISPLAY", display.name.c_str(), 1);
    setenv("XDG_STATE_HOME", (folder.folder.path / "state").c_str(), 1);
    const std::filesystem::path root = SOURCE_FOLDER;
    std::vector<std::filesystem::path> documents{root / "README.md"};
    for (const auto& entry : std::filesystem::directory_iterator(root / "docs"))
        documents.push_back(entry.path());
    size_t count = 0;
    for (const std::filesystem::path& document : documents) {
        std::filesystem::remove("touches.txt"); // a recording is never overwritten
        std::istringstream lines(ReadTextFile(document));
        for (std::string line; std::getline(lines, line);) {
            if (Has(line, "^    korvex(-emulator)? ")) {
                RunCommand(&folder, line);
                ++count;
            }
        }
    }
    EXPECT_GT(count, 15U);
    unsetenv("DISPLAY");
    unsetenv("XDG_STATE_HOME");
}

} // namespace
} // namespace korvex

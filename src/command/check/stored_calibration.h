// What the panel test leaves in "Korvex.ini", looked at with the eyes of `korvex check`: a test
// that nobody touched must cost nobody the calibration of before.
#pragma once

#include <optional>
#include <string>

namespace korvex::command {

// The settings file before a panel test.
struct SettingsBefore {
    std::string path;                   // empty: too long for the runtime
    std::optional<std::string> content; // none: there is no file that can be read
    bool good = false;                  // check finds no fault in it
    std::string savingFault;            // why the test will not be able to save; empty: it will
};

SettingsBefore LookAtSettings();

// Looks at what a test has stored since. What is wrong with it is said on standard error, behind
// `command`, the content of before is kept beside it as "Korvex.ini.old" if that was good, and the
// result is EXIT_FAULT; EXIT_DONE when nothing was stored or it is good.
int JudgeStored(const std::string& command, const SettingsBefore* before);

} // namespace korvex::command

// The calibration that a panel test has stored in "Korvex.ini", judged as `korvex check` would: a
// test without touches must not cost the previous calibration.
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

// Reads the settings file of the current directory.
SettingsBefore LookAtSettings();

// Judges what the test has stored since then. EXIT_DONE when nothing was stored, or it is good.
// Else EXIT_FAULT: the fault is printed on standard error, and the previous
// content, if it was good, is kept as "Korvex.ini.old".
int JudgeStored(const SettingsBefore* before);

} // namespace korvex::command

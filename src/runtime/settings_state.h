// The settings file "Korvex.ini" of the current directory, as a runtime that starts there finds it.
#pragma once

#include <chrono>
#include <string>

namespace korvex::command {

// The file's native path; empty when it is too long for the runtime.
std::string SettingsFilePath();

// Why an existing file is not used, or why the file cannot be saved or created; empty if neither.
std::string SettingsFault();

// When a file was last changed; the epoch if that cannot be read.
std::chrono::system_clock::time_point TimeOfChange(const std::string& file);

// Makes a folder the current one, until the end of its scope. Not while other threads use paths.
struct FolderVisit {
    int before;
    bool entered; // else errno is set

    explicit FolderVisit(const std::string& folder);
    ~FolderVisit();
    FolderVisit(const FolderVisit&) = delete;
    FolderVisit& operator=(const FolderVisit&) = delete;
};

} // namespace korvex::command

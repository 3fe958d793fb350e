// A folder of the test's own, which is the current directory while the guard lives and goes with
// it.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace korvex::testing {

struct TemporaryFolder {
    std::filesystem::path path;
    std::filesystem::path previous;

    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
};

void WriteTextFile(const std::filesystem::path& path, std::string_view content);

// The whole content; empty for a file that cannot be read.
std::string ReadTextFile(const std::filesystem::path& path);

} // namespace korvex::testing

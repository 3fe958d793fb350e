// A folder of the test's own, which is the current directory while the guard lives and goes with
// it.
#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <string_view>

namespace korvex::testing {

struct TemporaryFolder {
    std::filesystem::path path;
    std::filesystem::path previous = std::filesystem::current_path();

    TemporaryFolder()
    {
        std::random_device random;
        do {
            path = std::filesystem::temp_directory_path()
                / ("korvex-test." + std::to_string(random()));
        } while (!std::filesystem::create_directory(path));
        std::filesystem::current_path(path);
    }
    ~TemporaryFolder()
    {
        std::filesystem::current_path(previous);
        std::error_code error;
        std::filesystem::remove_all(path, error);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
};

inline void WriteTextFile(const std::filesystem::path& path, std::string_view content)
{
    std::ofstream(path, std::ios::binary) << content;
}

// The whole content; empty for a file that cannot be read.
inline std::string ReadTextFile(const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

} // namespace korvex::testing

#include "testing/temporary_folder.h"

#include <fstream>
#include <iterator>
#include <random>

namespace korvex::testing {

namespace fs = std::filesystem;

TemporaryFolder::TemporaryFolder() : previous(fs::current_path())
{
    std::random_device random;
    do {
        path = fs::temp_directory_path() / ("korvex-test." + std::to_string(random()));
    } while (!fs::create_directory(path));
    fs::current_path(path);
}

TemporaryFolder::~TemporaryFolder()
{
    fs::current_path(previous);
    std::error_code error;
    fs::remove_all(path, error);
}

void WriteTextFile(const fs::path& path, std::string_view content)
{
    std::ofstream(path, std::ios::binary) << content;
}

std::string ReadTextFile(const fs::path& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

} // namespace korvex::testing

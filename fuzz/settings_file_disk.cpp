// The same as settings_file on the whole way: each input is a file on the disk.

#include <fstream>
#include <iterator>
#include <string>

#include "harness.h"
#include "settings.h"

using namespace korvex; // NOLINT(google-build-using-namespace): a program of one routine

namespace {

std::string Content()
{
    std::ifstream file("Korvex.ini", std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    fuzz::SilenceMachine();
    const fuzz::InOwnFolder folder;
    const std::string content(reinterpret_cast<const char*>(bytes), size);
    std::ofstream("Korvex.ini", std::ios::binary) << content;
    fuzz::LoadMapAndSave([&content] { return Content() == content; });
    return 0;
}

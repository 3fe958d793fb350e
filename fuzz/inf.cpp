// Any INF file: what it installs stays in the Windows folder.

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "harness.h"
#include "platform/linux/devices/inf.h"
#include "platform/linux/machine.h"
#include "settings.h"

using namespace korvex; // NOLINT(google-build-using-namespace): a program of one routine

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    namespace fs = std::filesystem;
    fuzz::SilenceMachine();
    const fuzz::InOwnFolder folder;
    platform::ThisMachine()->folders.windows = fs::current_path() / "windows";
    std::ofstream("a.inf").write(
        reinterpret_cast<const char*>(bytes), static_cast<std::streamsize>(size));
    InstallHinfSectionW(nullptr, nullptr, TEXT("Install 132 a.inf"), 0);
    for (const fs::directory_entry& entry : fs::directory_iterator(".")) {
        const fs::path name = entry.path().filename();
        if (name != "a.inf" && name != "Korvex.ini" && name != "windows")
            abort();
    }
    fs::remove_all("windows");
    return 0;
}

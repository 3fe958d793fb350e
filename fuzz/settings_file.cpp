// A settings file with any content: it loads into a calibration that maps every touch, is not changed by that, and survives a save.

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "calibration/calibration.h"
#include "calibration/mapping.h"
#include "calibration/orientation.h"
#include "calibration/settings_file.h"
#include "harness.h"

using namespace korvex; // NOLINT(google-build-using-namespace): a program of one routine

namespace {

std::string Content()
{
    std::ifstream file("Korvex.ini", std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/)
{
    fuzz::SilenceMachine();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    // A folder of the process's own, in memory where the system has that; entered at the first input, after the corpus was opened.
    static const std::filesystem::path folder = [] {
        std::string name = std::filesystem::exists("/dev/shm") ? "/dev/shm/korvex-fuzz.XXXXXX" : "/tmp/korvex-fuzz.XXXXXX";
        std::filesystem::path made = mkdtemp(name.data());
        atexit([] { std::filesystem::remove_all(folder); });
        return made;
    }();
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(folder);
    const std::string content(reinterpret_cast<const char*>(bytes), size);
    std::ofstream("Korvex.ini", std::ios::binary) << content;

    TouchController* controller = CreateController();
    controller->model = MODEL_5460;
    LoadSettings(controller);
    if (controller->calib.orientation < 1 || controller->calib.orientation > MAX_ORIENTATION
        || controller->calib.stdMinX == controller->calib.stdMaxX)
        abort();
    if (Content() != content)
        abort();
    for (const int32_t raw : {0, 1, 511, 1023}) {
        Point point{raw, 1023 - raw};
        MapPoint(&controller->calib, &point);
    }
    const CalibrationData loaded = controller->calib;
    SaveCalibrationFile(controller);
    LoadSettings(controller);
    const CalibrationData& again = controller->calib;
    if (again.pointCount != loaded.pointCount || again.stdMinX != loaded.stdMinX || again.stdMaxY != loaded.stdMaxY)
        abort();
    ReleaseController(controller);
    std::filesystem::current_path(before);
    return 0;
}

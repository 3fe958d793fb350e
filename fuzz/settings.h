// Conditions that every calibration loaded from a settings file must meet, for the targets that
// load one.
#pragma once

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "calibration/calibration.h"
#include "calibration/mapping.h"
#include "calibration/orientation.h"
#include "calibration/settings_file.h"

namespace korvex::fuzz {

// Makes a folder of the process's own, in memory where the system has that, with a Korvex.ini the
// current one while it lives. The program's own is current between two inputs: the fuzzer keeps
// what it finds there.
struct InOwnFolder {
    std::filesystem::path before = std::filesystem::current_path();

    InOwnFolder()
    {
        static const std::filesystem::path folder = [] {
            std::string name = std::filesystem::exists("/dev/shm") ? "/dev/shm/korvex-fuzz.XXXXXX"
                                                                   : "/tmp/korvex-fuzz.XXXXXX";
            std::filesystem::path made = mkdtemp(name.data());
            std::ofstream(made / "Korvex.ini").close();
            atexit([] { std::filesystem::remove_all(folder); });
            return made;
        }();
        std::filesystem::current_path(folder);
    }
    ~InOwnFolder() { std::filesystem::current_path(before); }
    InOwnFolder(const InOwnFolder&) = delete;
    InOwnFolder& operator=(const InOwnFolder&) = delete;
};

// Loads the current settings file, maps touches with it, saves it and loads it again; `isUnchanged`
// says whether the load left the file alone.
template <typename IsUnchanged>
void LoadMapAndSave(IsUnchanged isUnchanged)
{
    TouchController* controller = CreateController();
    controller->model = MODEL_5460;
    LoadSettings(controller);
    if (controller->calib.orientation < 1 || controller->calib.orientation > MAX_ORIENTATION
        || controller->calib.stdMinX == controller->calib.stdMaxX)
        abort();
    if (!isUnchanged())
        abort();
    for (const int32_t raw : {0, 1, 511, 1023}) {
        Point point{raw, 1023 - raw};
        MapPoint(&controller->calib, &point);
    }
    const CalibrationData loaded = controller->calib;
    SaveCalibrationFile(controller);
    LoadSettings(controller);
    const CalibrationData& again = controller->calib;
    if (again.pointCount != loaded.pointCount || again.stdMinX != loaded.stdMinX
        || again.stdMaxY != loaded.stdMaxY)
        abort();
    ReleaseController(controller);
}

} // namespace korvex::fuzz

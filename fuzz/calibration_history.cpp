// Any file of earlier calibrations: an undo brings one back that can be read again, or changes
// nothing, and a save keeps what it replaces.

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "calibration/settings_file.h"
#include "harness.h"
#include "runtime/calibration_history.h"
#include "settings.h"

using namespace korvex; // NOLINT(google-build-using-namespace): a program of one routine

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    fuzz::SilenceMachine();
    const fuzz::InOwnFolder folder;
    std::filesystem::remove("Korvex.ini");
    std::ofstream("Korvex.ini.previous")
        .write(reinterpret_cast<const char*>(bytes), static_cast<std::streamsize>(size));
    const size_t kept = command::ReadCalibrationHistory().previous.size();
    CalibrationData restored{};
    CalibrationData read{};
    std::string until;
    const bool undone = command::UndoSave(&restored, &until).empty();
    if (undone != (kept > 0) || undone != ReadCalibrationFile(&read))
        abort();
    CalibrationData saved = restored;
    saved.pointCount = restored.pointCount == 0 ? 4 : 0;
    if (!command::KeepReplaced("port", &restored, &saved, 10).empty()
        || command::ReadCalibrationHistory().port != "port")
        abort();
    return 0;
}

// Any file of earlier calibrations and, after a zero byte, any Korvex.ini: an undo brings back the
// latest or changes nothing, and a save keeps what it replaces.

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string_view>

#include "calibration/calibration.h"
#include "control/calibration_json.h"
#include "harness.h"
#include "runtime/calibration_history.h"
#include "settings.h"

using namespace korvex; // NOLINT(google-build-using-namespace): a program of one routine

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    fuzz::SilenceMachine();
    const fuzz::InOwnFolder folder;
    const std::string_view input(reinterpret_cast<const char*>(bytes), size);
    const size_t end = input.find('\0');
    std::filesystem::remove("Korvex.ini");
    if (end != std::string_view::npos)
        std::ofstream("Korvex.ini") << input.substr(end + 1);
    std::ofstream("Korvex.ini.previous") << input.substr(0, end);
    const command::CalibrationHistory before = command::ReadCalibrationHistory();
    CalibrationData restored{};
    const bool undone = command::UndoSave("", "", &restored).empty();
    if (undone != !before.previous.empty()
        || (undone && command::CalibrationJson(&restored) != before.previous[0]["calibration"]))
        abort();
    RepairCalibration(&restored, 10);
    CalibrationData saved = restored;
    saved.pointCount = restored.pointCount == 0 ? 4 : 0;
    const bool kept = command::KeepPreviousCalibration("port", &restored, &saved, 10).empty();
    const command::CalibrationHistory after = command::ReadCalibrationHistory();
    if (!kept || after.port != "port" || after.previous.size() > 10 || after.undone.size() > 10
        || after.previous[0]["calibration"] != command::CalibrationJson(&restored))
        abort();
    return 0;
}

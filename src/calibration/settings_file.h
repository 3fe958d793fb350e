// The settings file "Korvex.ini", section "Calibration". The runtime's file is the one in the
// current directory; the co-installer's is the one in the system folder.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "link/touch_controller.h"
#include "support/bounded_text.h"

namespace korvex {

// A value of the file: its key, and its text if the key is missing.
struct SettingKey {
    const WCHAR* name;
    const WCHAR* fallback;
};

inline constexpr SettingKey SETTING_ORIENTATION{TEXT("PanelOrient"), TEXT("1")};
inline constexpr SettingKey SETTING_POINT_COUNT{TEXT("Mode"), TEXT("0")};
inline constexpr SettingKey SETTING_MIN_X{TEXT("STD_MIN_X"), TEXT("0")};
inline constexpr SettingKey SETTING_MAX_X{TEXT("STD_MAX_X"), TEXT("1023")};
inline constexpr SettingKey SETTING_MIN_Y{TEXT("STD_MIN_Y"), TEXT("0")};
inline constexpr SettingKey SETTING_MAX_Y{TEXT("STD_MAX_Y"), TEXT("1023")};

inline constexpr const WCHAR* SETTINGS_FILE = TEXT("Korvex.ini");

// UTF-16 units with terminator, of a value or a point's key
inline constexpr size_t SETTING_CAPACITY = 32;

using SettingText = std::array<WCHAR, SETTING_CAPACITY>;
using SettingsPath = std::array<WCHAR, TEXT_CAPACITY>;

// The key of a calibration point's coordinate, "ADV_07_X" of point 7 and axis X, into `name`, which
// must live as long as it.
SettingKey PointSetting(uint32_t index, WCHAR axis, SettingText* name);

// Calls `visit(key, number)` for each number that the file has of a calibration, in its order.
template <typename Calibration, typename Visit>
void VisitSettings(Calibration* calib, Visit visit)
{
    visit(SETTING_ORIENTATION, &calib->orientation);
    visit(SETTING_POINT_COUNT, &calib->pointCount);
    visit(SETTING_MIN_X, &calib->stdMinX);
    visit(SETTING_MAX_X, &calib->stdMaxX);
    visit(SETTING_MIN_Y, &calib->stdMinY);
    visit(SETTING_MAX_Y, &calib->stdMaxY);
    SettingText name{};
    for (uint32_t i = 0; i < calib->pointCount && i < MAX_CALIBRATION_POINTS; ++i) {
        visit(PointSetting(i, 'X', &name), &calib->advPoints[i].x);
        visit(PointSetting(i, 'Y', &name), &calib->advPoints[i].y);
    }
}

// The whole path of the runtime's file. False, with an empty path, which names no file, when it is
// too long: the runtime does without.
bool LocateCalibrationFile(SettingsPath* path);

// The number that the runtime reads for a key, and the text that it reads it from. The last error
// is ERROR_FILE_NOT_FOUND where that is the fallback.
int32_t ReadSetting(const SettingsPath* path, const SettingKey* key, SettingText* text);

// Reads orientation, pointCount, standard box and pointCount advPoints (at most 25) unchecked; a
// missing key has its default (orientation 1, no points, standard box 0 to 1023, point coordinates
// 0). False, with nothing changed, when the file does not exist or cannot be opened for reading and
// writing.
bool ReadCalibrationFile(CalibrationData* calib);

// Reads it into the record's calibration.
bool LoadCalibrationFile(TouchController* controller);

// Writes orientation, pointCount, standard box and pointCount advPoints (at most 25), creating the
// file if it is missing and leaving every other line alone. What fails is not reported.
bool SaveCalibrationFile(TouchController* controller);

// Writes the same of `calib`. True when the file, read again, has all of it.
bool WriteCalibrationFile(const CalibrationData* calib);

// Returns the path of the settings file in the system folder, into a buffer of TEXT_CAPACITY units;
// true when the file can be opened for reading. The path is filled either way.
bool LocateSettingsFile(WCHAR* path);

} // namespace korvex

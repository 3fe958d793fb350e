#include "command/check_settings.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include "calibration/orientation.h"
#include "link/touch_controller.h"
#include "platform/linux/core/text.h"
#include "platform/linux/files/profile_file.h"

namespace korvex::command {

namespace {

constexpr const char* FILE_NAME = "Korvex.ini";
constexpr const char* SUBJECT = "settings";
constexpr const char* CURE = "; calibrate anew with 'korvex paneltest', or put it right by hand";
constexpr int LARGEST_RAW = 4095;  // of 12 bits
constexpr int DEFAULT_MINIMUM = 0; // of a box
constexpr int DEFAULT_MAXIMUM = 1023;
constexpr int LEAST_SPAN = 64; // raw units that calibration points must cover on each axis to mean anything

void AddFault(Findings* findings, std::string text)
{
    findings->push_back({Severity::FAULT, SUBJECT, std::move(text.append(CURE))});
}

// The file's text for a key, and its number when it is one.
struct Setting {
    std::string key;
    std::string text; // empty: missing
    std::optional<int> number;
};

Setting ReadSetting(const platform::ProfileDocument* file, const std::string& key)
{
    Setting setting{key, platform::ToUtf8(platform::FindValue(file, u"Calibration", platform::FromUtf8(key)).value_or(u"")), std::nullopt};
    const char* end = setting.text.data() + setting.text.size();
    int number = 0;
    const auto [rest, error] = std::from_chars(setting.text.data(), end, number);
    if (error == std::errc{} && rest == end)
        setting.number = number;
    return setting;
}

std::string Line(const Setting* setting)
{
    return setting->key + "=" + setting->text;
}

// Adds what is wrong with one number; true when it can be used. A missing one gives its default.
bool CheckNumber(const Setting* setting, int smallest, int largest, Findings* findings)
{
    if (setting->text.empty())
        return true;
    if (!setting->number) {
        AddFault(findings, Line(setting) + " is not a whole number");
        return false;
    }
    if (*setting->number >= smallest && *setting->number <= largest)
        return true;
    AddFault(findings, Line(setting) + " is not between " + std::to_string(smallest) + " and " + std::to_string(largest));
    return false;
}

// Points in use: "Mode".
uint32_t CheckMode(const platform::ProfileDocument* file, Findings* findings)
{
    const Setting mode = ReadSetting(file, "Mode");
    const int count = mode.number.value_or(0);
    const bool known = count == 0 || count == 4 || count == 9 || count == 16 || count == 25;
    if (!known || (!mode.text.empty() && !mode.number))
        AddFault(findings, Line(&mode) + " is none of 0, 4, 9, 16 and 25, so the standard box is used");
    return known ? static_cast<uint32_t>(count) : 0;
}

void CheckBox(const platform::ProfileDocument* file, const char* axis, Findings* findings)
{
    const Setting minimum = ReadSetting(file, std::string("STD_MIN_") + axis);
    const Setting maximum = ReadSetting(file, std::string("STD_MAX_") + axis);
    // A box may reach past the panel: its ends are the raw values at the screen's edges.
    const bool usable
        = CheckNumber(&minimum, -LARGEST_RAW, 2 * LARGEST_RAW, findings) && CheckNumber(&maximum, -LARGEST_RAW, 2 * LARGEST_RAW, findings);
    if (usable && minimum.number.value_or(DEFAULT_MINIMUM) == maximum.number.value_or(DEFAULT_MAXIMUM))
        AddFault(findings, minimum.key + " and " + maximum.key + " leave the standard box without extent, so a default is used");
}

void CheckPoints(const platform::ProfileDocument* file, uint32_t count, Findings* findings)
{
    std::vector<Point> points;
    for (uint32_t i = 0; i < count; ++i) {
        std::array<Setting, 2> coordinates;
        for (size_t axis = 0; axis < coordinates.size(); ++axis) {
            std::array<char, 24> key{};
            snprintf(key.data(), key.size(), "ADV_%02u_%c", i, axis == 0 ? 'X' : 'Y');
            coordinates[axis] = ReadSetting(file, key.data());
            if (coordinates[axis].text.empty()) {
                AddFault(findings, std::string(key.data()) + " is missing, and counts as 0");
                return;
            }
            if (!CheckNumber(&coordinates[axis], 0, LARGEST_RAW, findings))
                return;
        }
        points.push_back({*coordinates[0].number, *coordinates[1].number});
    }
    for (size_t i = 0; i < points.size(); ++i) {
        const auto same = std::find(points.begin(), points.begin() + static_cast<ptrdiff_t>(i), points[i]);
        if (same == points.begin() + static_cast<ptrdiff_t>(i))
            continue;
        AddFault(findings,
            "the targets " + std::to_string(same - points.begin() + 1) + " and " + std::to_string(i + 1)
                + " were measured at the same place");
        return;
    }
    const auto spanOf = [&points](int32_t Point::*axis) {
        const auto [least, most]
            = std::minmax_element(points.begin(), points.end(), [axis](const Point& a, const Point& b) { return a.*axis < b.*axis; });
        return *most.*axis - *least.*axis;
    };
    if (!points.empty() && (spanOf(&Point::x) < LEAST_SPAN || spanOf(&Point::y) < LEAST_SPAN))
        AddFault(findings, "the calibration points lie on a line");
}

} // namespace

void CheckSettings(Findings* findings)
{
    std::error_code error;
    const std::string path = std::filesystem::absolute(FILE_NAME, error).string();
    const int descriptor = open(path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    const int openError = errno;
    if (descriptor >= 0)
        close(descriptor);
    const bool writable = platform::CanChangeWholeFile(path);
    if (descriptor < 0 && openError == ENOENT) {
        if (writable)
            findings->push_back({Severity::NOTE, SUBJECT, "there is no '" + path + "': panels use the calibration in their own memory"});
        else
            findings->push_back({Severity::FAULT, SUBJECT, "'" + path + "' cannot be created; start in a folder that you may write in"});
        return;
    }
    if (descriptor < 0) {
        findings->push_back({Severity::FAULT, SUBJECT,
            "'" + path + "' is not used: " + strerror(openError) + "; give yourself permission to read and write it"});
        return;
    }
    if (!writable) {
        findings->push_back(
            {Severity::FAULT, SUBJECT, "'" + path + "' cannot be saved; give yourself permission to write it and its folder"});
    }

    platform::ProfileDocument file;
    platform::ReadProfile(path, &file);
    const size_t before = findings->size();
    const Setting orientation = ReadSetting(&file, "PanelOrient");
    CheckNumber(&orientation, 1, MAX_ORIENTATION, findings);
    const uint32_t count = CheckMode(&file, findings);
    CheckBox(&file, "X", findings);
    CheckBox(&file, "Y", findings);
    CheckPoints(&file, count, findings);
    if (findings->size() == before && writable) {
        const std::string points = std::to_string(count) + " calibration points";
        const bool mapped = count == 4 || count == 9; // more of them are kept, but map by the box
        findings->push_back({Severity::FINE, SUBJECT, "'" + path + "', " + (mapped ? points : "the standard box")});
    }
}

} // namespace korvex::command

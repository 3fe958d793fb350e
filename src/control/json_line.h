// Lines of JSON on the control socket, as both ends of it read and write them.
#pragma once

#include <chrono>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>

#include "link/touch_controller.h"

namespace korvex::command {

using Json = nlohmann::ordered_json;

// Parses a line of a runtime, which is not trusted. The result is discarded (is_discarded) when
// the line is not JSON, or is nested deeper than 16 levels: copying a deep value overflows the
// stack. Control characters in its texts become '?', so that none reaches a terminal.
Json ParseAnswer(std::string_view line);

// The object as one line with its line end. Bytes that are not UTF-8 are replaced.
std::string LineOf(const Json& object);

// The time in UTC, as ISO 8601 has it, "2026-11-20T10:02:00Z"; null for the epoch.
Json TimeJson(std::chrono::system_clock::time_point time);

// The same with milliseconds, "2026-11-20T10:02:00.123Z".
Json ExactTimeJson(std::chrono::system_clock::time_point time);

// The time that the text has; the epoch for any other value.
std::chrono::system_clock::time_point TimeFrom(const Json& value);

// The text that an object has by a key; empty if it has none.
std::string TextIn(const Json& object, const char* key);

Json PointJson(Point point);

// The position that an array of two whole numbers has.
std::optional<Point> PointFrom(const Json& value);

// The value when it is an integer that fits into 32 bits, signed.
std::optional<int32_t> NumberOf(const Json& value);

} // namespace korvex::command

#include "control/json_line.h"

#include <algorithm>
#include <array>
#include <ctime>

#include "cli/text_layout.h"

namespace korvex::command {

namespace {

constexpr const char* TIME_FORMAT = "%Y-%m-%dT%H:%M:%SZ"; // ISO 8601, UTC
constexpr int MAX_DEPTH = 16;                             // the protocol's own answers have 4

void CleanTexts(Json* value)
{
    if (value->is_string())
        ReplaceControls(&value->get_ref<std::string&>());
    if (value->is_structured())
        std::for_each(value->begin(), value->end(), [](Json& part) { CleanTexts(&part); });
}

} // namespace

Json ParseAnswer(std::string_view line)
{
    bool tooDeep = false;
    const auto keep = [&tooDeep](int depth, Json::parse_event_t /*event*/, Json& /*parsed*/) {
        tooDeep = tooDeep || depth > MAX_DEPTH;
        return !tooDeep;
    };
    Json value = Json::parse(line, keep, false);
    if (tooDeep)
        value = Json::value_t::discarded;
    CleanTexts(&value);
    return value;
}

std::string LineOf(const Json& object)
{
    return object.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
}

Json TimeJson(std::chrono::system_clock::time_point time)
{
    using std::chrono::system_clock;
    if (time == system_clock::time_point())
        return nullptr;
    const time_t seconds = system_clock::to_time_t(time);
    tm parts{};
    gmtime_r(&seconds, &parts);
    std::array<char, 32> text{};
    strftime(text.data(), text.size(), TIME_FORMAT, &parts);
    return text.data();
}

Json ExactTimeJson(std::chrono::system_clock::time_point time)
{
    const auto seconds = std::chrono::floor<std::chrono::seconds>(time);
    const auto rest = std::chrono::duration_cast<std::chrono::milliseconds>(time - seconds).count();
    std::string text = TimeJson(seconds).get<std::string>();
    const std::string digits = std::to_string(1000 + rest).substr(1);
    return text.replace(text.size() - 1, 1, "." + digits + "Z");
}

std::chrono::system_clock::time_point TimeFrom(const Json& value)
{
    constexpr int FIRST_YEAR = 70; // since 1900; a time_point spans about 290 years from 1970
    constexpr int LAST_YEAR = 300;
    tm parts{};
    const bool isTime = value.is_string()
        && strptime(value.get<std::string>().c_str(), TIME_FORMAT, &parts) != nullptr
        && parts.tm_year >= FIRST_YEAR && parts.tm_year <= LAST_YEAR;
    return isTime ? std::chrono::system_clock::from_time_t(timegm(&parts))
                  : std::chrono::system_clock::time_point();
}

std::string TextIn(const Json& object, const char* key)
{
    const bool isText = object.is_object() && object.contains(key) && object.at(key).is_string();
    return isText ? object.at(key).get<std::string>() : "";
}

Json PointJson(Point point)
{
    return {point.x, point.y};
}

std::optional<Point> PointFrom(const Json& value)
{
    if (!value.is_array() || value.size() != 2)
        return std::nullopt;
    const std::optional<int32_t> x = NumberOf(value[0]);
    const std::optional<int32_t> y = NumberOf(value[1]);
    return x && y ? std::optional(Point{*x, *y}) : std::nullopt;
}

std::optional<int32_t> NumberOf(const Json& value)
{
    // nlohmann::json compares an unsigned number with a signed one as signed.
    if (value.is_number_unsigned() && value.get<uint64_t>() > INT32_MAX)
        return std::nullopt;
    if (!value.is_number_integer())
        return std::nullopt;
    const auto number = value.get<int64_t>();
    return number >= INT32_MIN && number <= INT32_MAX ? std::optional(static_cast<int32_t>(number))
                                                      : std::nullopt;
}

} // namespace korvex::command

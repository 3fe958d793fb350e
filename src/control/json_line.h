// Lines of JSON on the control socket, as both ends of it read and write them.
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>

namespace korvex::command {

using Json = nlohmann::ordered_json;

// Parses a line of a runtime, which may be anybody's and say anything. Discarded (is_discarded)
// when it is no JSON, or nested deeper than the protocol is: copies of it could take more stack
// than there is. Control characters in its texts become '?', so that none reaches a terminal.
Json ParseAnswer(std::string_view line);

// The object in one line, with its line end; bytes that are not UTF-8 are replaced.
std::string LineOf(const Json& object);

// The value, when it is a whole number of 32 bits.
std::optional<int32_t> NumberOf(const Json& value);

} // namespace korvex::command

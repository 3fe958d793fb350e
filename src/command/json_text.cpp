#include "command/json_text.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "platform/linux/core/text.h"

namespace korvex::command {

std::string Quoted(std::string_view text)
{
    std::u16string valid = platform::FromUtf8(text);
    std::replace_if(
        valid.begin(), valid.end(), [](char16_t unit) { return unit >= 0xDC80 && unit <= 0xDCFF; }, u'\uFFFD');
    std::string quoted = "\"";
    for (const char unit : platform::ToUtf8(valid)) {
        std::array<char, 8> escape{unit, 0};
        if (unit == '"' || unit == '\\')
            snprintf(escape.data(), escape.size(), "\\%c", unit);
        else if (static_cast<unsigned char>(unit) < 0x20)
            snprintf(escape.data(), escape.size(), "\\u%04x", static_cast<unsigned>(unit));
        quoted += escape.data();
    }
    return quoted + "\"";
}

} // namespace korvex::command

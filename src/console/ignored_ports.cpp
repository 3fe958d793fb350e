#include "console/ignored_ports.h"

#include <cstdint>
#include <optional>

#include "support/compare_no_case.h"

namespace korvex {

namespace {

// The next number in a text, which is then behind it.
std::optional<uint32_t> TakeNumber(const WCHAR** text)
{
    const auto isDigit = [](WCHAR unit) { return unit >= '0' && unit <= '9'; };
    while (**text != 0 && !isDigit(**text))
        ++*text;
    if (**text == 0)
        return std::nullopt;
    uint32_t number = 0;
    for (; isDigit(**text); ++*text)
        number = 10 * number + static_cast<uint32_t>(**text - '0');
    return number;
}

} // namespace

bool IgnoresPort(std::span<const WCHAR* const> words, const WCHAR* name)
{
    const std::optional<uint32_t> port = TakeNumber(&name);
    bool listing = false;
    for (const WCHAR* word : words) {
        if (word[0] == '-') {
            listing = EqualsNoCase(word, -1, TEXT("-ignore"), -1);
            if (listing && !port)
                return true;
            continue;
        }
        while (listing) {
            const std::optional<uint32_t> listed = TakeNumber(&word);
            if (!listed)
                break;
            if (listed == port)
                return true;
        }
    }
    return false;
}

} // namespace korvex

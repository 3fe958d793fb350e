#include "console/watch_options.h"

#include <cstdint>
#include <optional>

#include "console/watch_messages.h"
#include "support/compare_no_case.h"

namespace korvex {

namespace {

bool Is(const WCHAR* word, const WCHAR* option)
{
    return EqualsNoCase(word, -1, option, -1);
}

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
            listing = Is(word, TEXT("-ignore"));
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

const WCHAR* FindUnknownWord(std::span<const WCHAR* const> words)
{
    bool hasValues = false; // the last option
    for (const WCHAR* word : words.subspan(words.empty() ? 0 : 1)) {
        if (Is(word, TEXT("-ignore")) || Is(word, TEXT("-panels")))
            hasValues = true;
        else if (Is(word, TEXT("-watch")) || Is(word, DETECTION_OPTION))
            hasValues = false;
        else if (word[0] == '-' || !hasValues)
            return word;
    }
    return nullptr;
}

} // namespace korvex

// Any trace format and any formatter's format, with arguments that fit every conversion they may
// name.

#include <algorithm>
#include <array>
#include <cstdlib>
#include <string>

#include "harness.h"
#include "support/bounded_text.h"
#include "support/debug_trace.h"

using namespace korvex; // NOLINT(google-build-using-namespace): a program of one routine

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    fuzz::SilenceMachine();
    fuzz::Input input{bytes, size};
    const auto number = input.Take<int32_t>();
    const size_t capacity = input.Take<uint8_t>();
    const std::basic_string<WCHAR> text(input.Take<uint8_t>(), 'x');
    // "%s" stands for every string, "%i" for every number: one kind of argument serves all
    // conversions of a format.
    std::basic_string<WCHAR> format(input.bytes, input.bytes + input.size);
    const bool strings = (number & 1) != 0;
    std::array<WCHAR, 256> destination{};
    destination.fill('#');
    if (strings) {
        for (size_t i = 0; (i = format.find_first_of(TEXT("dXxuic*"), i)) != format.npos;)
            format[i] = 's';
        const WCHAR* argument = text.c_str();
        if (std::count(format.begin(), format.end(), 's') > 4)
            return 0;
        DebugTrace(format.c_str(), argument, argument, argument, argument);
        FormatBounded(
            destination.data(), capacity, format.c_str(), argument, argument, argument, argument);
    } else {
        std::replace(format.begin(), format.end(), 's', 'd');
        if (std::count(format.begin(), format.end(), '%') > 2
            || std::count(format.begin(), format.end(), '*') > 4)
            return 0;
        DebugTrace(format.c_str(), number, number, number, number, number, number);
        FormatBounded(destination.data(), capacity, format.c_str(), number, number, number, number,
            number, number);
    }
    const auto end = destination.begin() + static_cast<ptrdiff_t>(capacity);
    if (capacity > 0 && std::find(destination.begin(), end, 0) == end)
        abort(); // the text is always terminated
    if (std::any_of(end, destination.end(), [](WCHAR unit) { return unit != '#'; }))
        abort(); // and nothing is written beyond the capacity
    return 0;
}

#include "support/debug_trace.h"

#include <array>
#include <cstdarg>
#include <cstddef>

#include "support/bounded_text.h"

namespace korvex {

namespace {

constexpr size_t FORMAT_CAPACITY = 256; // UTF-16 units with terminator

size_t LengthOf(const std::array<WCHAR, TEXT_CAPACITY>* text)
{
    size_t length = 0;
    LengthBounded(text->data(), text->size(), &length);
    return length;
}

} // namespace

void DebugTrace(const WCHAR* format, ...)
{
    std::array<WCHAR, TEXT_CAPACITY> text{};
    size_t formatLength = 0;
    LengthBounded(format, FORMAT_CAPACITY, &formatLength);

    va_list arguments;
    va_start(arguments, format);
    for (size_t i = 0; i < formatLength; ++i) {
        const size_t length = LengthOf(&text);
        WCHAR* end = text.data() + length;
        const size_t room = text.size() - length;
        if (format[i] != '%') {
            FormatBounded(end, room, TEXT("%c"), format[i]);
            continue;
        }
        ++i; // at the end of the format this is the terminator
        if (format[i] == 's')
            FormatBounded(end, room, TEXT("%s"), va_arg(arguments, const WCHAR*));
        else if (format[i] == 'd')
            FormatBounded(end, room, TEXT("%d"), va_arg(arguments, int));
        else if (format[i] == 'X')
            FormatBounded(end, room, TEXT("%X"), va_arg(arguments, unsigned));
    }
    va_end(arguments);
    OutputDebugStringW(text.data());
}

} // namespace korvex

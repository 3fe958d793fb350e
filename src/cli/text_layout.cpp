#include "cli/text_layout.h"

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdio>

namespace korvex::command {

std::string TextOf(const TextTable* table)
{
    std::string text;
    for (const std::vector<std::string>& row : *table) {
        for (size_t column = 0; column < row.size(); ++column) {
            size_t widest = 1;
            for (const std::vector<std::string>& other : *table)
                widest = std::max(widest, other[column].size());
            const std::string cell = row[column].empty() ? "-" : row[column];
            text += cell
                + (column + 1 == row.size() ? "\n" : std::string(widest - cell.size() + 2, ' '));
        }
    }
    return text;
}

std::string Formatted(const char* format, ...)
{
    std::array<char, 256> text{};
    va_list values;
    va_start(values, format);
    vsnprintf(text.data(), text.size(), format, values);
    va_end(values);
    return text.data();
}

std::string Wrapped(std::string_view text, size_t width)
{
    std::string wrapped;
    while (text.size() > width) {
        size_t space = text.rfind(' ', width);
        if (space == std::string_view::npos)
            space = text.find(' '); // after a longer word
        wrapped.append(text.substr(0, space)).append(space == std::string_view::npos ? "" : "\n");
        text.remove_prefix(std::min(space, text.size() - 1) + 1);
    }
    return wrapped.append(text);
}

void ReplaceControls(std::string* text)
{
    constexpr unsigned char DELETE = 0x7F;
    for (size_t i = 0; i < text->size(); ++i) {
        const auto byte = static_cast<unsigned char>(text->at(i));
        const bool isSecond = i > 0 && text->at(i - 1) == '\xC2' && byte < 0xA0;
        if (byte < ' ' || byte == DELETE || isSecond)
            text->at(i) = '?';
        if (isSecond)
            text->at(i - 1) = '?';
    }
}

} // namespace korvex::command

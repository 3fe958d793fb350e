#include "command/wrapped_text.h"

#include <algorithm>

namespace korvex::command {

std::string Wrapped(std::string_view text, size_t width)
{
    std::string wrapped;
    while (text.size() > width) {
        size_t space = text.rfind(' ', width);
        if (space == std::string_view::npos)
            space = text.find(' '); // behind a word that is longer
        wrapped.append(text.substr(0, space)).append(space == std::string_view::npos ? "" : "\n");
        text.remove_prefix(std::min(space, text.size() - 1) + 1);
    }
    return wrapped.append(text);
}

} // namespace korvex::command

#include "command/fault_box.h"

#include <cstdio>

#include "command/wrapped_text.h"
#include "platform/linux/core/text.h"

namespace korvex::command {

void TellInBox(const Options* options, const std::string& text, const WCHAR* title)
{
    constexpr size_t BOX_COLUMNS = 60;
    fprintf(stderr, "%s: %s\n", options->command.c_str(), text.c_str());
    if (options->windows != "none")
        MessageBoxW(nullptr, platform::FromUtf8(Wrapped(text, BOX_COLUMNS)).c_str(), title, MB_OK);
}

} // namespace korvex::command

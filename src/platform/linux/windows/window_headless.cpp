#include "platform/linux/windows/window_headless.h"

#include <unistd.h>

#include <string>

#include "platform/linux/core/text.h"

const korvex::platform::WindowBackend* korvex::platform::HeadlessBackend()
{
    static constexpr WindowBackend BACKEND{
        false,
        [](const WindowView* /*view*/) { return true; },
        [](HWND /*window*/) {},
        [](const WindowView* view) {
            const std::string line = ToUtf8(view->text) + "\n";
            if (view->isStatic && write(STDERR_FILENO, line.data(), line.size()) < 0)
                return; // a failure cannot be reported anywhere
        },
        [](HWND /*window*/) {},
        [](const WindowView* /*view*/) {},
        [](HWND /*window*/, RECT /*bounds*/, int /*diameter*/, COLORREF /*fill*/,
            bool /*outlined*/) {},
        [](HWND /*window*/, RECT /*bounds*/, double /*start*/, double /*extent*/, COLORREF /*fill*/,
            bool /*outlined*/) {},
        [](HWND /*window*/, POINT /*from*/, POINT /*to*/, int /*width*/, COLORREF /*color*/) {},
        [](HWND /*window*/, RECT* /*area*/, FontView font, COLORREF /*color*/,
            const std::u16string& /*text*/, UINT /*format*/) { return font.height; },
        [] {},
        [] { return -1; },
        [] { return true; },
    };
    return &BACKEND;
}

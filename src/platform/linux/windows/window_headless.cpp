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
        [](HWND /*window*/, RECT /*bounds*/, COLORREF /*fill*/, bool /*outlined*/) {},
        [](HWND /*window*/, RECT /*bounds*/, COLORREF /*fill*/, bool /*outlined*/) {},
        [](HWND /*window*/, RECT /*bounds*/, double /*start*/, double /*extent*/, COLORREF /*fill*/,
            bool /*outlined*/) {},
        [](FontView font, const std::u16string& text) {
            return font.height * static_cast<int>(text.size()) / 2;
        },
        [](FontView font) { return font.height; },
        [](HWND /*window*/, int /*x*/, int /*y*/, FontView /*font*/, COLORREF /*color*/,
            const std::u16string& /*text*/) {},
        [] {},
        [] { return -1; },
        [] { return true; },
    };
    return &BACKEND;
}

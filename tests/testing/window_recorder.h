// The machine's windows without a screen: what they say and draw is kept for a test to look at.
#pragma once

#include <functional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "platform/linux/core/text.h"
#include "platform/linux/machine.h"
#include "platform/linux/windows/window_headless.h"
#include "platform/win32.h"

namespace korvex::testing {

struct Figure {
    char kind; // 'R' rectangle, 'E' ellipse
    int x;     // its middle
    int y;
    int halfWidth;
    COLORREF fill;

    bool operator==(const Figure&) const = default;
};

inline std::ostream& operator<<(std::ostream& stream, const Figure& figure)
{
    return stream << figure.kind << " " << figure.x << "," << figure.y << " +-" << figure.halfWidth
                  << " #" << std::hex << figure.fill;
}

// Shows the machine's windows while it lives; one at a time.
struct WindowRecorder {
    static inline WindowRecorder* current = nullptr;
    std::vector<std::string> texts;           // of the status text, in order
    std::vector<Figure> figures;              // drawn since they were last taken
    std::function<void()> onDraw = [] { };    // before each figure
    std::function<void()> onDestroy = [] { }; // before a window goes
    platform::WindowBackend backend = *platform::HeadlessBackend();

    WindowRecorder()
    {
        current = this;
        backend.changeText = [](const platform::WindowView* view) {
            current->texts.push_back(platform::ToUtf8(view->text));
        };
        backend.destroy = [](HWND /*window*/) { current->onDestroy(); };
        backend.rectangle = [](HWND /*window*/, RECT bounds, int /*diameter*/, COLORREF fill,
                                bool /*outlined*/) { current->Record('R', bounds, fill); };
        backend.pie = [](HWND /*window*/, RECT bounds, double /*start*/, double /*extent*/,
                          COLORREF fill, bool /*outlined*/) { current->Record('E', bounds, fill); };
        platform::ThisMachine()->windows.backend = &backend;
    }
    ~WindowRecorder() { platform::ThisMachine()->windows.backend = nullptr; }
    WindowRecorder(const WindowRecorder&) = delete;
    WindowRecorder& operator=(const WindowRecorder&) = delete;

    void Record(char kind, RECT bounds, COLORREF fill)
    {
        onDraw();
        figures.push_back({kind, (bounds.left + bounds.right) / 2, (bounds.top + bounds.bottom) / 2,
            (bounds.right - bounds.left) / 2, fill});
    }

    std::vector<Figure> TakeFigures() { return std::exchange(figures, {}); }
};

} // namespace korvex::testing

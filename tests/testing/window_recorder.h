// The machine's windows without a screen: what they say and draw is kept for a test to look at.
#pragma once

#include <functional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

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
std::ostream& operator<<(std::ostream& stream, const Figure& figure);

// Shows the machine's windows while it lives; one at a time.
struct WindowRecorder {
    std::vector<std::string> texts;           // of the status text, in order
    std::vector<Figure> figures;              // drawn since they were last taken
    std::function<void()> onDraw = [] { };    // before each figure
    std::function<void()> onDestroy = [] { }; // before a window goes

    WindowRecorder();
    ~WindowRecorder();
    WindowRecorder(const WindowRecorder&) = delete;
    WindowRecorder& operator=(const WindowRecorder&) = delete;

    std::vector<Figure> TakeFigures() { return std::exchange(figures, {}); }
};

} // namespace korvex::testing

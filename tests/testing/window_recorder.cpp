#include "testing/window_recorder.h"

#include "platform/linux/core/text.h"
#include "platform/linux/machine.h"
#include "platform/linux/windows/window_headless.h"

namespace korvex::testing {

namespace {

WindowRecorder* current = nullptr;

void Record(char kind, RECT bounds, COLORREF fill)
{
    current->onDraw();
    current->figures.push_back({kind, (bounds.left + bounds.right) / 2,
        (bounds.top + bounds.bottom) / 2, (bounds.right - bounds.left) / 2, fill});
}

const platform::WindowBackend* Backend()
{
    static const platform::WindowBackend backend = [] {
        platform::WindowBackend recording = *platform::HeadlessBackend();
        recording.changeText = [](const platform::WindowView* view) {
            current->texts.push_back(platform::ToUtf8(view->text));
        };
        recording.destroy = [](HWND /*window*/) { current->onDestroy(); };
        recording.rectangle = [](HWND /*window*/, RECT bounds, COLORREF fill, bool /*outlined*/) {
            Record('R', bounds, fill);
        };
        recording.ellipse = [](HWND /*window*/, RECT bounds, COLORREF fill, bool /*outlined*/) {
            Record('E', bounds, fill);
        };
        return recording;
    }();
    return &backend;
}

} // namespace

std::ostream& operator<<(std::ostream& stream, const Figure& figure)
{
    return stream << figure.kind << " " << figure.x << "," << figure.y << " +-" << figure.halfWidth
                  << " #" << std::hex << figure.fill;
}

WindowRecorder::WindowRecorder()
{
    current = this;
    platform::ThisMachine()->windows.backend = Backend();
}

WindowRecorder::~WindowRecorder()
{
    platform::ThisMachine()->windows.backend = nullptr;
}

} // namespace korvex::testing

#include "console/calibration_page.h"

#include "console/page_drawing.h"
#include "platform/linux/windows/window_x11.h"
#include "testing/screen.h"
#include "testing/testing.h"
#include "testing/window_recorder.h"

namespace korvex {
namespace {

struct Box {
    RECT area;
    std::string text;  // empty: a figure
    bool isBackground; // of texts: a button, or paper
};

std::vector<Box> boxes;

bool Meet(const RECT& a, const RECT& b)
{
    return a.left < b.right && b.left < a.right && a.top < b.bottom && b.top < a.bottom;
}

bool IsWithin(const RECT& inner, const RECT& outer)
{
    return inner.left >= outer.left && inner.top >= outer.top && inner.right <= outer.right
        && inner.bottom <= outer.bottom;
}

// Nothing lies over a text, and each is whole on the screen.
void ExpectReadable(POINT screen)
{
    for (size_t i = 0; i < boxes.size(); ++i) {
        const Box& text = boxes[i];
        if (text.text.empty())
            continue;
        EXPECT_TRUE(IsWithin(text.area, {0, 0, screen.x, screen.y})) << text.text;
        for (size_t j = 0; j < boxes.size(); ++j) {
            const Box& other = boxes[j];
            const bool isOn = j < i && other.isBackground && IsWithin(text.area, other.area);
            EXPECT_TRUE(i == j || isOn || !Meet(text.area, other.area))
                << "\"" << text.text << "\" meets \"" << other.text << "\" at " << other.area.left
                << ", " << other.area.top << ", " << other.area.right << ", " << other.area.bottom;
        }
    }
}

// Measures what is drawn with the fonts of a display.
struct MeasuredPage {
    Screen display;
    WindowRecorder windows;
    HDC device;
    CalibrationFlow flow{};
    PageWords words{};

    explicit MeasuredPage()
    {
        static platform::WindowBackend shown;
        std::string reason;
        shown = *platform::X11Backend(display.server.name.c_str(), &reason);
        windows.backend.text = [](HWND window, RECT* area, platform::FontView font, COLORREF color,
                                   const std::u16string& text, UINT format) {
            RECT box = *area;
            const int height = shown.text(window, &box, font, color, text, format | DT_CALCRECT);
            boxes.push_back({box, platform::ToUtf8(text), false});
            return height;
        };
        windows.backend.rectangle = [](HWND, RECT bounds, int diameter, COLORREF fill, bool) {
            boxes.push_back({bounds, "", diameter > 0 || fill == WHITE_PAPER});
        };
        windows.backend.pie = [](HWND, RECT bounds, double, double, COLORREF, bool) {
            boxes.push_back({bounds, "", false});
        };
        WNDCLASSW page{};
        page.lpfnWndProc = DefWindowProcW;
        page.lpszClassName = u"Page";
        RegisterClassW(&page);
        device = GetDC(CreateWindowExW(
            0, u"Page", u"", WS_POPUP, 0, 0, 10, 10, nullptr, nullptr, nullptr, nullptr));
    }
    ~MeasuredPage() { ReleaseDC(nullptr, device); }
    MeasuredPage(const MeasuredPage&) = delete;
    MeasuredPage& operator=(const MeasuredPage&) = delete;

    void Expect(const std::string& what)
    {
        SCOPED_TRACE(
            what + " on " + std::to_string(flow.screen.x) + " x " + std::to_string(flow.screen.y));
        boxes.clear();
        PaintPage(&flow, &words, device);
        ExpectReadable(flow.screen);
    }
};

void SetText(SourceText* words, const WCHAR* text)
{
    CopyBounded(words->data(), words->size(), text);
}

TEST(CalibrationPage, HasNothingOverATextOnScreensOfEverySize)
{
    MeasuredPage page;
    CalibrationFlow* flow = &page.flow;
    for (const POINT screen : {POINT{480, 800}, POINT{640, 480}, POINT{800, 480}, POINT{1024, 768},
             POINT{1280, 800}, POINT{1920, 1080}, POINT{3840, 2160}}) {
        StartFlow(flow, 9, screen, 0);
        flow->hasKeyboard = true;
        page.words = {};
        page.Expect("searching");
        FinishSearch(flow, 0);
        SetText(&page.words.noneFound,
            u"ttyS0: no controller answers.\nttyUSB0: another program has it.\nttyUSB1: it is "
            u"left out by ID_KORVEX_IGNORE.");
        page.Expect("none found");
        AddPanel(flow, 0, 10, 0);
        HandleReport(flow, 0, {5, 5}, {5, 5}, true, 0);
        SetText(&page.words.panel, u"left (/dev/ttyUSB0), controller 5200");
        SetText(&page.words.file.path, u"/var/lib/korvex/left/Korvex.ini");
        for (const RetakeReason reason :
            {RetakeReason::NONE, RetakeReason::SLID, RetakeReason::UNEVEN}) {
            flow->targets.reason = reason;
            for (uint32_t target = 0; target < 9; ++target) {
                flow->targets.current = target;
                flow->targets.step
                    = reason == RetakeReason::NONE ? TargetStep::SAMPLING : TargetStep::WAITING;
                page.Expect("target " + std::to_string(target));
            }
        }
        flow->secondsLeft = 12;
        page.Expect("closing");
        flow->distances.fill(123.4);
        flow->canUndo = true;
        flow->targets.judgement.residuals.fill({2.9, 2.9});
        for (const bool doubtful : {false, true}) {
            flow->targets.step = doubtful ? TargetStep::MISFIT : TargetStep::REVIEW;
            flow->targets.judgement.fault = doubtful ? PointsFault::UNEVEN : PointsFault::NONE;
            for (const FlowStep step : {FlowStep::TRYING, FlowStep::ASKING, FlowStep::NOT_SAVED}) {
                flow->step = step;
                SetText(&page.words.file.other, u"right (/dev/ttyUSB1)");
                SetText(&page.words.reason,
                    u"'/var/lib/korvex/left' cannot be written: No space "
                    u"left on device.");
                page.Expect("result " + std::to_string(static_cast<int>(step)));
            }
        }
        flow->step = FlowStep::SAVED;
        page.Expect("saved");
    }
}

} // namespace
} // namespace korvex

#include "platform/linux/windows/window_x11_drawing.h"

#include "platform/linux/core/text.h"

namespace korvex::platform {

namespace {

constexpr FontView STATIC_FONT{14, false};

// The colour on the display; white if it has none left.
XftColor ColorOf(COLORREF color)
{
    constexpr unsigned FULL = 0x101; // from 8 bits to 16
    const auto component = [color](unsigned shift) {
        return static_cast<unsigned short>((color >> shift & 0xFF) * FULL);
    };
    const XRenderColor components{component(0), component(8), component(16), 0xFFFF};
    WindowDisplay* connection = Connection();
    Display* display = connection->display;
    const int screen = DefaultScreen(display);
    if (const auto known = connection->colors.find(color); known != connection->colors.end())
        return known->second;
    XftColor& found = connection->colors[color] = {WhitePixel(display, screen), components};
    XftColorAllocValue(display, DefaultVisual(display, screen), DefaultColormap(display, screen),
        &components, &found);
    return found;
}

XftFont* FontOf(FontView font)
{
    WindowDisplay* connection = Connection();
    const std::pair key{font.height, font.bold};
    if (const auto known = connection->fonts.find(key); known != connection->fonts.end())
        return known->second;
    XftFont* opened = nullptr;
    for (const char* family : {"DejaVu Sans", "sans"}) {
        const std::string name = std::string(family) + ":pixelsize=" + std::to_string(font.height)
            + (font.bold ? ":bold" : "");
        if (opened == nullptr && !connection->broken)
            opened = XftFontOpenName(
                connection->display, DefaultScreen(connection->display), name.c_str());
    }
    connection->fonts[key] = opened;
    return opened;
}

void DrawTextAt(
    Window window, int x, int y, FontView font, COLORREF wanted, const std::u16string& text)
{
    Display* display = Connection()->display;
    XftFont* opened = FontOf(font);
    if (opened == nullptr || Connection()->broken || text.empty())
        return;
    const int screen = DefaultScreen(display);
    const std::string bytes = ToUtf8(text);
    XftDraw* draw = XftDrawCreate(
        display, window, DefaultVisual(display, screen), DefaultColormap(display, screen));
    const XftColor color = ColorOf(wanted);
    XftDrawStringUtf8(draw, &color, opened, x, y + opened->ascent,
        reinterpret_cast<const FcChar8*>(bytes.data()), static_cast<int>(bytes.size()));
    XftDrawDestroy(draw);
}

// Calls `draw` with a context of the window: to fill in the colour, and where that is wanted once
// more, to outline in black.
template <typename Draw>
void DrawFigure(HWND handle, COLORREF fill, bool outlined, Draw draw)
{
    WindowDisplay* connection = Connection();
    const auto shown = connection->windows.find(handle);
    if (shown == connection->windows.end() || connection->broken)
        return;
    Display* display = connection->display;
    // with line width 0 the pixels are those of Windows
    GC context = XCreateGC(display, shown->second.window, 0, nullptr);
    XSetForeground(display, context, XColorOf(fill));
    draw(display, shown->second.window, context, true);
    XSetForeground(display, context, BlackPixel(display, DefaultScreen(display)));
    if (outlined)
        draw(display, shown->second.window, context, false);
    XFreeGC(display, context);
    XFlush(display);
}

} // namespace

unsigned long XColorOf(COLORREF color)
{
    return ColorOf(color).pixel;
}

bool CanDrawText()
{
    return FontOf(STATIC_FONT) != nullptr;
}

int TextWidth(FontView font, const std::u16string& text)
{
    XftFont* opened = FontOf(font);
    if (opened == nullptr || Connection()->broken)
        return 0;
    const std::string bytes = ToUtf8(text);
    XGlyphInfo extents{};
    XftTextExtentsUtf8(Connection()->display, opened,
        reinterpret_cast<const FcChar8*>(bytes.data()), static_cast<int>(bytes.size()), &extents);
    return extents.xOff;
}

int LineHeight(FontView font)
{
    const XftFont* opened = FontOf(font);
    return opened == nullptr ? font.height : opened->ascent + opened->descent;
}

void DrawStatic(const WindowDisplay* connection, const ShownWindow* shown)
{
    XClearWindow(connection->display, shown->window);
    const int x = (shown->view.width - TextWidth(STATIC_FONT, shown->view.text)) / 2;
    const int y = (shown->view.height - LineHeight(STATIC_FONT)) / 2;
    DrawTextAt(shown->window, x, y, STATIC_FONT, 0, shown->view.text);
}

void Erase(const WindowView* view)
{
    WindowDisplay* connection = Connection();
    if (const auto shown = connection->windows.find(view->handle);
        shown != connection->windows.end())
        XClearWindow(connection->display, shown->second.window);
}

void DrawRectangle(HWND handle, RECT bounds, COLORREF fill, bool outlined)
{
    const auto width = static_cast<unsigned>(bounds.right - bounds.left - (outlined ? 1 : 0));
    const auto height = static_cast<unsigned>(bounds.bottom - bounds.top - (outlined ? 1 : 0));
    DrawFigure(
        handle, fill, outlined, [&](Display* display, Window window, GC context, bool filled) {
            (filled ? XFillRectangle : XDrawRectangle)(
                display, window, context, bounds.left, bounds.top, width, height);
        });
}

void DrawPie(HWND handle, RECT bounds, double start, double extent, COLORREF fill, bool outlined)
{
    constexpr double UNITS_PER_DEGREE = 64;
    const auto width = static_cast<unsigned>(bounds.right - bounds.left - 1);
    const auto height = static_cast<unsigned>(bounds.bottom - bounds.top - 1);
    DrawFigure(
        handle, fill, outlined, [&](Display* display, Window window, GC context, bool filled) {
            (filled ? XFillArc : XDrawArc)(display, window, context, bounds.left, bounds.top, width,
                height, static_cast<int>(start * UNITS_PER_DEGREE),
                static_cast<int>(extent * UNITS_PER_DEGREE));
        });
}

void DrawEllipse(HWND handle, RECT bounds, COLORREF fill, bool outlined)
{
    constexpr double FULL_TURN = 360;
    DrawPie(handle, bounds, 0, FULL_TURN, fill, outlined);
}

void DrawWords(HWND handle, int x, int y, FontView font, COLORREF color, const std::u16string& text)
{
    const auto shown = Connection()->windows.find(handle);
    if (shown == Connection()->windows.end())
        return;
    DrawTextAt(shown->second.window, x, y, font, color, text);
    XFlush(Connection()->display);
}

void Beep()
{
    constexpr int BASE_VOLUME = 0;
    if (Connection()->broken)
        return;
    XBell(Connection()->display, BASE_VOLUME);
    XFlush(Connection()->display);
}

} // namespace korvex::platform

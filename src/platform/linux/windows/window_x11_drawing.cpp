#include "platform/linux/windows/window_x11_drawing.h"

#include <cairo-xlib.h>
#include <pango/pangocairo.h>

#include <algorithm>
#include <numbers>

#include "platform/linux/core/text.h"

namespace korvex::platform {

namespace {

constexpr FontView STATIC_FONT{14, false};

double PartOf(COLORREF color, unsigned shift)
{
    return (color >> shift & 0xFF) / 255.0;
}

// Returns null if the window is not shown or the server has gone away.
const ShownWindow* FindShown(HWND handle)
{
    const WindowDisplay* connection = Connection();
    const auto shown = connection->windows.find(handle);
    return shown == connection->windows.end() || connection->broken ? nullptr : &shown->second;
}

// Fills the path that `draw` adds to a cairo context of the window, and draws a line of that width
// along it, with round ends and corners.
template <typename Draw>
void Paint(HWND handle, COLORREF color, double lineWidth, Draw draw)
{
    const ShownWindow* shown = FindShown(handle);
    if (shown == nullptr)
        return;
    Display* display = Connection()->display;
    cairo_surface_t* surface = cairo_xlib_surface_create(display, shown->window,
        DefaultVisual(display, DefaultScreen(display)), shown->view.width, shown->view.height);
    cairo_t* drawing = cairo_create(surface);
    cairo_set_source_rgb(drawing, PartOf(color, 0), PartOf(color, 8), PartOf(color, 16));
    cairo_set_line_width(drawing, lineWidth);
    cairo_set_line_cap(drawing, CAIRO_LINE_CAP_ROUND);
    cairo_set_line_join(drawing, CAIRO_LINE_JOIN_ROUND);
    draw(drawing);
    cairo_fill_preserve(drawing);
    cairo_stroke(drawing);
    cairo_destroy(drawing);
    cairo_surface_destroy(surface);
    XFlush(display);
}

// Calls `draw` with a context of the window: to fill in the colour, and once more to outline in
// black. With line width 0 the pixels are those of Windows.
template <typename Draw>
void PaintOutlined(HWND handle, COLORREF fill, Draw draw)
{
    const ShownWindow* shown = FindShown(handle);
    if (shown == nullptr)
        return;
    Display* display = Connection()->display;
    GC context = XCreateGC(display, shown->window, 0, nullptr);
    for (const bool filled : {true, false}) {
        XSetForeground(display, context,
            filled ? XColorOf(fill) : BlackPixel(display, DefaultScreen(display)));
        draw(display, shown->window, context, filled);
    }
    XFreeGC(display, context);
    XFlush(display);
}

// The caller releases the layout with g_object_unref.
PangoLayout* LayoutOf(FontView font, const std::u16string& text)
{
    PangoContext* context = pango_font_map_create_context(pango_cairo_font_map_get_default());
    PangoLayout* layout = pango_layout_new(context);
    g_object_unref(context);
    PangoFontDescription* description = pango_font_description_from_string(
        font.bold ? "DejaVu Sans, Sans Bold" : "DejaVu Sans, Sans");
    pango_font_description_set_absolute_size(description, font.height * double{PANGO_SCALE});
    pango_layout_set_font_description(layout, description);
    pango_font_description_free(description);
    pango_layout_set_text(layout, ToUtf8(text).c_str(), -1);
    return layout;
}

} // namespace

unsigned long XColorOf(COLORREF color)
{
    const auto component = [color](unsigned shift) {
        return static_cast<unsigned short>(PartOf(color, shift) * 0xFFFF);
    };
    Display* display = Connection()->display;
    const int screen = DefaultScreen(display);
    XColor found{0, component(0), component(8), component(16), 0, 0};
    return XAllocColor(display, DefaultColormap(display, screen), &found) != 0
        ? found.pixel
        : WhitePixel(display, screen); // it has none left
}

bool CanDrawText()
{
    PangoLayout* layout = LayoutOf(STATIC_FONT, u"x");
    const int unknown = pango_layout_get_unknown_glyphs_count(layout);
    g_object_unref(layout);
    return unknown == 0;
}

void DrawStatic(const WindowDisplay* connection, const ShownWindow* shown)
{
    XClearWindow(connection->display, shown->window);
    RECT area{0, 0, shown->view.width, shown->view.height};
    DrawWords(shown->view.handle, &area, STATIC_FONT, 0, shown->view.text, DT_CENTER | DT_VCENTER);
}

void Erase(const WindowView* view)
{
    if (const ShownWindow* shown = FindShown(view->handle); shown != nullptr)
        XClearWindow(Connection()->display, shown->window);
}

void DrawRectangle(HWND handle, RECT bounds, int diameter, COLORREF fill, bool outlined)
{
    const int width = bounds.right - bounds.left;
    const int height = bounds.bottom - bounds.top;
    if (outlined)
        PaintOutlined(handle, fill, [&](Display* display, Window window, GC context, bool filled) {
            (filled ? XFillRectangle : XDrawRectangle)(display, window, context, bounds.left,
                bounds.top, static_cast<unsigned>(width - 1), static_cast<unsigned>(height - 1));
        });
    else
        Paint(handle, fill, diameter, [&](cairo_t* path) {
            cairo_rectangle(path, bounds.left + diameter / 2.0, bounds.top + diameter / 2.0,
                width - diameter, height - diameter);
        });
}

void DrawPie(HWND handle, RECT bounds, double start, double extent, COLORREF fill, bool outlined)
{
    constexpr double RADIANS = std::numbers::pi / 180;
    const int width = bounds.right - bounds.left;
    const int height = bounds.bottom - bounds.top;
    if (outlined)
        PaintOutlined(handle, fill, [&](Display* display, Window window, GC context, bool filled) {
            (filled ? XFillArc : XDrawArc)(display, window, context, bounds.left, bounds.top,
                static_cast<unsigned>(width - 1), static_cast<unsigned>(height - 1),
                static_cast<int>(start * 64), static_cast<int>(extent * 64)); // parts of a degree
        });
    else if (width > 0 && height > 0) // cairo cannot scale by 0
        Paint(handle, fill, 0, [&](cairo_t* path) {
            cairo_translate(path, bounds.left + width / 2.0, bounds.top + height / 2.0);
            cairo_scale(path, width / 2.0, height / 2.0);
            cairo_move_to(path, 0, 0);
            cairo_arc_negative(path, 0, 0, 1, -start * RADIANS, -(start + extent) * RADIANS);
        });
}

void DrawLine(HWND handle, POINT from, POINT to, int width, COLORREF color)
{
    constexpr double MIDDLE = 0.5; // of a pixel
    Paint(handle, color, width, [&](cairo_t* path) {
        cairo_move_to(path, from.x + MIDDLE, from.y + MIDDLE);
        cairo_line_to(path, to.x + MIDDLE, to.y + MIDDLE);
    });
}

int DrawWords(
    HWND handle, RECT* area, FontView font, COLORREF color, const std::u16string& text, UINT format)
{
    if (!Connection()->hasFonts)
        return font.height;
    PangoLayout* layout = LayoutOf(font, text);
    const int width = std::max<int>(area->right - area->left, 1);
    const bool isCentred = (format & DT_CENTER) != 0;
    const bool isShortened = (format & DT_PATH_ELLIPSIS) != 0;
    const bool hasWidth = isShortened || (format & DT_WORDBREAK) != 0;
    pango_layout_set_width(layout, hasWidth ? width * PANGO_SCALE : -1);
    pango_layout_set_ellipsize(layout, isShortened ? PANGO_ELLIPSIZE_MIDDLE : PANGO_ELLIPSIZE_NONE);
    pango_layout_set_alignment(layout, isCentred ? PANGO_ALIGN_CENTER : PANGO_ALIGN_LEFT);
    PangoRectangle size{};
    pango_layout_get_pixel_extents(layout, nullptr, &size);
    const LONG left = area->left + (isCentred && !hasWidth ? (width - size.width) / 2 : 0);
    if ((format & DT_VCENTER) != 0)
        area->top += (area->bottom - area->top - size.height) / 2;
    if ((format & DT_CALCRECT) != 0)
        *area = {left + size.x, area->top, left + size.x + size.width, area->top + size.height};
    else
        Paint(handle, color, 0, [&](cairo_t* drawing) {
            cairo_move_to(drawing, left, area->top);
            pango_cairo_show_layout(drawing, layout);
        });
    g_object_unref(layout);
    return size.height;
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

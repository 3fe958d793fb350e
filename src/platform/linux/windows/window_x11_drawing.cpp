#include "platform/linux/windows/window_x11_drawing.h"

#include <cairo-xlib.h>
#include <pango/pangocairo.h>

#include <algorithm>
#include <memory>
#include <numbers>

#include "platform/linux/core/text.h"

namespace korvex::platform {

namespace {

constexpr FontView STATIC_FONT{14, false};
constexpr double RADIANS = std::numbers::pi / 180; // a degree

template <typename Object, auto Free>
struct Freed {
    void operator()(Object* object) const { Free(object); }
};
using CairoPointer = std::unique_ptr<cairo_t, Freed<cairo_t, cairo_destroy>>;
using LayoutPointer = std::unique_ptr<PangoLayout, Freed<void, g_object_unref>>;

double PartOf(COLORREF color, unsigned shift)
{
    return (color >> shift & 0xFF) / 255.0;
}

// A context for one figure or text of a window in that colour; null where there is none to draw in.
CairoPointer DrawingOn(HWND handle, COLORREF color)
{
    WindowDisplay* connection = Connection();
    const auto shown = connection->windows.find(handle);
    if (shown == connection->windows.end() || connection->broken)
        return nullptr;
    cairo_surface_t* surface = cairo_xlib_surface_create(connection->display, shown->second.window,
        DefaultVisual(connection->display, DefaultScreen(connection->display)),
        shown->second.view.width, shown->second.view.height);
    CairoPointer drawing(cairo_create(surface));
    cairo_surface_destroy(surface); // it stays as long as the context
    cairo_set_source_rgb(drawing.get(), PartOf(color, 0), PartOf(color, 8), PartOf(color, 16));
    return drawing;
}

void Finish(const CairoPointer& drawing)
{
    cairo_surface_flush(cairo_get_target(drawing.get()));
    XFlush(Connection()->display);
}

LayoutPointer LayoutOf(FontView font, const std::u16string& text)
{
    PangoContext* context = pango_font_map_create_context(pango_cairo_font_map_get_default());
    cairo_font_options_t* options = cairo_font_options_create();
    cairo_font_options_set_hint_style(options, CAIRO_HINT_STYLE_SLIGHT); // letters keep their shape
    pango_cairo_context_set_font_options(context, options);
    cairo_font_options_destroy(options);
    LayoutPointer layout(pango_layout_new(context));
    g_object_unref(context);
    PangoFontDescription* description = pango_font_description_from_string("DejaVu Sans, Sans");
    pango_font_description_set_absolute_size(description, font.height * double{PANGO_SCALE});
    pango_font_description_set_weight(
        description, font.bold ? PANGO_WEIGHT_BOLD : PANGO_WEIGHT_NORMAL);
    pango_layout_set_font_description(layout.get(), description);
    pango_font_description_free(description);
    const std::string bytes = ToUtf8(text);
    pango_layout_set_text(layout.get(), bytes.data(), static_cast<int>(bytes.size()));
    return layout;
}

// Calls `draw` with a context of the window: to fill in the colour, and once more to outline in
// black. With line width 0 the pixels are those of Windows.
template <typename Draw>
void DrawOutlined(HWND handle, COLORREF fill, Draw draw)
{
    WindowDisplay* connection = Connection();
    const auto shown = connection->windows.find(handle);
    if (shown == connection->windows.end() || connection->broken)
        return;
    Display* display = connection->display;
    GC context = XCreateGC(display, shown->second.window, 0, nullptr);
    XSetForeground(display, context, XColorOf(fill));
    draw(display, shown->second.window, context, true);
    XSetForeground(display, context, BlackPixel(display, DefaultScreen(display)));
    draw(display, shown->second.window, context, false);
    XFreeGC(display, context);
    XFlush(display);
}

} // namespace

unsigned long XColorOf(COLORREF color)
{
    constexpr unsigned FULL = 0x101; // from 8 bits to 16
    const auto component = [color](unsigned shift) {
        return static_cast<unsigned short>((color >> shift & 0xFF) * FULL);
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
    PangoFontFamily** families = nullptr;
    int count = 0;
    pango_font_map_list_families(pango_cairo_font_map_get_default(), &families, &count);
    g_free(families);
    return count > 0;
}

void DrawStatic(const WindowDisplay* connection, const ShownWindow* shown)
{
    XClearWindow(connection->display, shown->window);
    const WindowView* view = &shown->view;
    RECT area{0, 0, view->width, view->height};
    RECT size = area;
    area.top
        = (view->height - DrawWords(view->handle, &size, STATIC_FONT, 0, view->text, DT_CALCRECT))
        / 2;
    DrawWords(view->handle, &area, STATIC_FONT, 0, view->text, DT_CENTER);
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
    const int width = bounds.right - bounds.left - (outlined ? 1 : 0);
    const int height = bounds.bottom - bounds.top - (outlined ? 1 : 0);
    if (outlined)
        DrawOutlined(handle, fill, [&](Display* display, Window window, GC context, bool filled) {
            (filled ? XFillRectangle : XDrawRectangle)(display, window, context, bounds.left,
                bounds.top, static_cast<unsigned>(width), static_cast<unsigned>(height));
        });
    else if (const CairoPointer drawing = DrawingOn(handle, fill); drawing != nullptr) {
        cairo_rectangle(drawing.get(), bounds.left, bounds.top, width, height);
        cairo_fill(drawing.get());
        Finish(drawing);
    }
}

void DrawRoundRectangle(HWND handle, RECT bounds, int diameter, COLORREF fill)
{
    const CairoPointer drawing = DrawingOn(handle, fill);
    if (drawing == nullptr)
        return;
    const double radius = diameter / 2.0;
    cairo_t* path = drawing.get();
    cairo_new_sub_path(path);
    cairo_arc(path, bounds.right - radius, bounds.top + radius, radius, -90 * RADIANS, 0);
    cairo_arc(path, bounds.right - radius, bounds.bottom - radius, radius, 0, 90 * RADIANS);
    cairo_arc(
        path, bounds.left + radius, bounds.bottom - radius, radius, 90 * RADIANS, 180 * RADIANS);
    cairo_arc(
        path, bounds.left + radius, bounds.top + radius, radius, 180 * RADIANS, 270 * RADIANS);
    cairo_fill(path);
    Finish(drawing);
}

void DrawPie(HWND handle, RECT bounds, double start, double extent, COLORREF fill, bool outlined)
{
    constexpr double FULL_TURN = 360;
    const int width = bounds.right - bounds.left;
    const int height = bounds.bottom - bounds.top;
    if (outlined) {
        constexpr double UNITS_PER_DEGREE = 64;
        DrawOutlined(handle, fill, [&](Display* display, Window window, GC context, bool filled) {
            (filled ? XFillArc : XDrawArc)(display, window, context, bounds.left, bounds.top,
                static_cast<unsigned>(width - 1), static_cast<unsigned>(height - 1),
                static_cast<int>(start * UNITS_PER_DEGREE),
                static_cast<int>(extent * UNITS_PER_DEGREE));
        });
        return;
    }
    const CairoPointer drawing = DrawingOn(handle, fill);
    if (drawing == nullptr || width <= 0 || height <= 0)
        return;
    cairo_t* path = drawing.get();
    cairo_translate(path, bounds.left + width / 2.0, bounds.top + height / 2.0);
    cairo_scale(path, width / 2.0, height / 2.0);
    if (extent < FULL_TURN)
        cairo_move_to(path, 0, 0);
    cairo_arc_negative(path, 0, 0, 1, -start * RADIANS, -(start + extent) * RADIANS);
    cairo_fill(path);
    Finish(drawing);
}

void DrawLine(HWND handle, POINT from, POINT to, int width, COLORREF color)
{
    const CairoPointer drawing = DrawingOn(handle, color);
    if (drawing == nullptr)
        return;
    constexpr double MIDDLE = 0.5; // of a pixel
    cairo_set_line_width(drawing.get(), width);
    cairo_set_line_cap(drawing.get(), CAIRO_LINE_CAP_ROUND);
    cairo_move_to(drawing.get(), from.x + MIDDLE, from.y + MIDDLE);
    cairo_line_to(drawing.get(), to.x + MIDDLE, to.y + MIDDLE);
    cairo_stroke(drawing.get());
    Finish(drawing);
}

int DrawWords(
    HWND handle, RECT* area, FontView font, COLORREF color, const std::u16string& text, UINT format)
{
    if (!Connection()->hasFonts)
        return font.height;
    const LayoutPointer layout = LayoutOf(font, text);
    const int width = std::max<int>(area->right - area->left, 1);
    const bool isShortened = (format & DT_PATH_ELLIPSIS) != 0;
    if (isShortened || (format & DT_WORDBREAK) != 0)
        pango_layout_set_width(layout.get(), width * PANGO_SCALE);
    if (isShortened)
        pango_layout_set_ellipsize(layout.get(), PANGO_ELLIPSIZE_MIDDLE);
    if ((format & DT_CENTER) != 0)
        pango_layout_set_alignment(layout.get(), PANGO_ALIGN_CENTER);
    PangoRectangle size{};
    pango_layout_get_pixel_extents(layout.get(), nullptr, &size);
    // Without a width of its own the layout is as wide as its longest line.
    const bool isOwnWidth = pango_layout_get_width(layout.get()) < 0;
    const int left = static_cast<int>(area->left)
        + (isOwnWidth && (format & DT_CENTER) != 0 ? (width - size.width) / 2 : 0);
    if ((format & DT_CALCRECT) != 0) {
        *area = {left + size.x, area->top, left + size.x + size.width, area->top + size.height};
    } else if (const CairoPointer drawing = DrawingOn(handle, color); drawing != nullptr) {
        cairo_move_to(drawing.get(), left, area->top);
        pango_cairo_show_layout(drawing.get(), layout.get());
        Finish(drawing);
    }
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

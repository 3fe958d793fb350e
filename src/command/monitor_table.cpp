#include "command/monitor_table.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <functional>

#include "platform/linux/pointer/pixels.h"

namespace korvex::command {

namespace {

constexpr size_t MAX_PORT_WIDTH = 16;
constexpr double OUTPUT_PARTS = 65536;

using Screen = std::optional<platform::MonitorArea>;

struct Column {
    const char* title;
    size_t width;
    size_t rank; // the columns of the lowest ranks stay on a narrow terminal
    std::function<std::string(const Sample*, const Screen*)> text;
};

std::string Pair(int x, int y)
{
    std::array<char, 32> text{};
    snprintf(text.data(), text.size(), "%4d %4d", x, y);
    return text.data();
}

std::string PercentText(const Sample* sample, const Screen* /*screen*/)
{
    std::array<char, 48> text{};
    snprintf(text.data(), text.size(), "%5.1f %5.1f", PercentOf(sample->reading.mapped.x),
        PercentOf(sample->reading.mapped.y));
    return text.data();
}

std::string PixelText(const Sample* sample, const Screen* screen)
{
    return *screen ? Pair(platform::PixelOf(sample->reading.mapped.x, (*screen)->width),
                         platform::PixelOf(sample->reading.mapped.y, (*screen)->height))
                   : "-";
}

// After the port, in their order.
std::vector<Column> MakeColumns()
{
    std::vector<Column> columns{
        {"RAW     Y", 9, 3,
            [](const Sample* sample, const Screen* /*screen*/) {
                return Pair(sample->reading.raw.x, sample->reading.raw.y);
            }},
        {"    %     %", 11, 0, PercentText},
        {"PIXEL   Y", 9, 4, PixelText},
        {"TOUCH", 5, 1,
            [](const Sample* sample, const Screen* /*screen*/) {
                return sample->reading.gone ? "gone" : sample->reading.touching ? "down" : "up";
            }},
        {"RATE", 4, 2,
            [](const Sample* sample, const Screen* /*screen*/) {
                return std::to_string(sample->rate);
            }},
    };
    const size_t ranks = columns.size();
    for (const PanelCounter& counter : PANEL_COUNTERS) {
        const auto text = [&counter](const Sample* sample, const Screen* /*screen*/) {
            return std::to_string(sample->reading.counters.*counter.value);
        };
        if (counter.title != nullptr)
            columns.push_back({counter.title, counter.width, ranks + counter.rank, text});
    }
    return columns;
}

const std::vector<Column>& Columns()
{
    static const std::vector<Column> COLUMNS = MakeColumns();
    return COLUMNS;
}

std::string PaddedLeft(const std::string& text, size_t width)
{
    return std::string(width - std::min(width, text.size()), ' ') + text;
}

std::string PaddedRight(const std::string& text, size_t width)
{
    return text + std::string(width - std::min(width, text.size()), ' ');
}

} // namespace

MonitorColumns ChooseColumns(
    const std::vector<MonitorRow>* rows, const Screen& screen, size_t width)
{
    MonitorColumns columns{{}, 4, screen};
    for (const MonitorRow& row : *rows)
        columns.portWidth = std::max(columns.portWidth, row.port.size());
    columns.portWidth = std::min(columns.portWidth, MAX_PORT_WIDTH);
    size_t used = columns.portWidth;
    for (size_t rank = 0; rank < Columns().size(); ++rank) {
        const auto column = std::find_if(Columns().begin(), Columns().end(),
            [rank](const Column& one) { return one.rank == rank; });
        used += 1 + column->width;
        if (used > width)
            break;
        columns.shown.push_back(static_cast<size_t>(column - Columns().begin()));
    }
    std::sort(columns.shown.begin(), columns.shown.end());
    return columns;
}

std::string HeaderOf(const MonitorColumns* columns)
{
    std::string line = PaddedRight("PORT", columns->portWidth);
    for (const size_t index : columns->shown)
        line += " " + PaddedLeft(Columns()[index].title, Columns()[index].width);
    return line;
}

std::string LineOf(const MonitorRow* row, const MonitorColumns* columns)
{
    const size_t hidden = row->port.size() - std::min(row->port.size(), columns->portWidth);
    std::string line = PaddedRight(row->port.substr(hidden), columns->portWidth);
    for (const size_t index : columns->shown)
        line += " "
            + PaddedLeft(
                Columns()[index].text(&row->sample, &columns->screen), Columns()[index].width);
    return line;
}

double PercentOf(int32_t mapped)
{
    return std::round(mapped * 1000 / OUTPUT_PARTS) / 10;
}

} // namespace korvex::command

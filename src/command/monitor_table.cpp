#include "command/monitor_table.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

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
    std::string (*text)(const Sample* sample, const Screen* screen);
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
    snprintf(text.data(), text.size(), "%5.1f %5.1f", PercentOf(sample->mapped.x),
        PercentOf(sample->mapped.y));
    return text.data();
}

std::string PixelText(const Sample* sample, const Screen* screen)
{
    return *screen ? Pair(platform::PixelOf(sample->mapped.x, (*screen)->width),
                         platform::PixelOf(sample->mapped.y, (*screen)->height))
                   : "-";
}

// Behind the port, in their order.
constexpr std::array COLUMNS{
    Column{"RAW     Y", 9, 3,
        [](const Sample* sample, const Screen* /*screen*/) {
            return Pair(sample->raw.x, sample->raw.y);
        }},
    Column{"    %     %", 11, 0, PercentText},
    Column{"PIXEL   Y", 9, 4, PixelText},
    Column{"TOUCH", 5, 1,
        [](const Sample* sample, const Screen* /*screen*/) {
            return std::string(sample->gone ? "gone" : sample->touching ? "down" : "up");
        }},
    Column{"RATE", 4, 2,
        [](const Sample* sample, const Screen* /*screen*/) {
            return std::to_string(sample->rate);
        }},
    Column{"REPORTS", 8, 6,
        [](const Sample* sample, const Screen* /*screen*/) {
            return std::to_string(sample->reports);
        }},
    Column{"BAD", 6, 5,
        [](const Sample* sample, const Screen* /*screen*/) {
            return std::to_string(sample->rejected);
        }},
    Column{"RESYNC", 6, 7,
        [](const Sample* sample, const Screen* /*screen*/) {
            return std::to_string(sample->resynchronisations);
        }},
    Column{"DROPPED", 7, 8,
        [](const Sample* sample, const Screen* /*screen*/) {
            return std::to_string(sample->dropped);
        }},
};

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
    for (size_t rank = 0; rank < COLUMNS.size(); ++rank) {
        const auto* column = std::find_if(
            COLUMNS.begin(), COLUMNS.end(), [rank](const Column& one) { return one.rank == rank; });
        used += 1 + column->width;
        if (used > width)
            break;
        columns.shown.push_back(static_cast<size_t>(column - COLUMNS.begin()));
    }
    std::sort(columns.shown.begin(), columns.shown.end());
    return columns;
}

std::string HeaderOf(const MonitorColumns* columns)
{
    std::string line = PaddedRight("PORT", columns->portWidth);
    for (const size_t index : columns->shown)
        line += " " + PaddedLeft(COLUMNS[index].title, COLUMNS[index].width);
    return line;
}

std::string LineOf(const MonitorRow* row, const MonitorColumns* columns)
{
    const size_t hidden = row->port.size() - std::min(row->port.size(), columns->portWidth);
    std::string line = PaddedRight(row->port.substr(hidden), columns->portWidth);
    for (const size_t index : columns->shown)
        line += " "
            + PaddedLeft(COLUMNS[index].text(&row->sample, &columns->screen), COLUMNS[index].width);
    return line;
}

double PercentOf(int32_t mapped)
{
    return std::round(mapped * 1000 / OUTPUT_PARTS) / 10;
}

} // namespace korvex::command

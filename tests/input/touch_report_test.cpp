#include "input/touch_report.h"

#include "testing/test_line.h"
#include "testing/testing.h"

namespace korvex {
namespace {

using emulator::Bytes;

std::vector<Point> ReadAll(const TestLine* line)
{
    std::vector<Point> points;
    Packet report{};
    // The stream has arrived whole before the first read, so the first failed read after its end
    // finds the line silent.
    for (int failures = 0; failures < 2;) {
        if (ReadReport(line->controller.get(), &report) == ReadResult::REPORT)
            points.push_back(DecodeReport(line->controller.get(), report.data()));
        else
            ++failures;
    }
    return points;
}

Bytes operator+(Bytes first, const Bytes& second)
{
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

TEST(ReadReport, FindsTheReportsInEveryStream)
{
    const Bytes good{0x70, 0x00, 0x02, 0x00, 0x01, 0x8C}; // 512, 256
    const Bytes corrupt{0x70, 0x00, 0x02, 0x00, 0x01, 0x8D};
    const Bytes outside{0x70, 0x00, 0x04, 0x00, 0x00, 0x8B}; // X = 1024
    const Bytes beyond{0x70, 0x00, 0x10, 0x00, 0x00, 0x7F};  // X = 4096
    const Bytes below{0x70, 0x00, 0x00, 0x00, 0x04, 0x8B};   // Y = 1024
    const Bytes seven{0xFF, 1, 2, 3, 4};                     // 130, 388
    // what is left of it must not show in a report that is cut off
    const Bytes rejected{0xFF, 0x80, 5, 6, 7};
    // A stream, and the raw points of the reports that are accepted out of it.
    using Stream = std::tuple<const char*, uint32_t, uint32_t, Bytes, std::vector<Point>>;
    for (const auto& [what, model, resolutionBits, bytes, reports] : {
             Stream{"two in a row", MODEL_5200, 10, good + good, {{512, 256}, {512, 256}}},
             Stream{"as of model 5460", MODEL_5460, 10, good, {{512, 256}}},
             Stream{"a corrupt one between", MODEL_5200, 10, good + corrupt + good,
                 {{512, 256}, {512, 256}}},
             Stream{"at the 10-bit limits", MODEL_5200, 10, outside + below + good, {{512, 256}}},
             Stream{"within 12 bits", MODEL_5200, 12, outside + beyond + below + good,
                 {{1024, 0}, {0, 1024}, {512, 256}}},
             Stream{"stray bytes in front", MODEL_5200, 10, Bytes{0x01, 0x02, 0x03} + good + good,
                 {{512, 256}}},
             // A stray byte that looks like a status byte takes the report after it along; the data
             // bytes there are no new start.
             Stream{"a false start", MODEL_5200, 10,
                 Bytes{0, 0, 0, 0, 0, 0, 0x31} + good + good + good, {{512, 256}, {512, 256}}},
             Stream{"nothing made up of a cut one", MODEL_5200, 10,
                 Bytes(good.begin(), good.end() - 1), {}},
             Stream{"a model without a rule", MODEL_4400, 10, good, {}},
             Stream{"5 bytes with noise", MODEL_7700, 10, rejected + Bytes{0x12, 0x34} + seven,
                 {{130, 388}}},
             Stream{"5 bytes, one of them too large", MODEL_7700, 10,
                 Bytes{0xFF, 1, 0x80, 3, 4, 0xFF, 1, 2, 0x80, 4, 0xFF, 1, 2, 3, 0x80} + seven,
                 {{130, 388}}},
             Stream{"5 bytes, a restart in the middle", MODEL_7700, 10,
                 rejected + Bytes{0xFF, 0x01, 0xBF, 3, 4, 5, 6}, {{388, 646}}},
             Stream{"5 bytes, cut off by silence", MODEL_7700, 10, rejected + Bytes{0xFF, 0x01},
                 {{128, 0}}},
         }) {
        const TestLine line;
        line.Know(model, resolutionBits);
        line.controller->running = 1;
        SendBytes(line.emulator.get(), bytes);
        EXPECT_EQ(ReadAll(&line), reports) << what;
    }
}

TEST(ReadReport, DropsThreeTimesThreeHundredBytesInOneCallAndNoneOnceItIsToStop)
{
    using Row = std::tuple<size_t, uint8_t, bool>;
    for (const auto& [strays, running, atOnce] :
        {Row{0, 1, true}, Row{0, 0, false}, Row{899, 1, true}, Row{900, 1, false}}) {
        const TestLine line({}, MODEL_7700);
        line.controller->running = running;
        SendBytes(line.emulator.get(),
            Bytes{0xFF, 0x80, 0, 0, 0} + Bytes(strays, 0x11) + Bytes{0xFF, 1, 2, 3, 4});
        Packet read{};
        EXPECT_EQ(ReadReport(line.controller.get(), &read),
            atOnce ? ReadResult::REPORT : ReadResult::REJECTED);
        EXPECT_EQ(ReadReport(line.controller.get(), &read),
            atOnce ? ReadResult::SILENT : ReadResult::REPORT)
            << "else the next call finds it at the start";
    }
}

} // namespace
} // namespace korvex

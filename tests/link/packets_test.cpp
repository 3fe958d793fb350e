// Packets and reports as bytes, without a line. Runs on Windows too.

#include "input/touch_report.h"
#include "link/command_protocol.h"
#include "testing/calibration_data.h"
#include "testing/testing.h"

namespace korvex {
namespace {

TEST(PacketIsValid, KnowsEachFamilysRule)
{
    const uint8_t checked[]{0x70, 0x00, 0x02, 0x00, 0x01, 0x8C};
    EXPECT_EQ(PacketChecksum(checked, 5), 0x8C);
    EXPECT_EQ(PacketChecksum(checked, 0), 0xFF);
    const uint8_t wrong[]{0x70, 0x00, 0x02, 0x00, 0x01, 0x8D};
    for (const uint32_t model : {MODEL_5200, MODEL_5460}) {
        EXPECT_TRUE(PacketIsValid(model, checked));
        EXPECT_FALSE(PacketIsValid(model, wrong));
    }
    for (const uint32_t model : {0U, MODEL_2400, MODEL_4400, MODEL_5203, MODEL_8200})
        EXPECT_FALSE(PacketIsValid(model, checked));
    struct Row {
        uint8_t packet[5];
        bool valid;
    };
    for (const Row& row : {Row{{0xFF, 1, 2, 3, 4}, true}, Row{{0xF2, 0xD9, 1, 2, 0x30}, true},
             Row{{0xF2, 0xD8, 1, 2, 0x30}, false}, Row{{0xF1, 0xD9, 1, 2, 3}, false},
             Row{{0xFF, 0x80, 2, 3, 4}, false}, Row{{0xFF, 1, 0x80, 3, 4}, false},
             Row{{0xFF, 1, 2, 0x80, 4}, false}, Row{{0xFF, 1, 2, 3, 0x80}, false}})
        EXPECT_EQ(PacketIsValid(MODEL_7700, row.packet), row.valid);
}

TEST(DecodeCoord, HasEachModelsByteOrder)
{
    const auto controller = ControllerPointer(CreateController());
    const uint8_t field[]{0x12, 0x34};
    using Row = std::tuple<uint32_t, uint32_t, uint32_t>;
    for (const auto& [model, answers, reports] :
        {Row{MODEL_2400, 0x3412, 0x3412}, Row{MODEL_4400, 0x1234, 0x3412},
            Row{MODEL_5200, 0x1234, 0x3412}, Row{MODEL_5203, 0x1234, 0x3412},
            Row{MODEL_5460, 0x1234, 0x3412}, Row{MODEL_7700, 0x12 * 128 + 0x34, 0x12 * 128 + 0x34},
            Row{MODEL_8200, 0, 0}, Row{0, 0, 0}}) {
        controller->model = model;
        EXPECT_EQ(DecodeCoord(controller.get(), field, true), answers);
        EXPECT_EQ(DecodeCoord(controller.get(), field, false), reports);
    }
}

} // namespace
} // namespace korvex

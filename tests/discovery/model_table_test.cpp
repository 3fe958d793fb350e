// Runs on Windows too.

#include "discovery/model_table.h"
#include "testing/testing.h"

namespace korvex {
namespace {

TEST(ModelFromHardwareId, KnowsEveryFormAndPosition)
{
    using Row = std::pair<const WCHAR*, uint32_t>;
    for (const auto& [identifier, model] : {Row{TEXT("SERENUM\\KVX5200"), 0x5200},
             Row{TEXT("serenum\\kvx7700\\1&2"), 0x7700}, Row{TEXT("SERENUM\\ABC5460"), 0x5460},
             Row{TEXT("SERENUM\\KVX2400"), 0}, Row{TEXT("SERENUM\\KVX52"), 0},
             Row{TEXT("SERENUM"), 0}, Row{TEXT("SERENU"), 0}, Row{TEXT(""), 0}, Row{TEXT("USB"), 0},
             Row{TEXT("USB\\KVX7700"), 0x7700}, Row{TEXT("HID\\kvx7700"), 0x7700},
             Row{TEXT("USB\\KVX5460&MI_00"), 0x5460}, Row{TEXT("USB\\KVX8200"), 0},
             Row{TEXT("USB\\KVX770"), 0}, Row{TEXT("USB\\VID_2C7A&PID_5200"), 0x5200},
             Row{TEXT("USB\\VID_2c7a&PID_5201"), 0x5200},
             Row{TEXT("USB\\VID_2C7A&PID_5203"), 0x5200},
             Row{TEXT("HID\\VID_2C7A&PID_2400"), 0x2400},
             Row{TEXT("USB\\VID_2C7A&PID_5460&REV_1"), 0x5460},
             Row{TEXT("USB\\VID_2C7A&PID_4400"), 0x4400},
             Row{TEXT("USB\\VID_2C7A&PID_8200"), 0x8200}, Row{TEXT("USB\\VID_2C7A&PID_9999"), 0},
             Row{TEXT("USB\\VID_2C7A&PID_520"), 0}, Row{TEXT("USB\\VID_2C7B&PID_5200"), 0},
             Row{TEXT("USB\\VID_3381&PID_6646"), 0x4400},
             Row{TEXT("HID\\VID_3381&PID_6646"), 0x4400}, Row{TEXT("USB\\VID_3381&PID_5200"), 0},
             Row{TEXT("USB\\KVX53381.....6646"), 0x4400},
             // the second vendor's digits overrule the name
             Row{TEXT("USB\\KVX_3381&PID_6646"), 0x4400}, Row{TEXT("SERENUM\\33815200.6646"), 0},
             Row{TEXT("PCI\\VID_2C7A&PID_5200"), 0}, Row{TEXT(" USB\\KVX7700"), 0}})
        EXPECT_EQ(ModelFromHardwareId(identifier), model) << "identifier of model " << model;
}

} // namespace
} // namespace korvex

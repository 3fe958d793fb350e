#include "link/driver_requests.h"

#include <sstream>

#include "drivers/touch_driver.h"
#include "testing/test_line.h"
#include "testing/test_machine.h"
#include "testing/testing.h"

namespace korvex {
namespace {

using drivers::AddTouchDevice;

// The codes as the driver knows them.
const std::vector<std::pair<DWORD, uint32_t>> ALL_ANSWERS{{0x223C00, 0x1234}, {0x223C04, 0x56},
    {0x223C80, 0xABCDEF}, {0x223D24, 0x8200}, {0x223CA8, 0x0103}, {0x223CAC, 0x00070512},
    {0x223CB4, 4800}};

ControllerPointer KnownController()
{
    ControllerPointer controller(CreateController());
    controller->model = MODEL_7700;
    controller->fwMajor = controller->fwMinor = 99;
    controller->fwBuild = 99;
    controller->link.baudRate = 1;
    return controller;
}

std::string WholeIdentity(const TouchController* controller)
{
    std::ostringstream text;
    text << std::hex << int{controller->usbInfoA} << ' ' << int{controller->usbInfoB} << ' '
         << controller->usbInfoC << ", model " << controller->model << std::dec << ", "
         << controller->link.baudRate << " baud, " << int{controller->fwMajor} << '.'
         << int{controller->fwMinor} << '.' << controller->fwBuild;
    return text.str();
}

// Each request fails once; the others are sent and taken all the same.
TEST(QueryDriverIdentity, TakesWhatEachRequestSays)
{
    using Row = std::tuple<DWORD, const char*>;
    for (const auto& [failing, identity] :
        {Row{0, "34 56 cdef, model 8200, 4800 baud, 3.7.18"}, // no controller's rate, but kept
            Row{0x223C00, "0 56 cdef, model 8200, 4800 baud, 3.7.18"},
            Row{0x223C80, "34 56 0, model 8200, 4800 baud, 3.7.18"},
            Row{0x223D24, "34 56 cdef, model 7700, 4800 baud, 3.7.18"},
            Row{0x223CA8, "34 56 cdef, model 8200, 4800 baud, 0.0.0"},
            Row{0x223CAC, "34 56 cdef, model 8200, 4800 baud, 0.0.0"},
            Row{0x223CB4, "34 56 cdef, model 8200, 1 baud, 3.7.18"}}) {
        const TestMachine machine;
        const auto device = AddTouchDevice(u"USB\\KVX8200\\1", {});
        for (const auto& answer : ALL_ANSWERS) {
            if (answer.first != failing)
                device->answers.push_back(answer);
        }
        const auto controller = KnownController();
        EXPECT_TRUE(QueryDriverIdentity(controller.get(), u"usb\\kvx8200\\1"));
        EXPECT_EQ(WholeIdentity(controller.get()), identity) << std::hex << failing;
        EXPECT_THAT(device->requests,
            ElementsAre(0x223C00, 0x223C04, 0x223C80, 0x223D24, 0x223CA8, 0x223CAC, 0x223CB4));
    }
    EXPECT_EQ(TOUCH_INTERFACE_CLASS,
        (GUID{0x7B3F12C4, 0x5A0E, 0x4D19, {0x9C, 0x62, 0x0E, 0x84, 0xB1, 0xD7, 0xA3, 0x5F}}));
}

TEST(QueryDriverIdentity, LeavesTheRecordAloneWhereNothingCanBeAsked)
{
    const TestMachine machine;
    const auto controller = KnownController();
    EXPECT_FALSE(QueryDriverIdentity(controller.get(), u"USB\\KVX8200\\1")) << "no such device";
    platform::AddNode({.instanceId = u"USB\\KVX8200\\2"});
    EXPECT_FALSE(QueryDriverIdentity(controller.get(), u"USB\\KVX8200\\2")) << "no interface";
    const auto closed = AddTouchDevice(u"USB\\KVX8200\\3", {});
    closed->openable = false;
    EXPECT_TRUE(QueryDriverIdentity(controller.get(), u"USB\\KVX8200\\3")) << "its path was read";
    EXPECT_EQ(WholeIdentity(controller.get()), "0 0 0, model 7700, 1 baud, 99.99.99");
    EXPECT_THAT(closed->requests, IsEmpty());
}

TEST(OpenTouchDevice, MatchesTheFirstHardwareIdAloneAndSetsTheMode)
{
    const TestMachine machine;
    const auto first = AddTouchDevice(u"USB\\A", {u"USB\\KVX5200", u"USB\\KVX7700"});
    const auto second = AddTouchDevice(u"USB\\B", {u"USB\\KVX7700"});
    AddTouchDevice(u"USB\\C", {});
    EXPECT_EQ(OpenTouchDevice(u"USB\\KVX4400"), INVALID_HANDLE_VALUE);
    HANDLE device = OpenTouchDevice(u"usb\\kvx7700");
    ASSERT_NE(device, INVALID_HANDLE_VALUE);
    for (const int mode : {-1, 0, 1, 2, 3})
        SetReportMode(device, mode);
    SetReportMode(INVALID_HANDLE_VALUE, 1);
    EXPECT_THAT(second->requests, ElementsAre(0x223D20, 0x223D20, 0x223D20));
    EXPECT_THAT(second->reportModes, ElementsAre(0U, 1U, 2U));
    EXPECT_THAT(first->requests, IsEmpty());
    CloseHandle(device);
}

} // namespace
} // namespace korvex

#include "link/driver_requests.h"

#include <gtest/gtest.h>

#include <vector>

#include "drivers/touch_driver.h"
#include "testing/test_line.h"
#include "testing/test_machine.h"

namespace korvex {
namespace {

using drivers::AddTouchDevice;
using testing::TestMachine;

const std::vector<std::pair<DWORD, uint32_t>> ALL_ANSWERS{{TOUCH_IDENTITY_A, 0x1234}, {TOUCH_IDENTITY_B, 0x56},
    {TOUCH_IDENTITY_C, 0xABCDEF}, {TOUCH_MODEL, 0x8200}, {TOUCH_FIRMWARE_FIRST, 0x0103}, {TOUCH_FIRMWARE_SECOND, 0x00070512},
    {TOUCH_BAUD_RATE, 4800}};

testing::ControllerPointer KnownController()
{
    testing::ControllerPointer controller(CreateController());
    controller->model = MODEL_7700;
    controller->fwMajor = controller->fwMinor = 99;
    controller->link.baudRate = 1;
    return controller;
}

TEST(QueryDriverIdentity, TakesWhatEachRequestSays)
{
    const TestMachine machine;
    const auto device = AddTouchDevice(u"USB\\KVX8200\\1", {u"USB\\KVX8200"});
    device->answers = ALL_ANSWERS;
    const auto controller = KnownController();
    EXPECT_TRUE(QueryDriverIdentity(controller.get(), u"usb\\kvx8200\\1"));
    EXPECT_EQ(controller->usbInfoA, 0x34);
    EXPECT_EQ(controller->usbInfoB, 0x56);
    EXPECT_EQ(controller->usbInfoC, 0xCDEF);
    EXPECT_EQ(controller->model, 0x8200U);
    EXPECT_EQ(controller->fwMajor, 3);
    EXPECT_EQ(controller->fwMinor, 7);
    EXPECT_EQ(controller->fwBuild, 0x12);
    EXPECT_EQ(controller->link.baudRate, 4800U) << "a rate that no controller has stays all the same";
    EXPECT_EQ(controller->link.kind, LINK_NONE);
    EXPECT_EQ(device->requests,
        (std::vector<DWORD>{TOUCH_IDENTITY_A, TOUCH_IDENTITY_B, TOUCH_IDENTITY_C, TOUCH_MODEL, TOUCH_FIRMWARE_FIRST, TOUCH_FIRMWARE_SECOND,
            TOUCH_BAUD_RATE}));
}

TEST(QueryDriverIdentity, GoesOnAfterAFailedRequest)
{
    for (const auto& failing : ALL_ANSWERS) {
        const TestMachine machine;
        const auto device = AddTouchDevice(u"USB\\KVX8200\\1", {});
        for (const auto& answer : ALL_ANSWERS) {
            if (answer != failing)
                device->answers.push_back(answer);
        }
        const auto controller = KnownController();
        EXPECT_TRUE(QueryDriverIdentity(controller.get(), u"USB\\KVX8200\\1"));
        const auto expected
            = [&failing](DWORD request, uint32_t answered, uint32_t failed) { return failing.first == request ? failed : answered; };
        EXPECT_EQ(controller->usbInfoA, expected(TOUCH_IDENTITY_A, 0x34, 0));
        EXPECT_EQ(controller->usbInfoC, expected(TOUCH_IDENTITY_C, 0xCDEF, 0));
        EXPECT_EQ(controller->model, expected(TOUCH_MODEL, 0x8200, MODEL_7700));
        EXPECT_EQ(controller->link.baudRate, expected(TOUCH_BAUD_RATE, 4800, 1));
        const bool versionFails = failing.first == TOUCH_FIRMWARE_FIRST || failing.first == TOUCH_FIRMWARE_SECOND;
        EXPECT_EQ(controller->fwMajor, versionFails ? 0 : 3);
        EXPECT_EQ(device->requests.size(), 7U);
    }
}

TEST(QueryDriverIdentity, LeavesTheRecordAloneWhereNothingCanBeAsked)
{
    const TestMachine machine;
    const auto controller = KnownController();
    EXPECT_FALSE(QueryDriverIdentity(controller.get(), u"USB\\KVX8200\\1")) << "no such device";
    platform::NodeOptions bare;
    bare.instanceId = u"USB\\KVX8200\\2";
    platform::AddNode(bare);
    EXPECT_FALSE(QueryDriverIdentity(controller.get(), u"USB\\KVX8200\\2")) << "no interface";
    const auto closed = AddTouchDevice(u"USB\\KVX8200\\3", {});
    closed->openable = false;
    EXPECT_TRUE(QueryDriverIdentity(controller.get(), u"USB\\KVX8200\\3")) << "its path was read";
    EXPECT_EQ(controller->fwMajor, 99);
    EXPECT_EQ(controller->model, MODEL_7700);
    EXPECT_TRUE(closed->requests.empty());
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
    EXPECT_EQ(second->reportModes, (std::vector<uint32_t>{0, 1, 2}));
    EXPECT_TRUE(first->requests.empty());
    uint32_t value = 7;
    EXPECT_FALSE(ReadIdentityInfo(device, &value, nullptr, &value));
    EXPECT_FALSE(ReadDriverModel(device, nullptr));
    EXPECT_FALSE(ReadDriverFirmware(INVALID_HANDLE_VALUE, &value));
    EXPECT_FALSE(ReadDriverBaud(INVALID_HANDLE_VALUE, &value));
    EXPECT_EQ(second->requests.size(), 3U) << "none of these was sent";
    EXPECT_EQ(value, 7U);
    CloseHandle(device);
}

} // namespace
} // namespace korvex

#include "discovery/model_table.h"

#include "link/touch_controller.h"
#include "platform/linux/machine.h"
#include "support/compare_no_case.h"
#include "testing/test_machine.h"
#include "testing/testing.h"

namespace korvex {
namespace {

TEST(CompareNoCase, UsesEnglishOnWindows2000Only)
{
    for (const auto& [major, minor] : {std::pair(5U, 0U), std::pair(5U, 1U), std::pair(6U, 1U), std::pair(4U, 0U)}) {
        platform::ThisMachine()->os.majorVersion = major;
        platform::ThisMachine()->os.minorVersion = minor;
        // The invariant locale fails on a Windows 2000, so the comparison succeeds only with the other.
        EXPECT_EQ(CompareNoCase(LOCALE_INVARIANT, NORM_IGNORECASE, TEXT("usB"), -1, TEXT("UsbX"), 3), CSTR_EQUAL) << major << "." << minor;
        EXPECT_EQ(CompareNoCase(LOCALE_INVARIANT, NORM_IGNORECASE, TEXT("a"), -1, TEXT("B"), -1), CSTR_LESS_THAN);
        EXPECT_EQ(CompareNoCase(LOCALE_INVARIANT, 0, TEXT("a"), -1, TEXT("B"), -1), CSTR_GREATER_THAN);
        EXPECT_EQ(CompareNoCase(LOCALE_INVARIANT, 0, nullptr, -1, TEXT("B"), -1), 0);
    }
    platform::ResetMachine();
}

DEVINST NodeWith(const std::vector<std::u16string>& hardwareIds)
{
    platform::NodeOptions options;
    options.instanceId = u"ROOT\\X\\1";
    options.hardwareIds = hardwareIds;
    return platform::AddNode(options);
}

TEST(BusKindFromHardwareId, LooksAtTheFirstEntryOnly)
{
    struct Row {
        std::vector<std::u16string> hardwareIds;
        uint8_t bus;
    };
    for (const Row& row : {Row{{u"USB\\KVX7700", u"SERENUM\\KVX7700"}, BUS_USB}, Row{{u"serenum\\kvx7700"}, BUS_SERIAL_ENUMERATOR},
             Row{{u"HID\\KVX7700", u"USB\\KVX7700"}, BUS_UNKNOWN}, Row{{}, BUS_UNKNOWN}, Row{{u"US"}, BUS_UNKNOWN},
             Row{{u"USB" + std::u16string(255, u'x')}, BUS_USB},
             Row{{u"USB" + std::u16string(256, u'x')}, BUS_UNKNOWN}}) { // the list no longer fits
        const TestMachine machine;
        Element element(NodeWith(row.hardwareIds));
        EXPECT_EQ(BusKindFromHardwareId(element.devices, &element.data), row.bus);
    }
}

TEST(IsEnumeratorBound, NeedsTheFirstFilterAndANodeWithoutProblem)
{
    struct Row {
        std::u16string filters; // with both zeros
        ULONG status;
        bool bound;
    };
    for (const Row& row : {Row{u"", 0, false}, Row{std::u16string(u"KXSERENUM\0\0", 11), 0, true},
             Row{std::u16string(u"kxserenum\0other\0\0", 17), 0, true}, Row{std::u16string(u"other\0KXSERENUM\0\0", 17), 0, false},
             Row{std::u16string(u"KXSERENUM2\0\0", 12), 0, false}, Row{std::u16string(u"KXSERENUM\0\0", 11), DN_HAS_PROBLEM, false},
             Row{std::u16string(u"KXSERENUM\0\0", 11), DN_NEED_RESTART, true}}) {
        const TestMachine machine;
        const DEVINST port = platform::AddSerialPort(u"COM3", "/dev/null", "pci-1");
        Element element(port);
        if (!row.filters.empty()) {
            const auto* list = reinterpret_cast<const BYTE*>(row.filters.data());
            const auto size = static_cast<DWORD>(row.filters.size() * sizeof(WCHAR));
            EXPECT_TRUE(SetupDiSetDeviceRegistryPropertyW(element.devices, &element.data, SPDRP_UPPERFILTERS, list, size));
        }
        platform::SetStatus(port, row.status);
        EXPECT_EQ(IsEnumeratorBound(element.devices, &element.data), row.bound);
        platform::RemoveNode(port);
        EXPECT_FALSE(IsEnumeratorBound(element.devices, &element.data)) << "the device is gone";
    }
}

} // namespace
} // namespace korvex

#include "discovery/model_table.h"

#include "link/touch_controller.h"
#include "platform/linux/machine.h"
#include "support/compare_no_case.h"
#include "testing/test_machine.h"
#include "testing/testing.h"

namespace korvex {
namespace {

using namespace std::string_literals;

TEST(CompareNoCase, UsesEnglishOnWindows2000Only)
{
    for (const auto& [major, minor] :
        {std::pair(5U, 0U), std::pair(5U, 1U), std::pair(6U, 1U), std::pair(4U, 0U)}) {
        platform::ThisMachine()->os.majorVersion = major;
        platform::ThisMachine()->os.minorVersion = minor;
        // The invariant locale fails on a Windows 2000, so the comparison succeeds only with the
        // other.
        EXPECT_EQ(
            CompareNoCase(LOCALE_INVARIANT, NORM_IGNORECASE, TEXT("usB"), -1, TEXT("UsbX"), 3),
            CSTR_EQUAL)
            << major << "." << minor;
        EXPECT_EQ(CompareNoCase(LOCALE_INVARIANT, NORM_IGNORECASE, TEXT("a"), -1, TEXT("B"), -1),
            CSTR_LESS_THAN);
        EXPECT_EQ(
            CompareNoCase(LOCALE_INVARIANT, 0, TEXT("a"), -1, TEXT("B"), -1), CSTR_GREATER_THAN);
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
    using Row = std::pair<std::vector<std::u16string>, uint8_t>;
    for (const auto& [hardwareIds, bus] : {Row{{u"USB\\KVX7700", u"SERENUM\\KVX7700"}, BUS_USB},
             Row{{u"serenum\\kvx7700"}, BUS_SERIAL_ENUMERATOR},
             Row{{u"HID\\KVX7700", u"USB\\KVX7700"}, BUS_UNKNOWN}, Row{{}, BUS_UNKNOWN},
             Row{{u"US"}, BUS_UNKNOWN}, Row{{u"USB" + std::u16string(255, u'x')}, BUS_USB},
             Row{{u"USB" + std::u16string(256, u'x')}, BUS_UNKNOWN}}) { // the list no longer fits
        const TestMachine machine;
        Element element(NodeWith(hardwareIds));
        EXPECT_EQ(BusKindFromHardwareId(element.devices, &element.data), bus);
    }
}

TEST(IsEnumeratorBound, NeedsTheFirstFilterAndANodeWithoutProblem)
{
    using Row = std::tuple<std::u16string, ULONG, bool>;
    for (const auto& [filters, status, bound] :
        {Row{u"", 0, false}, Row{u"KXSERENUM\0\0"s, 0, true},
            Row{u"kxserenum\0other\0\0"s, 0, true}, Row{u"other\0KXSERENUM\0\0"s, 0, false},
            Row{u"KXSERENUM2\0\0"s, 0, false}, Row{u"KXSERENUM\0\0"s, DN_HAS_PROBLEM, false},
            Row{u"KXSERENUM\0\0"s, DN_NEED_RESTART, true}}) {
        const TestMachine machine;
        const DEVINST port = platform::AddSerialPort(u"COM3", "/dev/null", "pci-1");
        Element element(port);
        if (!filters.empty()) {
            const auto* list = reinterpret_cast<const BYTE*>(filters.data());
            const auto size = static_cast<DWORD>(filters.size() * sizeof(WCHAR));
            EXPECT_TRUE(SetupDiSetDeviceRegistryPropertyW(
                element.devices, &element.data, SPDRP_UPPERFILTERS, list, size));
        }
        platform::SetStatus(port, status);
        EXPECT_EQ(IsEnumeratorBound(element.devices, &element.data), bound);
        platform::RemoveNode(port);
        EXPECT_FALSE(IsEnumeratorBound(element.devices, &element.data)) << "the device is gone";
    }
}

} // namespace
} // namespace korvex

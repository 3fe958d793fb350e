#include "discovery/enumerator_binding.h"

#include "discovery/model_table.h"
#include "drivers/enumerator_filter.h"
#include "platform/linux/core/text.h"
#include "platform/linux/devices/registry.h"
#include "platform/linux/machine.h"
#include "testing/test_line.h"
#include "testing/test_machine.h"
#include "testing/testing.h"

namespace korvex {
namespace {

constexpr const char* INSTALLED_ALREADY = "\nEnum Driver has already been installed !\n";

// A port that held another filter, and a controller that was identified on it.
struct Binding {
    DEVINST port;
    ControllerPointer controller;

    Binding()
        : port(platform::AddSerialPort(u"COM3", "/dev/null", "pci-1"))
        , controller(CreateController())
    {
        controller->model = MODEL_7700;
        controller->link.baudRate = 9600;
        const std::u16string other(u"OTHER\0\0", 7);
        Element element(port);
        SetupDiSetDeviceRegistryPropertyW(element.devices, &element.data, SPDRP_UPPERFILTERS,
            reinterpret_cast<const BYTE*>(other.data()),
            static_cast<DWORD>(other.size() * sizeof(WCHAR)));
    }

    // The result is how long it took.
    milliseconds Bind() const
    {
        Element element(port);
        return TimeOf([&] { BindEnumerator(controller.get(), element.devices, &element.data); });
    }
};

TEST(BindEnumerator, InstallsAMissingBinaryFromTheInfInTheCurrentFolder)
{
    const TestMachine machine;
    InstallEnumeratorService(false);
    WriteTextFile("KXSERENUM.inf",
        "[DefaultInstall]\nCopyFiles=Files\n[DefaultInstall.Services]\n"
        "AddService = KXSERENUM, 0x2, Service\n[Service]\nServiceBinary=%12%\\KXSERENUM.sys\n");
    WriteTextFile("KXSERENUM.sys", "driver");
    drivers::RegisterEnumeratorFilter();
    TraceRecorder trace;
    const Binding binding;
    EXPECT_GE(binding.Bind().count(), 1000) << "the installation gets its time";
    EXPECT_EQ(ReadTextFile("windows/system32/drivers/KXSERENUM.sys"), "driver");
    const std::string inf = (std::filesystem::current_path() / "KXSERENUM.inf").string();
    EXPECT_THAT(trace.texts,
        ElementsAre("Installing Enum Driver !", inf, "\n",
            "Get Child Device ID : SERENUM\\KVX7700\\COM3\n"));
}

TEST(BindEnumerator, StopsWhereAStepFailsWithinItsTime)
{
    enum Fault { NO_INF, SERVICES, ABSOLUTE_BINARY, FILTER, NAME, RESTART, NO_STATUS, NO_CHILD };
    using Row = std::tuple<Fault, const char*, int64_t, std::string, int>;
    // The filters afterwards, AlwaysExist, the last trace, and the milliseconds that it waits in
    // vain. Without a status the port has gone while it was restarted.
    for (const auto& [fault, filters, alwaysExist, lastTrace, time] :
        {Row{NO_INF, "OTHER", -1, "\n", 1000}, Row{SERVICES, "OTHER", -1, "\n", 1000},
            Row{ABSOLUTE_BINARY, "OTHER", -1, "\n", 1000},
            Row{FILTER, "", -1, INSTALLED_ALREADY, 0},
            Row{NAME, "KXSERENUM", -1, INSTALLED_ALREADY, 1500},
            Row{RESTART, "KXSERENUM", 1, "System Restart is required !!\n", 0},
            Row{NO_STATUS, "gone", 1, INSTALLED_ALREADY, 1500},
            Row{NO_CHILD, "KXSERENUM", 1, INSTALLED_ALREADY, 1500}}) {
        SCOPED_TRACE(fault);
        const TestMachine machine;
        TraceRecorder trace;
        Binding binding;
        if (fault == FILTER || fault == NAME)
            binding.port = platform::AddNode({.instanceId = u"TTY\\SERIALPORT\\locked"});
        platform::NodeTestHooks* hooks = &platform::NodeOf(binding.port)->hooks;
        hooks->filtersLocked = fault == FILTER;
        hooks->hardwareKeyLocked = fault == NAME;
        if (fault == NO_INF)
            InstallEnumeratorService(false);
        platform::ThisMachine()->tests.serviceManagerLocked = fault == SERVICES;
        if (fault == ABSOLUTE_BINARY) {
            const std::u16string path = platform::FromNativePath(
                (machine.folder.path / "windows/system32/drivers/KXSERENUM.sys").string());
            WriteRegistryText(
                u"HKLM\\SYSTEM\\CurrentControlSet\\Services\\KXSERENUM", u"ImagePath", path);
        }
        if (fault == RESTART)
            platform::SetStatus(binding.port, DN_NEED_RESTART);
        if (fault == NO_STATUS)
            platform::SetFilterDriver(u"KXSERENUM", platform::RemoveNode);
        EXPECT_THAT(binding.Bind().count(), AllOf(Ge(time), Lt(time + 450)));
        const platform::DeviceNode* port = platform::NodeOf(binding.port);
        EXPECT_EQ(port == nullptr            ? "gone"
                : port->upperFilters.empty() ? ""
                                             : platform::ToUtf8(port->upperFilters.front()),
            filters);
        EXPECT_EQ(RegistryNumber(ParametersOf(u"COM3"), u"AlwaysExist"), alwaysExist);
        EXPECT_EQ(hooks->restarts, fault < NAME ? 0 : 1);
        EXPECT_EQ(binding.controller->rebootRequired, fault == RESTART ? 1 : 0);
        EXPECT_EQ(DeviceIdOf(binding.controller.get()), "(none)");
        EXPECT_EQ(trace.texts.back(), lastTrace);
    }
}

// It asks at once, after 500 and after 1000 ms.
TEST(BindEnumerator, WaitsForALateChildButNotBeyondAStopWithinItsTime)
{
    const TestMachine machine;
    const TraceRecorder trace;
    const Binding binding;
    std::thread late([&binding] {
        std::this_thread::sleep_for(milliseconds(700));
        platform::PresentChild(binding.port, u"SERENUM\\KVX7700\\late");
    });
    EXPECT_GE(binding.Bind().count(), 1000);
    late.join();
    EXPECT_EQ(DeviceIdOf(binding.controller.get()), "SERENUM\\KVX7700\\late");
    const Binding stopped;
    platform::PresentChild(stopped.port, u"");
    stopped.controller->stopEvent = CreateEventW(nullptr, TRUE, TRUE, nullptr);
    EXPECT_LT(stopped.Bind().count(), 100);
    EXPECT_EQ(DeviceIdOf(stopped.controller.get()), "(none)");
    CloseHandle(stopped.controller->stopEvent);
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
        Element element(
            platform::AddNode({.instanceId = u"ROOT\\X\\1", .hardwareIds = hardwareIds}));
        EXPECT_EQ(BusKindFromHardwareId(element.devices, &element.data), bus);
    }
}

TEST(IsEnumeratorBound, NeedsTheFirstFilterAndANodeWithoutProblem)
{
    using Row = std::tuple<std::vector<std::u16string>, ULONG, bool>;
    for (const auto& [filters, status, bound] : {Row{{}, 0, false}, Row{{u"KXSERENUM"}, 0, true},
             Row{{u"kxserenum", u"other"}, 0, true}, Row{{u"other", u"KXSERENUM"}, 0, false},
             Row{{u"KXSERENUM2"}, 0, false}, Row{{u"KXSERENUM"}, DN_HAS_PROBLEM, false},
             Row{{u"KXSERENUM"}, DN_NEED_RESTART, true}}) {
        const TestMachine machine;
        const DEVINST port = platform::AddSerialPort(u"COM3", "/dev/null", "pci-1");
        Element element(port);
        platform::NodeOf(port)->upperFilters = filters;
        platform::SetStatus(port, status);
        EXPECT_EQ(IsEnumeratorBound(element.devices, &element.data), bound);
        platform::RemoveNode(port);
        EXPECT_FALSE(IsEnumeratorBound(element.devices, &element.data)) << "the device is gone";
    }
}

} // namespace
} // namespace korvex

#include "discovery/enumerator_binding.h"

#include "drivers/enumerator_filter.h"
#include "platform/linux/core/text.h"
#include "platform/linux/devices/registry.h"
#include "platform/linux/machine.h"
#include "testing/recorders.h"
#include "testing/test_line.h"
#include "testing/test_machine.h"
#include "testing/testing.h"

namespace korvex {
namespace {

using Filters = std::vector<std::u16string>;

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

// AlwaysExist, Model and BaudRate of a port; -1 for one that is not there.
std::vector<int64_t> Parameters(std::u16string_view port)
{
    return {RegistryNumber(ParametersOf(port), u"AlwaysExist"),
        RegistryNumber(ParametersOf(port), u"Model"),
        RegistryNumber(ParametersOf(port), u"BaudRate")};
}

TEST(WriteEnumeratorParameters, TouchesOnlyWhatItIsToldTo)
{
    const TestMachine machine;
    const ControllerPointer controller(CreateController());
    controller->model = MODEL_5200;
    controller->link.baudRate = 19200;
    const PortName name{'C', 'O', 'M', '9'};
    WriteEnumeratorParameters(controller.get(), &name, 1);
    controller->model = MODEL_7700;
    WriteEnumeratorParameters(controller.get(), &name, 0);
    EXPECT_THAT(Parameters(u"COM9"), ElementsAre(0, 0x5200, 19200));
    controller->model = 0;
    controller->link.baudRate = 0;
    WriteEnumeratorParameters(controller.get(), &name, 1);
    EXPECT_THAT(Parameters(u"COM9"), ElementsAre(1, 0x5200, 19200)) << "what was stored stays";
    platform::ThisMachine()->folders.state = "/proc/korvex"; // a registry that takes nothing
    WriteEnumeratorParameters(nullptr, &name, 0);
    platform::ThisMachine()->folders.state = (machine.folder.path / "state").string();
    EXPECT_THAT(Parameters(u"COM9"), ElementsAre(1, 0x5200, 19200));
}

TEST(BindEnumerator, InstallsAMissingBinaryFromTheInfInTheCurrentFolder)
{
    const TestMachine machine;
    InstallEnumeratorService(false);
    WriteTextFile("KXSERENUM.inf",
        "[DefaultInstall]\nCopyFiles=Files\n[DefaultInstall.Services]\nAddService = KXSERENUM, "
        "0x2, "
        "Service\n[Service]\nServiceBinary=%12%\\KXSERENUM.sys\n");
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
    enum class Fault {
        NO_INF,
        SERVICE_MANAGER,
        ABSOLUTE_BINARY,
        FILTER,
        NAME,
        RESTART,
        NO_STATUS,
        NO_CHILD
    };
    struct Row {
        Fault fault;
        Filters filters;
        int64_t alwaysExist;
        int restarts;
        uint8_t rebootRequired;
        std::string lastTrace;
        int time; // milliseconds that it waits in vain
    };
    for (const Row& row : {
             Row{Fault::NO_INF, {u"OTHER"}, -1, 0, 0, "\n", 1000},
             Row{Fault::SERVICE_MANAGER, {u"OTHER"}, -1, 0, 0, "\n", 1000},
             Row{Fault::ABSOLUTE_BINARY, {u"OTHER"}, -1, 0, 0, "\n", 1000},
             Row{Fault::FILTER, {}, -1, 0, 0, INSTALLED_ALREADY, 0},
             Row{Fault::NAME, {u"KXSERENUM"}, -1, 1, 0, INSTALLED_ALREADY, 1500},
             Row{Fault::RESTART, {u"KXSERENUM"}, 1, 1, 1, "System Restart is required !!\n", 0},
             // the port has gone while it was restarted
             Row{Fault::NO_STATUS, {}, 1, 1, 0, INSTALLED_ALREADY, 1500},
             Row{Fault::NO_CHILD, {u"KXSERENUM"}, 1, 1, 0, INSTALLED_ALREADY, 1500},
         }) {
        const TestMachine machine;
        TraceRecorder trace;
        Binding binding;
        if (row.fault == Fault::FILTER || row.fault == Fault::NAME)
            binding.port = platform::AddNode({.instanceId = u"TTY\\SERIALPORT\\locked"});
        platform::NodeTestHooks* hooks = &platform::NodeOf(binding.port)->hooks;
        hooks->filtersLocked = row.fault == Fault::FILTER;
        hooks->hardwareKeyLocked = row.fault == Fault::NAME;
        if (row.fault == Fault::NO_INF)
            InstallEnumeratorService(false);
        platform::ThisMachine()->tests.serviceManagerLocked = row.fault == Fault::SERVICE_MANAGER;
        if (row.fault == Fault::ABSOLUTE_BINARY) {
            const std::u16string path = platform::FromNativePath(
                (machine.folder.path / "windows/system32/drivers/KXSERENUM.sys").string());
            WriteRegistryText(
                u"HKLM\\SYSTEM\\CurrentControlSet\\Services\\KXSERENUM", u"ImagePath", path);
        }
        if (row.fault == Fault::RESTART)
            platform::SetStatus(binding.port, DN_NEED_RESTART);
        if (row.fault == Fault::NO_STATUS)
            platform::SetFilterDriver(u"KXSERENUM", platform::RemoveNode);
        const auto taken = binding.Bind().count();
        const int fault = static_cast<int>(row.fault);
        const platform::DeviceNode* port = platform::NodeOf(binding.port); // null: it has gone
        EXPECT_EQ(port == nullptr ? Filters{} : port->upperFilters, row.filters) << fault;
        EXPECT_EQ(RegistryNumber(ParametersOf(u"COM3"), u"AlwaysExist"), row.alwaysExist) << fault;
        EXPECT_EQ(hooks->restarts, row.restarts) << fault;
        EXPECT_EQ(binding.controller->rebootRequired, row.rebootRequired) << fault;
        EXPECT_EQ(DeviceIdOf(binding.controller.get()), "(none)") << fault;
        EXPECT_EQ(trace.texts.back(), row.lastTrace) << fault;
        EXPECT_THAT(taken, AllOf(Ge(row.time), Lt(row.time + 450))) << fault;
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

} // namespace
} // namespace korvex

#include "discovery/enumerator_binding.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "drivers/enumerator_filter.h"
#include "platform/linux/core/text.h"
#include "platform/linux/devices/registry.h"
#include "platform/linux/machine.h"
#include "testing/recorders.h"
#include "testing/test_line.h"
#include "testing/test_machine.h"

namespace korvex {
namespace {

using testing::Element;
using testing::InstallEnumeratorService;
using testing::ParametersOf;
using testing::RegistryNumber;
using testing::TestMachine;
using testing::TraceRecorder;
using Filters = std::vector<std::u16string>;
using Texts = std::vector<std::string>;

constexpr const char* INSTALLED_ALREADY = "\nEnum Driver has already been installed !\n";

// A port that held another filter, and a controller that was identified on it.
struct Binding {
    DEVINST port;
    testing::ControllerPointer controller;

    Binding() : port(platform::AddSerialPort(u"COM3", "/dev/null", "pci-1")), controller(CreateController())
    {
        controller->model = MODEL_7700;
        controller->link.baudRate = 9600;
        const std::u16string other(u"OTHER\0\0", 7);
        Element element(port);
        SetupDiSetDeviceRegistryPropertyW(element.devices, &element.data, SPDRP_UPPERFILTERS, reinterpret_cast<const BYTE*>(other.data()),
            static_cast<DWORD>(other.size() * sizeof(WCHAR)));
    }

    void Bind() const
    {
        Element element(port);
        BindEnumerator(controller.get(), element.devices, &element.data);
    }

    std::string DeviceId() const { return controller->deviceId == nullptr ? "(none)" : platform::ToUtf8(controller->deviceId); }
};

TEST(BindEnumerator, ReplacesTheFiltersStoresTheParametersAndFindsTheChild)
{
    const TestMachine machine;
    drivers::RegisterEnumeratorFilter();
    TraceRecorder trace;
    const Binding binding;
    binding.Bind();
    EXPECT_EQ(platform::UpperFiltersOf(binding.port), Filters{u"KXSERENUM"});
    EXPECT_EQ(RegistryNumber(ParametersOf(u"COM3"), u"AlwaysExist"), 1);
    EXPECT_EQ(RegistryNumber(ParametersOf(u"COM3"), u"Model"), 0x7700);
    EXPECT_EQ(RegistryNumber(ParametersOf(u"COM3"), u"BaudRate"), 9600);
    EXPECT_EQ(platform::RestartsOf(binding.port), 1);
    EXPECT_EQ(binding.DeviceId(), "SERENUM\\KVX7700\\COM3");
    EXPECT_EQ(binding.controller->rebootRequired, 0);
    EXPECT_EQ(trace.texts, (Texts{INSTALLED_ALREADY, "Get Child Device ID : SERENUM\\KVX7700\\COM3\n"}));
}

TEST(WriteEnumeratorParameters, TouchesOnlyWhatItIsToldTo)
{
    const TestMachine machine;
    const testing::ControllerPointer controller(CreateController());
    controller->model = MODEL_5200;
    controller->link.baudRate = 19200;
    const PortName name{'C', 'O', 'M', '9'};
    WriteEnumeratorParameters(controller.get(), &name, 1);
    WriteEnumeratorParameters(nullptr, &name, 0);
    EXPECT_EQ(RegistryNumber(ParametersOf(u"COM9"), u"AlwaysExist"), 0);
    controller->model = 0;
    controller->link.baudRate = 0;
    WriteEnumeratorParameters(controller.get(), &name, 1);
    EXPECT_EQ(RegistryNumber(ParametersOf(u"COM9"), u"AlwaysExist"), 1);
    EXPECT_EQ(RegistryNumber(ParametersOf(u"COM9"), u"Model"), 0x5200) << "what was stored stays";
    EXPECT_EQ(RegistryNumber(ParametersOf(u"COM9"), u"BaudRate"), 19200);
    platform::ThisMachine()->stateFolder = "/proc/korvex"; // a registry that takes nothing
    WriteEnumeratorParameters(controller.get(), &name, 0);
    platform::ThisMachine()->stateFolder = (machine.folder.path / "state").string();
    EXPECT_EQ(RegistryNumber(ParametersOf(u"COM9"), u"AlwaysExist"), 1);
}

TEST(BindEnumerator, InstallsAMissingBinaryFromTheInfInTheCurrentFolder)
{
    const TestMachine machine;
    InstallEnumeratorService(false);
    testing::WriteTextFile("KXSERENUM.inf",
        "[DefaultInstall]\nCopyFiles=Files\n[DefaultInstall.Services]\nAddService = KXSERENUM, 0x2, "
        "Service\n[Service]\nServiceBinary=%12%\\KXSERENUM.sys\n");
    testing::WriteTextFile("KXSERENUM.sys", "driver");
    drivers::RegisterEnumeratorFilter();
    TraceRecorder trace;
    const Binding binding;
    binding.Bind();
    EXPECT_EQ(testing::ReadTextFile("windows/system32/drivers/KXSERENUM.sys"), "driver");
    EXPECT_EQ(binding.DeviceId(), "SERENUM\\KVX7700\\COM3");
    const std::string inf = (std::filesystem::current_path() / "KXSERENUM.inf").string();
    EXPECT_EQ(trace.texts, (Texts{"Installing Enum Driver !", inf, "\n", "Get Child Device ID : SERENUM\\KVX7700\\COM3\n"}));
}

// Every end before the last step: what stands afterwards.
TEST(BindEnumerator, StopsWhereAStepFails)
{
    enum class Fault { NO_INF, SERVICE_MANAGER, ABSOLUTE_BINARY, FILTER, NAME, RESTART, NO_CHILD };
    struct Row {
        Fault fault;
        Filters filters;
        int64_t alwaysExist;
        int restarts;
        uint8_t rebootRequired;
        std::string lastTrace;
    };
    for (const Row& row : {Row{Fault::NO_INF, {u"OTHER"}, -1, 0, 0, "\n"}, Row{Fault::SERVICE_MANAGER, {u"OTHER"}, -1, 0, 0, "\n"},
             Row{Fault::ABSOLUTE_BINARY, {u"OTHER"}, -1, 0, 0, "\n"}, Row{Fault::FILTER, {}, -1, 0, 0, INSTALLED_ALREADY},
             Row{Fault::NAME, {u"KXSERENUM"}, -1, 1, 0, INSTALLED_ALREADY},
             Row{Fault::RESTART, {u"KXSERENUM"}, 1, 1, 1, "System Restart is required !!\n"},
             Row{Fault::NO_CHILD, {u"KXSERENUM"}, 1, 1, 0, INSTALLED_ALREADY}}) {
        const TestMachine machine;
        TraceRecorder trace;
        Binding binding;
        platform::NodeOptions locked;
        locked.instanceId = u"TTY\\SERIALPORT\\locked";
        locked.filtersLocked = row.fault == Fault::FILTER;
        if (row.fault == Fault::FILTER || row.fault == Fault::NAME)
            binding.port = platform::AddNode(locked);
        if (row.fault == Fault::NAME)
            platform::LockHardwareKey(binding.port);
        if (row.fault == Fault::NO_INF)
            InstallEnumeratorService(false);
        if (row.fault == Fault::SERVICE_MANAGER)
            platform::ThisMachine()->serviceManagerLocked = true;
        if (row.fault == Fault::ABSOLUTE_BINARY) {
            HKEY key = platform::OpenRegistryPath(u"HKLM\\SYSTEM\\CurrentControlSet\\Services\\KXSERENUM");
            const std::u16string path = platform::FromNativePath((machine.folder.path / "windows/system32/drivers/KXSERENUM.sys").string());
            RegSetValueExW(key, u"ImagePath", 0, REG_SZ, reinterpret_cast<const BYTE*>(path.c_str()),
                static_cast<DWORD>((path.size() + 1) * sizeof(WCHAR)));
            RegCloseKey(key);
        }
        if (row.fault == Fault::RESTART)
            platform::SetStatus(binding.port, DN_NEED_RESTART);
        binding.Bind();
        const int fault = static_cast<int>(row.fault);
        EXPECT_EQ(platform::UpperFiltersOf(binding.port), row.filters) << fault;
        EXPECT_EQ(RegistryNumber(ParametersOf(u"COM3"), u"AlwaysExist"), row.alwaysExist) << fault;
        EXPECT_EQ(platform::RestartsOf(binding.port), row.restarts) << fault;
        EXPECT_EQ(binding.controller->rebootRequired, row.rebootRequired) << fault;
        EXPECT_EQ(binding.DeviceId(), "(none)") << fault;
        EXPECT_EQ(trace.texts.back(), row.lastTrace) << fault;
    }
}

TEST(BindEnumerator, WaitsForALateChildButNotBeyondAStopWithinItsTime)
{
    const TestMachine machine;
    const TraceRecorder trace;
    const auto started = std::chrono::steady_clock::now;
    {
        const Binding binding;
        std::thread late([&binding] {
            std::this_thread::sleep_for(std::chrono::milliseconds(200));
            platform::PresentChild(binding.port, u"SERENUM\\KVX7700\\late");
        });
        const auto start = started();
        binding.Bind();
        const auto taken = started() - start;
        late.join();
        EXPECT_EQ(binding.DeviceId(), "SERENUM\\KVX7700\\late");
        EXPECT_GE(taken, std::chrono::milliseconds(500));
        EXPECT_LT(taken, std::chrono::milliseconds(700));
    }
    const Binding binding;
    platform::PresentChild(binding.port, u"");
    binding.controller->stopEvent = CreateEventW(nullptr, TRUE, TRUE, nullptr);
    const auto start = started();
    binding.Bind();
    EXPECT_LT(started() - start, std::chrono::milliseconds(100));
    EXPECT_EQ(binding.DeviceId(), "(none)");
    CloseHandle(binding.controller->stopEvent);
}

TEST(RemoveChildDevices, RemovesEveryChildAndNothingElse)
{
    const TestMachine machine;
    RemoveChildDevices(999); // no such node
    platform::NodeOptions options;
    options.instanceId = u"USB\\HUB";
    const DEVINST parent = platform::AddNode(options);
    RemoveChildDevices(parent);
    options.parent = parent;
    std::vector<DEVINST> children;
    for (const char16_t* name : {u"USB\\A", u"USB\\B", u"USB\\C"}) {
        options.instanceId = name;
        children.push_back(platform::AddNode(options));
    }
    options.parent = children[1];
    options.instanceId = u"USB\\B\\1";
    const DEVINST grandchild = platform::AddNode(options);
    RemoveChildDevices(parent);
    EXPECT_TRUE(platform::ChildrenOf(parent).empty());
    EXPECT_EQ(platform::InstanceIdOf(parent), u"USB\\HUB");
    EXPECT_EQ(platform::InstanceIdOf(grandchild), u"") << "what is below a removed device goes too";
}

TEST(SetNeedReboot, AddsItsFlagToTheOthers)
{
    const TestMachine machine;
    const DEVINST port = platform::AddSerialPort(u"COM3", "/dev/null", "pci-1");
    Element element(port);
    SP_DEVINSTALL_PARAMS_W parameters{};
    parameters.cbSize = sizeof(parameters);
    parameters.Flags = 0x8;
    EXPECT_TRUE(SetupDiSetDeviceInstallParamsW(element.devices, &element.data, &parameters));
    SetNeedReboot(element.devices, &element.data);
    EXPECT_EQ(platform::InstallFlagsOf(port), 0x108U);
}

} // namespace
} // namespace korvex

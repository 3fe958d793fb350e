#include "discovery/co_installer.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "drivers/touch_driver.h"
#include "host/korvex.h"
#include "platform/linux/core/text.h"
#include "platform/linux/devices/registry.h"
#include "platform/linux/machine.h"
#include "testing/recorders.h"
#include "testing/test_machine.h"

namespace korvex {
namespace {

using testing::TestMachine;
using testing::TraceRecorder;

// A registry value as text, "binary 01", "dword 1" or "text 25, 6 bytes"; "none" where there is none.
std::string ValueText(std::u16string_view path, const WCHAR* name)
{
    HKEY key = platform::OpenRegistryPath(path);
    std::vector<BYTE> data(64);
    auto size = static_cast<DWORD>(data.size());
    DWORD type = 0;
    const LONG result = RegQueryValueExW(key, name, nullptr, &type, data.data(), &size);
    RegCloseKey(key);
    if (result != ERROR_SUCCESS)
        return "none";
    if (type == REG_SZ)
        return "text " + platform::ToUtf8(reinterpret_cast<const WCHAR*>(data.data())) + ", " + std::to_string(size) + " bytes";
    return (type == REG_DWORD && size == 4 ? "dword " : type == REG_BINARY && size == 1 ? "binary 0" : "other ") + std::to_string(data[0]);
}

struct System {
    unsigned majorVersion;
    unsigned minorVersion;
    bool isServer = false;
    bool isTabletPc = false;
    bool hasTabletService = false;
};

// A machine with a touch device that is being installed.
struct Installer {
    TestMachine machine;
    std::u16string instanceId;
    std::shared_ptr<drivers::TouchDevice> driver;
    DEVINST node;
    testing::Element element;

    Installer(const System& system, const std::optional<std::string>& settings, std::u16string_view hardwareId)
        : instanceId(std::u16string(hardwareId) + u"\\1")
        , driver(drivers::AddTouchDevice(instanceId, {std::u16string(hardwareId)}))
        , node(platform::FindNode(instanceId))
        , element(node)
    {
        platform::Machine* computer = platform::ThisMachine();
        computer->osMajor = system.majorVersion;
        computer->osMinor = system.minorVersion;
        computer->isServer = system.isServer;
        computer->isTabletPc = system.isTabletPc;
        computer->systemFolder = (machine.folder.path / "system32").string();
        std::filesystem::create_directories(computer->systemFolder);
        if (settings)
            testing::WriteTextFile("system32/Korvex.ini", *settings);
        if (system.hasTabletService)
            MakeKey(u"SYSTEM\\CurrentControlSet\\Services\\TabletInputService", HKEY_LOCAL_MACHINE, u"ImagePath");
        MakeKey(u"Control Panel\\Mouse", HKEY_CURRENT_USER, u"DoubleClickSpeed");
    }

    static void MakeKey(const WCHAR* name, HKEY root, const WCHAR* value)
    {
        HKEY key = nullptr;
        RegCreateKeyExW(root, name, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr);
        RegSetValueExW(key, value, 0, REG_SZ, reinterpret_cast<const BYTE*>(u"500"), 8);
        RegCloseKey(key);
    }

    DWORD Call(DI_FUNCTION function, bool postProcessing)
    {
        COINSTALLER_CONTEXT_DATA context{postProcessing ? TRUE : FALSE, ERROR_ACCESS_DENIED, nullptr};
        return kxCoInstaller(function, element.devices, &element.data, &context);
    }

    std::string HardwareValue(const WCHAR* name) const { return ValueText(platform::HardwareKeyPath(instanceId), name); }
    bool WantsRestart() const { return (platform::InstallFlagsOf(node) & DI_NEEDREBOOT) != 0; }
};

std::string MouseValue(const WCHAR* name)
{
    return ValueText(u"HKCU\\Control Panel\\Mouse", name);
}

const std::optional<std::string> NO_FILE;
constexpr const char16_t* USB = u"USB\\KVX5200";
constexpr const char16_t* SERIAL = u"SERENUM\\KVX5200";

TEST(CoInstaller, SettlesReportModeAndSuspendBySystemAndSettings)
{
    constexpr uint32_t MOUSE = 1;
    constexpr uint32_t TABLET = 2;
    const auto option = [](const std::string& lines) { return "[Option]\n" + lines + "\n"; };
    const System win2000{5, 0};
    const System xp{5, 1};
    const System xpTablet{5, 1, false, true};
    const System server2003{5, 2};
    const System vista{6, 0};
    const System seven{6, 1};
    const System ten{10, 0};
    const System server{6, 1, true};
    const System serverWithTablets{10, 0, true, false, true};
    struct Row {
        System system;
        std::optional<std::string> settings;
        const char16_t* bus;
        int suspendOn;
        int tabletBefore; // what the driver finds before the installation
        uint32_t mode;    // what it is told in the end
    };
    for (const Row& row : {
             // Without a settings file the system alone decides.
             Row{{4, 0}, NO_FILE, USB, 0, 0, MOUSE},
             Row{{4, 0, false, true}, NO_FILE, USB, 0, 0, MOUSE},
             Row{win2000, NO_FILE, USB, 0, 0, MOUSE},
             Row{{5, 0, false, true}, NO_FILE, USB, 0, 0, TABLET},
             Row{xp, NO_FILE, USB, 0, 0, MOUSE},
             Row{xp, NO_FILE, SERIAL, 0, 0, MOUSE},
             Row{xpTablet, NO_FILE, USB, 0, 1, TABLET},
             Row{server2003, NO_FILE, SERIAL, 0, 0, MOUSE},
             Row{{5, 2, false, true}, NO_FILE, USB, 0, 0, TABLET},
             Row{vista, NO_FILE, USB, 1, 1, TABLET},
             Row{seven, NO_FILE, SERIAL, 1, 1, TABLET},
             Row{ten, NO_FILE, USB, 1, 1, TABLET},
             Row{{6, 0, true}, NO_FILE, USB, 1, 0, TABLET},
             Row{server, NO_FILE, USB, 1, 0, TABLET},
             Row{{6, 1, true, false, true}, NO_FILE, USB, 1, 1, TABLET},
             Row{serverWithTablets, NO_FILE, USB, 1, 1, TABLET},
             // A file without the keys stands for mouse mode and no suspend.
             Row{seven, "", USB, 0, 0, MOUSE},
             Row{seven, "[Calibration]\nMode=9\n", SERIAL, 0, 0, MOUSE},
             // What it asks for is granted before the installation, after it only where the system can take tablet reports.
             Row{vista, option("TouchReport=2\nSelSuspend=5"), USB, 1, 1, TABLET},
             Row{xp, option("TouchReport=2"), USB, 0, 1, MOUSE},
             Row{xpTablet, option("TouchReport=2"), SERIAL, 0, 1, TABLET},
             Row{{4, 0}, option("TouchReport=2"), USB, 0, 1, MOUSE},
             Row{{4, 0, false, true}, option("TouchReport=2"), USB, 0, 1, TABLET},
             Row{ten, option("TouchReport=1\nSelSuspend=1"), SERIAL, 1, 0, MOUSE},
             Row{xpTablet, option("TouchReport=1"), USB, 0, 0, MOUSE},
             // What it does not say leaves the system's choice before the installation, and after it only where it is empty.
             Row{seven, option("TouchReport=3"), USB, 0, 1, MOUSE},
             Row{xp, option("TouchReport=3"), USB, 0, 0, MOUSE},
             Row{seven, option("TouchReport=tablet"), USB, 0, 1, MOUSE},
             Row{seven, option("TouchReport="), USB, 0, 1, TABLET},
             Row{server, option("TouchReport="), USB, 0, 0, TABLET},
             Row{seven, option("TouchReport=2" + std::string(300, ' ') + "x"), USB, 0, 1, TABLET},
             Row{seven, option("TouchReport=" + std::string(300, '2')), USB, 0, 1, MOUSE},
             Row{seven, option("SelSuspend=0"), USB, 0, 0, MOUSE},
             Row{xp, option("SelSuspend=-1"), USB, 1, 0, MOUSE},
             Row{xp, option("SelSuspend=2"), USB, 1, 0, MOUSE},
             Row{seven, option("SelSuspend=" + std::string(300, '0') + "1"), USB, 0, 0, MOUSE},
             Row{seven, option("SelSuspend="), USB, 0, 0, MOUSE},
             Row{seven, option("SelSuspend=on"), USB, 0, 0, MOUSE},
             Row{seven, option("SelSuspend=7on"), USB, 1, 0, MOUSE},
         }) {
        const TraceRecorder trace;
        Installer installer(row.system, row.settings, row.bus);
        SCOPED_TRACE(std::to_string(row.system.majorVersion) + "." + std::to_string(row.system.minorVersion) + " "
            + row.settings.value_or("no file"));
        EXPECT_EQ(installer.Call(DIF_INSTALLDEVICE, false), 0xE0000226);
        EXPECT_EQ(installer.HardwareValue(u"SelectiveSuspendEnabled"), "binary 01");
        EXPECT_EQ(installer.HardwareValue(u"SelectiveSuspendOn"), "dword " + std::to_string(row.suspendOn));
        EXPECT_EQ(installer.HardwareValue(u"TabletPC"), "binary 0" + std::to_string(row.tabletBefore));
        EXPECT_TRUE(installer.driver->requests.empty());
        EXPECT_FALSE(installer.WantsRestart());
        EXPECT_TRUE(trace.texts.empty());

        EXPECT_EQ(installer.Call(DIF_INSTALLDEVICE, true), 0U);
        EXPECT_EQ(installer.HardwareValue(u"TabletPC"), row.mode == TABLET ? "binary 01" : "binary 00");
        EXPECT_EQ(installer.driver->reportModes, std::vector<uint32_t>{row.mode});
        EXPECT_EQ(MouseValue(u"DoubleClickWidth"), row.mode == MOUSE ? "text 25, 6 bytes" : "none");
        EXPECT_EQ(MouseValue(u"DoubleClickHeight"), row.mode == MOUSE ? "text 25, 6 bytes" : "none");
        EXPECT_EQ(MouseValue(u"DoubleClickSpeed"), row.mode == MOUSE ? "text 800, 8 bytes" : "text 500, 8 bytes");
        EXPECT_EQ(installer.WantsRestart(), row.mode == TABLET || row.bus == SERIAL);
        EXPECT_EQ(trace.texts.size(), row.settings ? 1U : 0U);
    }
}

TEST(CoInstaller, TracesWhatItReadWithTheErrorOfThatReadAlone)
{
    const std::string start = "GetPrivateProfileString() Bytes Copied : ";
    for (const auto& [settings, line] :
        std::vector<std::pair<std::string, std::string>>{{"[Option]\nTouchReport=2\n", "1 ; Error : 0 ; Buffer 2\n"},
            {"", "1 ; Error : 2 ; Buffer 1\n"}, {"[Option]\nTouchReport=\n", "0 ; Error : 0 ; Buffer \n"},
            {"[Option]\nTouchReport=" + std::string(300, '7'), "259 ; Error : 0 ; Buffer " + std::string(259, '7')}}) {
        const TraceRecorder trace;
        Installer installer({6, 1}, settings, USB);
        SetLastError(ERROR_ACCESS_DENIED);
        installer.Call(DIF_INSTALLDEVICE, true);
        EXPECT_EQ(trace.texts, std::vector<std::string>{(start + line).substr(0, 255)});
    }
}

// Every failure inside costs what it concerns and nothing else.
TEST(CoInstaller, GoesOnAfterEveryFailure)
{
    const auto run = [](const System& system, const std::function<void(Installer*)>& spoil) {
        auto installer = std::make_unique<Installer>(system, NO_FILE, USB);
        spoil(installer.get());
        EXPECT_EQ(installer->Call(DIF_INSTALLDEVICE, false), ERROR_DI_POSTPROCESSING_REQUIRED);
        EXPECT_EQ(installer->Call(DIF_INSTALLDEVICE, true), NO_ERROR);
        return installer;
    };
    {
        const auto installer = run({5, 1}, [](Installer* spoiled) { platform::LockHardwareKey(spoiled->node); });
        EXPECT_EQ(installer->HardwareValue(u"SelectiveSuspendEnabled"), "none");
        EXPECT_EQ(installer->HardwareValue(u"TabletPC"), "none");
        EXPECT_EQ(installer->driver->reportModes, std::vector<uint32_t>{1});
        EXPECT_EQ(MouseValue(u"DoubleClickWidth"), "text 25, 6 bytes");
    }
    {
        const auto installer = run({6, 1}, [](Installer* spoiled) { spoiled->driver->openable = false; });
        EXPECT_TRUE(installer->driver->requests.empty());
        EXPECT_EQ(installer->HardwareValue(u"TabletPC"), "binary 01");
        EXPECT_TRUE(installer->WantsRestart());
    }
    {
        const auto installer = run({5, 1}, [](Installer* /*spoiled*/) { platform::DeleteRegistryKey(u"HKCU\\Control Panel\\Mouse"); });
        EXPECT_EQ(MouseValue(u"DoubleClickWidth"), "none");
        EXPECT_EQ(installer->driver->reportModes, std::vector<uint32_t>{1});
    }
    {
        const auto installer
            = run({6, 1, true, false, true}, [](Installer* /*spoiled*/) { platform::ThisMachine()->serviceManagerLocked = true; });
        EXPECT_FALSE(IsTabletInputServicePresent());
        EXPECT_EQ(installer->driver->reportModes, std::vector<uint32_t>{2});
    }
}

TEST(CoInstaller, RemovesTheChildrenOfARemovedDeviceUpToOneThatCannotBeRead)
{
    for (const size_t unreadable : {0U, 1U, 2U, 3U}) { // 3: none of them
        Installer installer({6, 1}, NO_FILE, USB);
        std::vector<DEVINST> children;
        for (size_t i = 0; i < 3; ++i) {
            platform::NodeOptions child;
            child.instanceId = i == unreadable ? std::u16string(300, u'X') : u"HID\\" + std::u16string(1, static_cast<char16_t>(u'A' + i));
            child.parent = installer.node;
            children.push_back(platform::AddNode(child));
        }
        EXPECT_EQ(installer.Call(DIF_REMOVE, true), NO_ERROR);
        EXPECT_EQ(platform::ChildrenOf(installer.node), children) << "only before the removal";
        EXPECT_EQ(installer.Call(DIF_REMOVE, false), NO_ERROR);
        EXPECT_EQ(platform::ChildrenOf(installer.node).size(), 3 - unreadable);
        EXPECT_NE(platform::FindNode(installer.instanceId), 0U) << "the device itself is the installer's to remove";
        EXPECT_EQ(installer.Call(DIF_REMOVE, false), NO_ERROR);
    }
}

TEST(CoInstaller, LeavesEveryOtherCallAlone)
{
    Installer installer({6, 1}, NO_FILE, USB);
    for (DI_FUNCTION function = 0; function <= 0x30; ++function) {
        if (function == DIF_INSTALLDEVICE || function == DIF_REMOVE)
            continue;
        EXPECT_EQ(installer.Call(function, false), NO_ERROR);
        EXPECT_EQ(installer.Call(function, true), NO_ERROR);
    }
    EXPECT_EQ(installer.HardwareValue(u"SelectiveSuspendEnabled"), "none");
    EXPECT_EQ(installer.HardwareValue(u"TabletPC"), "none");
    EXPECT_TRUE(installer.driver->requests.empty());
    EXPECT_FALSE(installer.WantsRestart());
}

} // namespace
} // namespace korvex

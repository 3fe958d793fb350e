#include "discovery/co_installer.h"

#include "drivers/touch_driver.h"
#include "korvex/korvex.h"
#include "platform/linux/core/text.h"
#include "platform/linux/devices/registry.h"
#include "platform/linux/machine.h"
#include "testing/test_machine.h"
#include "testing/testing.h"

namespace korvex {
namespace {

// A registry value as text, "type 3, 1 bytes, 1; "; "none; " where there is none.
std::string ValueText(std::u16string_view path, const WCHAR* name)
{
    HKEY key = platform::OpenRegistryPath(path);
    std::vector<BYTE> data(64);
    auto size = static_cast<DWORD>(data.size());
    DWORD type = 0;
    const LONG result = RegQueryValueExW(key, name, nullptr, &type, data.data(), &size);
    RegCloseKey(key);
    if (result != ERROR_SUCCESS)
        return "none; ";
    const std::string text = type == REG_SZ
        ? platform::ToUtf8(reinterpret_cast<const WCHAR*>(data.data()))
        : std::to_string(data[0]);
    return "type " + std::to_string(type) + ", " + std::to_string(size) + " bytes, " + text + "; ";
}

struct System {
    unsigned majorVersion;
    unsigned minorVersion;
    bool isServer = false;
    bool isTabletPc = false;
    bool hasTabletService = false;
};

constexpr DWORD FOREIGN_FLAG = 0x8; // of the installation, set by another program

// A machine with a touch device that is being installed.
struct Installer {
    TestMachine machine;
    std::u16string instanceId;
    std::shared_ptr<drivers::TouchDevice> driver;
    DEVINST node;
    Element element;

    Installer(const System& system, const std::optional<std::string>& settings,
        std::u16string_view hardwareId)
        : instanceId(std::u16string(hardwareId) + u"\\1")
        , driver(drivers::AddTouchDevice(instanceId, {std::u16string(hardwareId)}))
        , node(platform::FindNode(instanceId))
        , element(node)
    {
        platform::Machine* computer = platform::ThisMachine();
        computer->os
            = {system.majorVersion, system.minorVersion, system.isServer, system.isTabletPc};
        computer->folders.system = (machine.folder.path / "system32").string();
        std::filesystem::create_directories(computer->folders.system);
        if (settings)
            WriteTextFile("system32/Korvex.ini", *settings);
        if (system.hasTabletService)
            WriteRegistryText(u"HKLM\\SYSTEM\\CurrentControlSet\\Services\\TabletInputService",
                u"ImagePath", u"500");
        WriteRegistryText(u"HKCU\\Control Panel\\Mouse", u"DoubleClickSpeed", u"500");
        SP_DEVINSTALL_PARAMS_W parameters{};
        parameters.cbSize = sizeof(parameters);
        parameters.Flags = FOREIGN_FLAG;
        SetupDiSetDeviceInstallParamsW(element.devices, &element.data, &parameters);
    }

    DWORD Call(DI_FUNCTION function, bool postProcessing)
    {
        COINSTALLER_CONTEXT_DATA context{
            postProcessing ? TRUE : FALSE, ERROR_ACCESS_DENIED, nullptr};
        return kxCoInstaller(function, element.devices, &element.data, &context);
    }

    // The outcome of the calls so far.
    std::string State() const
    {
        std::string text;
        for (const WCHAR* name : {u"SelectiveSuspendEnabled", u"SelectiveSuspendOn", u"TabletPC"})
            text += ValueText(platform::HardwareKeyPath(instanceId), name);
        for (const WCHAR* name : {u"DoubleClickWidth", u"DoubleClickHeight", u"DoubleClickSpeed"})
            text += ValueText(u"HKCU\\Control Panel\\Mouse", name);
        for (const uint32_t mode : driver->reportModes)
            text += "mode " + std::to_string(mode) + ", ";
        return text
            + (platform::InstallFlagsOf(node) == (FOREIGN_FLAG | DI_NEEDREBOOT) ? "restart"
                                                                                : "no restart");
    }
};

const std::optional<std::string> NO_FILE;
constexpr const char16_t* USB = u"USB\\KVX5200";
constexpr const char16_t* SERIAL = u"SERENUM\\KVX5200";
constexpr const char* NOTHING = "none; none; none; ";
const std::string MOUSE_AS_BEFORE = "none; none; type 1, 8 bytes, 500; ";
const std::string MOUSE_FOR_FINGERS
    = "type 1, 6 bytes, 25; type 1, 6 bytes, 25; type 1, 8 bytes, 800; ";

// Of the driver, before what it is for the mouse.
std::string Values(int suspendOn, int tablet)
{
    return "type 3, 1 bytes, 1; type 4, 4 bytes, " + std::to_string(suspendOn)
        + "; type 3, 1 bytes, " + std::to_string(tablet) + "; ";
}

TEST(CoInstaller, SettlesReportModeAndSuspendBySystemAndSettings)
{
    constexpr int MOUSE = 1;
    constexpr int TABLET = 2;
    const auto option = [](const std::string& lines) { return "[Option]\n" + lines + "\n"; };
    const System xp{5, 1};
    const System xpTablet{5, 1, false, true};
    const System vista{6, 0};
    const System seven{6, 1};
    const System ten{10, 0};
    const System server{6, 1, true};
    struct Row {
        System system;
        std::optional<std::string> settings;
        const char16_t* bus;
        int suspendOn;
        int tabletBefore; // what the driver finds before the installation
        int mode;         // the mode that is set in the end
    };
    for (const Row& row : {
             // Without a settings file the system alone decides.
             Row{{4, 0, false, true}, NO_FILE, USB, 0, 0, MOUSE},
             Row{{5, 0}, NO_FILE, USB, 0, 0, MOUSE},
             Row{{5, 0, false, true}, NO_FILE, USB, 0, 0, TABLET},
             Row{xp, NO_FILE, USB, 0, 0, MOUSE},
             Row{xpTablet, NO_FILE, USB, 0, 1, TABLET},
             Row{{5, 2}, NO_FILE, SERIAL, 0, 0, MOUSE},
             Row{{5, 2, false, true}, NO_FILE, USB, 0, 0, TABLET},
             Row{vista, NO_FILE, USB, 1, 1, TABLET},
             Row{seven, NO_FILE, SERIAL, 1, 1, TABLET},
             Row{server, NO_FILE, USB, 1, 0, TABLET},
             Row{{10, 0, true, false, true}, NO_FILE, USB, 1, 1, TABLET},
             // A file without the keys asks for mouse mode and no suspend.
             Row{seven, "", USB, 0, 0, MOUSE},
             Row{seven, "[Calibration]\nMode=9\n", SERIAL, 0, 0, MOUSE},
             // Its values apply before the installation, after it only if the system can take
             // tablet reports.
             Row{vista, option("TouchReport=2\nSelSuspend=5"), USB, 1, 1, TABLET},
             Row{xp, option("TouchReport=2"), USB, 0, 1, MOUSE},
             Row{xpTablet, option("TouchReport=2"), SERIAL, 0, 1, TABLET},
             Row{{4, 0, false, true}, option("TouchReport=2"), USB, 0, 1, TABLET},
             Row{ten, option("TouchReport=1\nSelSuspend=1"), SERIAL, 1, 0, MOUSE},
             Row{xpTablet, option("TouchReport=1"), USB, 0, 0, MOUSE},
             // Missing values leave the system's choice before the installation, after it only if
             // they are empty.
             Row{seven, option("TouchReport=3"), USB, 0, 1, MOUSE},
             Row{xp, option("TouchReport=3"), USB, 0, 0, MOUSE},
             Row{seven, option("TouchReport="), USB, 0, 1, TABLET},
             Row{server, option("TouchReport="), USB, 0, 0, TABLET},
             Row{seven, option("TouchReport=2" + std::string(300, ' ') + "x"), USB, 0, 1, TABLET},
             Row{xp, option("SelSuspend=-1"), USB, 1, 0, MOUSE},
             Row{seven, option("SelSuspend="), USB, 0, 0, MOUSE},
         }) {
        const TraceRecorder trace;
        Installer installer(row.system, row.settings, row.bus);
        SCOPED_TRACE(std::to_string(row.system.majorVersion) + "."
            + std::to_string(row.system.minorVersion) + " " + row.settings.value_or("no file"));
        EXPECT_EQ(installer.Call(DIF_INSTALLDEVICE, false), 0xE0000226);
        EXPECT_EQ(installer.State(),
            Values(row.suspendOn, row.tabletBefore) + MOUSE_AS_BEFORE + "no restart");
        EXPECT_TRUE(trace.texts.empty());
        EXPECT_EQ(installer.Call(DIF_INSTALLDEVICE, true), 0U);
        EXPECT_EQ(installer.State(),
            Values(row.suspendOn, row.mode - 1)
                + (row.mode == MOUSE ? MOUSE_FOR_FINGERS : MOUSE_AS_BEFORE) + "mode "
                + std::to_string(row.mode)
                + (row.mode == TABLET || row.bus == SERIAL ? ", restart" : ", no restart"));
        EXPECT_EQ(trace.texts.size(), row.settings ? 1U : 0U);
    }
}

TEST(CoInstaller, TracesWhatItReadWithTheErrorOfThatReadAlone)
{
    using Row = std::pair<std::string, std::string>;
    for (const auto& [settings, line] :
        {Row{"[Option]\nTouchReport=2\n", "1 ; Error : 0 ; Buffer 2\n"},
            Row{"", "1 ; Error : 2 ; Buffer 1\n"},
            Row{"[Option]\nTouchReport=\n", "0 ; Error : 0 ; Buffer \n"},
            Row{"[Option]\nTouchReport=" + std::string(300, '7'),
                "259 ; Error : 0 ; Buffer " + std::string(259, '7')}}) {
        const TraceRecorder trace;
        Installer installer({6, 1}, settings, USB);
        SetLastError(ERROR_ACCESS_DENIED);
        installer.Call(DIF_INSTALLDEVICE, true);
        EXPECT_THAT(trace.texts,
            ElementsAre(("GetPrivateProfileString() Bytes Copied : " + line).substr(0, 255)));
    }
}

TEST(CoInstaller, GoesOnAfterEveryFailure)
{
    enum Fault { KEY, DRIVER, MOUSE, SERVICES };
    using Row = std::tuple<Fault, System, std::string>; // everything but what it concerns
    for (const auto& [fault, system, state] :
        {Row{KEY, {5, 1}, NOTHING + MOUSE_FOR_FINGERS + "mode 1, no restart"},
            Row{DRIVER, {6, 1}, Values(1, 1) + MOUSE_AS_BEFORE + "restart"},
            Row{MOUSE, {5, 1}, Values(0, 0) + NOTHING + "mode 1, no restart"},
            Row{SERVICES, {6, 1, true, false, true},
                Values(1, 1) + MOUSE_AS_BEFORE + "mode 2, restart"}}) {
        Installer installer(system, NO_FILE, USB);
        platform::NodeOf(installer.node)->hooks.hardwareKeyLocked = fault == KEY;
        installer.driver->openable = fault != DRIVER;
        if (fault == MOUSE)
            platform::DeleteRegistryKey(u"HKCU\\Control Panel\\Mouse");
        platform::ThisMachine()->tests.serviceManagerLocked = fault == SERVICES;
        EXPECT_EQ(installer.Call(DIF_INSTALLDEVICE, false), ERROR_DI_POSTPROCESSING_REQUIRED);
        EXPECT_EQ(installer.Call(DIF_INSTALLDEVICE, true), NO_ERROR);
        EXPECT_EQ(installer.State(), state);
        EXPECT_FALSE(IsTabletInputServicePresent());
    }
}

TEST(CoInstaller, RemovesTheChildrenOfARemovedDeviceUpToOneThatCannotBeRead)
{
    for (const size_t unreadable : {0U, 1U, 2U, 3U}) { // 3: none of them
        Installer installer({6, 1}, NO_FILE, USB);
        std::vector<DEVINST> children;
        for (size_t i = 0; i < 3; ++i) {
            const std::u16string id(i == unreadable ? 300 : i + 1, u'X');
            children.push_back(
                platform::AddNode({.instanceId = u"HID\\" + id, .parent = installer.node}));
        }
        const DEVINST grandchild
            = platform::AddNode({.instanceId = u"HID\\C\\1", .parent = children.back()});
        EXPECT_EQ(installer.Call(DIF_REMOVE, true), NO_ERROR);
        EXPECT_EQ(platform::ChildrenOf(installer.node), children) << "only before the removal";
        EXPECT_EQ(installer.Call(DIF_REMOVE, false), NO_ERROR);
        EXPECT_EQ(platform::ChildrenOf(installer.node).size(), 3 - unreadable);
        EXPECT_EQ(platform::InstanceIdOf(grandchild).empty(), unreadable == 3)
            << "what is below a removed device goes too";
        EXPECT_NE(platform::FindNode(installer.instanceId), 0U)
            << "the device itself is the installer's to remove";
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
    EXPECT_EQ(installer.State(), NOTHING + MOUSE_AS_BEFORE + "no restart");
}

} // namespace
} // namespace korvex

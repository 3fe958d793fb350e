#include "platform/linux/serial/port_scan.h"

#include "testing/testing.h"

namespace korvex::platform {
namespace {

namespace fs = std::filesystem;

// A tty as the kernel shows it: its entry in /sys/class/tty, with or without a device, and its node
// in /dev.
void AddTty(const std::string& name, bool withDevice, const char* type = nullptr)
{
    fs::create_directories("sys/class/tty/" + name + (withDevice ? "/device" : ""));
    if (type != nullptr)
        WriteTextFile("sys/class/tty/" + name + "/type", type);
    fs::create_directories("dev");
    WriteTextFile("dev/" + name, "");
}

TEST(ScanSerialPorts, NamesThePortsThatHaveADeviceAndLeavesConsolesOut)
{
    const TemporaryFolder folder;
    for (const char* name : {"tty0", "ptmx", "console", "ttyprintk", "ttymxc1", "ttyAMA0"})
        AddTty(name, true);
    AddTty("ttyS0", true, "4\n");
    AddTty("ttyS1", true, "4\n");
    AddTty("ttyS2", true, "0\n"); // a UART that does not exist
    AddTty("ttyS3", false);
    for (const char* name : {"ttyS10", "ttyS32", "ttyACM0", "ttyUSB1", "ttyUSB0"})
        AddTty(name, true);
    fs::create_directories("dev/serial/by-path");
    fs::create_symlink("../../ttyUSB1", "dev/serial/by-path/pci-usb-0:2");
    fs::create_directories("proc");
    WriteTextFile("proc/consoles",
        "tty0                 -WU (EC p  )    4:7\nttyS0                -W- (EC p a)    4:64\n");

    Texts found;
    for (const ScannedPort& port : ScanSerialPorts({"sys", "dev", "proc"}))
        found.push_back(port.name + " " + port.path + " " + port.stablePath);
    EXPECT_EQ(found,
        (Texts{"COM2 dev/ttyS1 dev/ttyS1", "COM11 dev/ttyS10 dev/ttyS10",
            "COM33 dev/ttyS32 dev/ttyS32", "COM34 dev/ttyUSB0 dev/ttyUSB0",
            "COM35 dev/ttyUSB1 dev/serial/by-path/pci-usb-0:2", "COM36 dev/ttyACM0 dev/ttyACM0",
            "COM37 dev/ttyAMA0 dev/ttyAMA0", "COM38 dev/ttymxc1 dev/ttymxc1"}));
    EXPECT_TRUE(ScanSerialPorts({"nowhere", "dev", "proc"}).empty());

    EXPECT_TRUE(IsKernelConsole("dev/ttyS0", {.proc = "proc"}));
    fs::create_symlink("dev/ttyS0", "panel");
    EXPECT_TRUE(IsKernelConsole("panel", {.proc = "proc"})) << "by another name too";
    EXPECT_FALSE(IsKernelConsole("dev/ttyS1", {.proc = "proc"}));
}

TEST(GivenPanelName, KnowsAPanelByTheLinkOfItsAdapterAndOnlyByThat)
{
    const TemporaryFolder folder;
    fs::create_directories("dev/korvex");
    for (const char* name : {"ttyUSB0", "ttyUSB1"})
        WriteTextFile(std::string("dev/") + name, "");
    for (const char* name : {"right", "left"})
        fs::create_symlink("../ttyUSB0", std::string("dev/korvex/") + name);
    fs::create_symlink("dev/ttyUSB0", "panel");
    for (const auto& [path, name] :
        {std::pair{"dev/ttyUSB0", "left"}, {"panel", "left"}, {"dev/korvex/right", "right"},
            {"dev/ttyUSB1", ""}, {"dev/korvex/unplugged", "unplugged"}, {"dev/missing", ""}})
        EXPECT_EQ(GivenPanelNameOf(path, {.dev = "dev"}), name) << path;
}

} // namespace
} // namespace korvex::platform

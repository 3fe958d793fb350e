// Whole passes over a machine with emulated controllers: what they find, say, start and leave.

#include "discovery/detection_pass.h"

#include "discovery/enumerator_binding.h"
#include "drivers/enumerator_filter.h"
#include "drivers/touch_driver.h"
#include "host/host.h"
#include "input/session.h"
#include "link/driver_requests.h"
#include "platform/linux/core/text.h"
#include "platform/linux/machine.h"
#include "support/owned.h"
#include "testing/test_line.h"
#include "testing/test_machine.h"
#include "testing/testing.h"
#include "testing/window_recorder.h"

namespace korvex {
namespace {

using emulator::EmulatorOptions;

constexpr UINT RESULT_MESSAGE = WM_USER + 240;

// A host context with a status text and a notify target, as an entry has one; passes run on the
// test's own thread.
struct Host {
    WindowRecorder windows;
    HostContext* context;

    Host() : context(CreateHostContext(GetModuleHandleW(nullptr)))
    {
        context->statusText = CreateWindowExW(0, TEXT("STATIC"), TEXT(""), WS_CHILD, 0, 0, 300, 36,
            nullptr, nullptr, nullptr, nullptr);
        SetNotifyTarget(context->statusText, RESULT_MESSAGE);
    }
    ~Host()
    {
        HWND text = context->statusText;
        DestroyHostContext();
        DestroyWindow(text);
    }

    // Runs a pass; the result that it has posted, -1 when it has posted none.
    int64_t Detect(uint32_t mode)
    {
        windows.texts.clear();
        DetectControllers(context, mode);
        PostMessageW(context->statusText, WM_USER, 0, 0); // so that the wait ends either way
        MSG message{};
        int64_t result = -1;
        while (GetMessageW(&message, nullptr, 0, 0) > 0 && message.message != WM_USER)
            result = message.message == RESULT_MESSAGE && message.lParam == 0
                ? static_cast<int64_t>(message.wParam)
                : -2;
        return result;
    }

    // Its controllers: what they are, by whose port and device, and whether a session reads them.
    Texts Controllers() const
    {
        Texts texts;
        for (ListLinks* links = context->controllers.next; links != &context->controllers;
            links = links->next) {
            const auto* controller = RecordOf<TouchController>(links);
            texts.push_back(IdentityText(controller) + ", port "
                + std::to_string(controller->link.portNumber) + ", " + DeviceIdOf(controller)
                + (controller->running == 1 ? ", running" : ", not running"));
        }
        return texts;
    }
};

std::string PathOf(const std::string& port)
{
    return "\\\\?\\tty#serialport#" + port + "#{86e0d1e0-8089-11d0-9ce4-08003e301f73}";
}

DEVINST AddPort(const std::u16string& name, const emulator::Emulator* emulator)
{
    return platform::AddSerialPort(name, emulator == nullptr ? "/dev/null" : TerminalPath(emulator),
        "pci-" + platform::ToUtf8(name));
}

// A port as a run with a 0x5200 at 19200 baud has left it.
DEVINST AddBoundPort(const std::u16string& name, const emulator::Emulator* emulator)
{
    const DEVINST port = AddPort(name, emulator);
    const ControllerPointer controller(CreateController());
    controller->model = MODEL_5200;
    controller->link.baudRate = 19200;
    const OwnedHandle stopped(CreateEventW(nullptr, TRUE, TRUE, nullptr));
    controller->stopEvent = stopped.value; // nothing is waited for
    Element element(port);
    BindEnumerator(controller.get(), element.devices, &element.data);
    return port;
}

// Two new controllers, a silent line and a port that does not open; then the same machine again,
// with what the first run left.
TEST(DetectControllers, FindsBindsAndStartsNewControllersAndKnowsThemTheNextTime)
{
    const TestMachine machine;
    WriteTextFile("Korvex.ini", "[Calibration]\n");
    drivers::RegisterEnumeratorFilter();
    const emulator::EmulatorPointer first = emulator::StartEmulator({0x7700, 0, 9600});
    const emulator::EmulatorPointer silent = StartSilentEmulator();
    const emulator::EmulatorPointer second = emulator::StartEmulator({});
    AddPort(u"COM3", first.get());
    AddPort(u"COM12", silent.get());
    const DEVINST third = AddPort(u"COM4", second.get());
    AddPort(u"COM5", nullptr);
    const Texts controllers{"model 7700, 5 bytes, 9600 baud, 10 bits, firmware 1.2.3, port 3, "
                            "SERENUM\\KVX7700\\COM3, running",
        "model 5200, 6 bytes, 19200 baud, 10 bits, firmware 1.2.3, port 4, "
        "SERENUM\\KVX5200\\COM4, running"};
    {
        TraceRecorder trace;
        Host host;
        EXPECT_EQ(host.Detect(PASS_DETECT), 1);
        EXPECT_THAT(
            host.windows.texts, ElementsAre("Detecting COM3", "Detecting COM12", "Detecting COM4"));
        const std::string installed = "\nEnum Driver has already been installed !\n";
        EXPECT_THAT(trace.texts,
            ElementsAre("Start Detect : " + PathOf("COM3") + "\n", "Korvex 7700 Found!!\n",
                installed, "Get Child Device ID : SERENUM\\KVX7700\\COM3\n", "Load File Settings\n",
                "Start Detect : " + PathOf("COM12") + "\n", "No Device Found!!\n",
                "Start Detect : " + PathOf("COM4") + "\n", "Korvex 5200 Found!!\n", installed,
                "Get Child Device ID : SERENUM\\KVX5200\\COM4\n", "Load File Settings\n",
                "Create File Error!!\n"));
        EXPECT_EQ(host.Controllers(), controllers);
        HANDLE freed = OpenPort(TerminalPath(silent.get()));
        EXPECT_NE(freed, INVALID_HANDLE_VALUE)
            << "the failed probe has closed its port: another program can have it";
        CloseHandle(freed);
    }
    TraceRecorder trace;
    Host host;
    const size_t commandsBefore = ReceivedCommands(silent.get()).size();
    EXPECT_EQ(host.Detect(PASS_REFRESH), -1);
    EXPECT_THAT(host.windows.texts, ElementsAre("Restarting COM3", "Restarting COM4"));
    EXPECT_THAT(trace.texts,
        ElementsAre("Skip Detection on :", PathOf("COM12"), "\n",
            "Skip Detection on :", PathOf("COM5"), "\n"));
    EXPECT_EQ(RegistryNumber(ParametersOf(u"COM4"), u"AlwaysExist"), 0);
    EXPECT_EQ(RegistryNumber(ParametersOf(u"COM4"), u"Model"), 0x5200);
    EXPECT_EQ(platform::NodeOf(third)->hooks.restarts, 2);
    EXPECT_EQ(ReceivedCommands(silent.get()).size(), commandsBefore) << "a refresh opens no port";

    trace.texts.clear();
    EXPECT_EQ(host.Detect(PASS_DETECT), 1);
    EXPECT_THAT(
        host.windows.texts, ElementsAre("Detecting COM3", "Detecting COM12", "Detecting COM4"));
    EXPECT_EQ(trace.texts.front(),
        "Detect Korvex 7700 with Baud Rate 9600\nFirmware Version : 7700.1.2.3\n");
    EXPECT_EQ(host.Controllers(), controllers);
    SetEvent(host.context->stopEvent);
    EXPECT_EQ(host.Detect(PASS_DETECT), -1) << "a stopped pass posts nothing";
}

// The controller on a bound port may have been replaced since: the refresh notices, and the same
// run probes again. A port that is in use says nothing of it.
TEST(DetectControllers, NoticesAnExchangedController)
{
    using Row = std::tuple<EmulatorOptions, bool, bool>;
    for (const auto& [now, answers, held] : {Row{{0x7700}, true, false},
             Row{{0x5200, 0, 9600}, true, false}, Row{{}, false, false}, Row{{}, false, true}}) {
        const TestMachine machine;
        WriteTextFile("Korvex.ini", "[Calibration]\n");
        drivers::RegisterEnumeratorFilter();
        const TraceRecorder trace;
        const auto emulator = answers ? emulator::StartEmulator(now) : StartSilentEmulator(now);
        const DEVINST port = AddBoundPort(u"COM3", emulator.get());
        HANDLE holder = held ? OpenPort(TerminalPath(emulator.get())) : nullptr;
        Host host;
        host.Detect(PASS_REFRESH);
        EXPECT_EQ(platform::ChildrenOf(port).size(), held ? 1U : 0U);
        EXPECT_EQ(platform::StatusOf(port) & DN_HAS_PROBLEM, held ? 0U : DN_HAS_PROBLEM);
        EXPECT_EQ(host.Detect(PASS_DETECT), answers ? 1 : 0);
        EXPECT_EQ(host.Controllers().size(), answers ? 1U : 0U);
        EXPECT_EQ(RegistryNumber(ParametersOf(u"COM3"), u"Model"), now.model);
        EXPECT_EQ(RegistryNumber(ParametersOf(u"COM3"), u"BaudRate"), now.baudRate);
        EXPECT_EQ(platform::StatusOf(port) & DN_HAS_PROBLEM, answers || held ? 0U : DN_HAS_PROBLEM);
        CloseHandle(holder);
    }
}

// Ports that are held, whose child does not answer, that carry a stranger, and that are bound
// without a child.
TEST(DetectControllers, AsksTheTouchDriverWhereThePortIsHeldAndLeavesTheOthersAlone)
{
    const TestMachine machine;
    TraceRecorder trace;
    const emulator::EmulatorPointer held = emulator::StartEmulator({});
    const emulator::EmulatorPointer silent = StartSilentEmulator();
    const emulator::EmulatorPointer other = emulator::StartEmulator({});
    HANDLE holder = OpenPort(TerminalPath(held.get()));
    const auto served = drivers::AddTouchDevice(
        u"SERENUM\\KVX7700\\A", {u"SERENUM\\KVX7700"}, AddPort(u"COM3", held.get()));
    served->answers = {{TOUCH_IDENTITY_A, 0}, {TOUCH_IDENTITY_B, 0x100}, {TOUCH_IDENTITY_C, 7},
        {TOUCH_MODEL, 0x7700}, {TOUCH_BAUD_RATE, 9600}};
    const auto nobody = drivers::AddTouchDevice(
        u"SERENUM\\KVX5460\\B", {u"SERENUM\\KVX5460"}, AddPort(u"COM4", held.get()));
    // nothing in the bytes that count
    nobody->answers
        = {{TOUCH_IDENTITY_A, 0x100}, {TOUCH_IDENTITY_B, 0}, {TOUCH_IDENTITY_C, 0x10000}};
    platform::PresentChild(AddPort(u"COM5", silent.get()), u"SERENUM\\KVX7700\\C");
    const DEVINST stranger = AddPort(u"COM6", other.get());
    platform::PresentChild(stranger, u"SERENUM\\MOUSE\\D");
    const DEVINST bound = AddBoundPort(u"COM7", other.get());
    platform::PresentChild(bound, u"");
    trace.texts.clear();

    Host host;
    EXPECT_EQ(host.Detect(PASS_DETECT), 0) << "no session was started";
    EXPECT_EQ(host.Controllers(),
        Texts{"model 7700, 5 bytes, 9600 baud, 0 bits, firmware 0.0.0, port 0, "
              "SERENUM\\KVX7700\\A, not running"});
    EXPECT_EQ(nobody->requests.size(), 7U);
    EXPECT_THAT(
        host.windows.texts, ElementsAre("Detecting COM3", "Detecting COM4", "Detecting COM5"));
    EXPECT_THAT(trace.texts, ElementsAre("Skip Detection on :", PathOf("COM7"), "\n"))
        << "and of all others not a word";
    EXPECT_EQ(platform::NodeOf(bound)->hooks.enumerations, 1);
    EXPECT_THAT(ReceivedCommands(other.get()), IsEmpty());

    host.Detect(PASS_REFRESH);
    EXPECT_EQ(platform::NodeOf(bound)->hooks.enumerations, 2);
    EXPECT_EQ(platform::NodeOf(stranger)->hooks.restarts, 0);
    EXPECT_EQ(platform::NodeOf(stranger)->hooks.enumerations, 0);
    CloseHandle(holder);
}

TEST(DetectControllers, RestartsAPortWhateverItsName)
{
    const std::u16string longest = u"COM4567890123456789012345678901";
    using Row = std::tuple<std::u16string, bool, const char*, int64_t>;
    for (const auto& [name, locked, status, alwaysExist] :
        {Row{longest, false, "Restarting COM45678901234567890", 0},
            Row{u"", false, "Restarting ", -1}, Row{u"COM3", true, "Restarting ", -1}}) {
        const TestMachine machine;
        const TraceRecorder trace;
        const DEVINST port = AddPort(name, nullptr);
        platform::PresentChild(port, u"SERENUM\\KVX7700\\A");
        platform::NodeOf(port)->hooks.hardwareKeyLocked = locked;
        Host host;
        host.Detect(PASS_REFRESH);
        EXPECT_THAT(host.windows.texts, ElementsAre(status));
        EXPECT_EQ(platform::NodeOf(port)->hooks.restarts, 1);
        EXPECT_EQ(RegistryNumber(ParametersOf(name), u"AlwaysExist"), alwaysExist);
        EXPECT_EQ(
            ReadTextFile("state/registry.ini").find("KXSERENUM\\Parameters") != std::string::npos,
            alwaysExist == 0)
            << "an empty name is the key above all ports' own";
    }
}

TEST(ReadPortNumber, BeginsAtTheFourthCharacter)
{
    using Row = std::pair<const char16_t*, uint32_t>;
    for (const auto& [name, number] : {Row{u"COM12", 12}, Row{u"XYZ7abc", 7}, Row{u"COM", 0},
             Row{u"COM-3", 0}, Row{u"COM:", 0}}) {
        const TestMachine machine;
        const DEVINST port = AddPort(name, nullptr);
        Element element(port);
        EXPECT_EQ(ReadPortNumber(element.devices, &element.data), number);
        platform::NodeOf(port)->hooks.hardwareKeyLocked = true;
        EXPECT_EQ(ReadPortNumber(element.devices, &element.data), 0U);
    }
}

} // namespace
} // namespace korvex

// Whole passes over a machine with emulated controllers: what they find, say, start and leave behind.

#include "discovery/detection_pass.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "discovery/enumerator_binding.h"
#include "drivers/enumerator_filter.h"
#include "drivers/touch_driver.h"
#include "host/host.h"
#include "input/session.h"
#include "link/driver_requests.h"
#include "platform/linux/core/text.h"
#include "platform/linux/machine.h"
#include "platform/linux/windows/window_headless.h"
#include "testing/recorders.h"
#include "testing/test_line.h"
#include "testing/test_machine.h"

namespace korvex {
namespace {

using emulator::EmulatorOptions;
using testing::ParametersOf;
using testing::RegistryNumber;
using testing::TestMachine;
using testing::TraceRecorder;
using Texts = std::vector<std::string>;

constexpr UINT RESULT_MESSAGE = WM_USER + 240;

Texts statusTexts; // of the status text window, in order

// A backend without a screen that keeps the texts.
const platform::WindowBackend* RecordingBackend()
{
    static const platform::WindowBackend backend = [] {
        platform::WindowBackend recording = *platform::HeadlessBackend();
        recording.changeText = [](const platform::WindowView* view) { statusTexts.push_back(platform::ToUtf8(view->text)); };
        return recording;
    }();
    return &backend;
}

// A host context with a status text and a notify target, as an entry has one; passes run on the test's own thread.
struct Host {
    HostContext* context;

    Host()
    {
        statusTexts.clear();
        platform::ThisMachine()->windowBackend = RecordingBackend();
        context = CreateHostContext(GetModuleHandleW(nullptr));
        context->statusText = CreateWindowExW(0, TEXT("STATIC"), TEXT(""), WS_CHILD, 0, 0, 300, 36, nullptr, nullptr, nullptr, nullptr);
        SetNotifyTarget(context->statusText, RESULT_MESSAGE);
    }
    ~Host()
    {
        HWND text = context->statusText;
        DestroyHostContext();
        DestroyWindow(text);
    }
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;

    // The result that a pass has posted; -1 when it has posted none.
    int64_t Result() const
    {
        PostMessageW(context->statusText, WM_USER, 0, 0); // so that the wait ends either way
        MSG message{};
        int64_t result = -1;
        while (GetMessageW(&message, nullptr, 0, 0) > 0 && message.message != WM_USER)
            result = message.message == RESULT_MESSAGE && message.lParam == 0 ? static_cast<int64_t>(message.wParam) : -2;
        return result;
    }

    std::vector<TouchController*> Controllers() const
    {
        std::vector<TouchController*> controllers;
        for (ListLinks* links = context->controllers.next; links != &context->controllers; links = links->next)
            controllers.push_back(RecordOf<TouchController>(links));
        return controllers;
    }
};

std::string PathOf(const std::string& port)
{
    return "\\\\?\\tty#serialport#" + port + "#{86e0d1e0-8089-11d0-9ce4-08003e301f73}";
}

DEVINST AddPort(const char16_t* name, const emulator::Emulator* emulator)
{
    return platform::AddSerialPort(name, emulator == nullptr ? "/dev/null" : TerminalPath(emulator), "pci-" + platform::ToUtf8(name));
}

TEST(DetectControllers, PostsItsResultAlsoWithoutAnyPort)
{
    const TestMachine machine;
    const TraceRecorder trace;
    const Host host;
    DetectControllers(host.context, PASS_REFRESH);
    EXPECT_EQ(host.Result(), -1);
    DetectControllers(host.context, PASS_DETECT);
    EXPECT_EQ(host.Result(), 0);
    SetEvent(host.context->stopEvent);
    DetectControllers(host.context, PASS_DETECT);
    EXPECT_EQ(host.Result(), -1) << "a stopped pass posts nothing";
}

// Two new controllers, a silent line and a port that does not open; then the same machine again, with what the first run left.
TEST(DetectControllers, FindsBindsAndStartsNewControllersAndKnowsThemTheNextTime)
{
    const TestMachine machine;
    testing::WriteTextFile("Korvex.ini", "[Calibration]\n");
    drivers::RegisterEnumeratorFilter();
    EmulatorOptions seven;
    seven.model = 0x7700;
    seven.baudRate = 9600;
    const emulator::EmulatorPointer first = emulator::StartEmulator(seven);
    const emulator::EmulatorPointer silent = emulator::StartEmulator({});
    AddAnswerFault(silent.get(), {emulator::AnswerFaultKind::SILENCE});
    const emulator::EmulatorPointer second = emulator::StartEmulator({});
    AddPort(u"COM3", first.get());
    AddPort(u"COM12", silent.get());
    const DEVINST third = AddPort(u"COM4", second.get());
    AddPort(u"COM5", nullptr);
    {
        TraceRecorder trace;
        const Host host;
        DetectControllers(host.context, PASS_DETECT);
        EXPECT_EQ(host.Result(), 1);
        EXPECT_EQ(statusTexts, (Texts{"Detecting COM3", "Detecting COM12", "Detecting COM4"}));
        const std::string installed = "\nEnum Driver has already been installed !\n";
        EXPECT_EQ(trace.texts,
            (Texts{"Start Detect : " + PathOf("COM3") + "\n", "Korvex 7700 Found!!\n", installed,
                "Get Child Device ID : SERENUM\\KVX7700\\COM3\n", "Load File Settings\n", "Start Detect : " + PathOf("COM12") + "\n",
                "No Device Found!!\n", "Start Detect : " + PathOf("COM4") + "\n", "Korvex 5200 Found!!\n", installed,
                "Get Child Device ID : SERENUM\\KVX5200\\COM4\n", "Load File Settings\n", "Create File Error!!\n"}));
        const std::vector<TouchController*> controllers = host.Controllers();
        ASSERT_EQ(controllers.size(), 2U);
        EXPECT_EQ(controllers[0]->model, MODEL_7700);
        EXPECT_EQ(controllers[0]->link.portNumber, 3U);
        EXPECT_EQ(controllers[1]->model, MODEL_5200);
        EXPECT_EQ(platform::ToUtf8(controllers[1]->deviceId), "SERENUM\\KVX5200\\COM4");
        EXPECT_EQ(controllers[1]->running, 1);
        // The failed probe has closed its port: another program can have it.
        HANDLE freed = testing::OpenPort(TerminalPath(silent.get()));
        EXPECT_NE(freed, INVALID_HANDLE_VALUE);
        CloseHandle(freed);
    }
    TraceRecorder trace;
    const Host host;
    const size_t commandsBefore = ReceivedCommands(silent.get()).size();
    DetectControllers(host.context, PASS_REFRESH);
    EXPECT_EQ(host.Result(), -1);
    EXPECT_EQ(statusTexts, (Texts{"Restarting COM3", "Restarting COM4"}));
    EXPECT_EQ(trace.texts, (Texts{"Skip Detection on :", PathOf("COM12"), "\n", "Skip Detection on :", PathOf("COM5"), "\n"}));
    EXPECT_EQ(RegistryNumber(ParametersOf(u"COM4"), u"AlwaysExist"), 0);
    EXPECT_EQ(RegistryNumber(ParametersOf(u"COM4"), u"Model"), 0x5200);
    EXPECT_EQ(platform::RestartsOf(third), 2);
    EXPECT_EQ(ReceivedCommands(silent.get()).size(), commandsBefore) << "a refresh opens no port";

    trace.texts.clear();
    statusTexts.clear();
    DetectControllers(host.context, PASS_DETECT);
    EXPECT_EQ(host.Result(), 1);
    EXPECT_EQ(statusTexts, (Texts{"Detecting COM3", "Detecting COM12", "Detecting COM4"}));
    EXPECT_EQ(trace.texts.front(), "Detect Korvex 7700 with Baud Rate 9600\nFirmware Version : 7700.1.2.3\n");
    EXPECT_EQ(host.Controllers().size(), 2U);
    EXPECT_EQ(host.Controllers()[0]->reportLength, 5U);
}

// What stands on a bound port may have been exchanged since: the refresh finds out, and the same run probes afresh.
TEST(DetectControllers, NoticesAnExchangedController)
{
    struct Row {
        EmulatorOptions now;
        bool answers;
        uint32_t model;
    };
    EmulatorOptions slower;
    slower.baudRate = 9600;
    EmulatorOptions seven;
    seven.model = 0x7700;
    for (const Row& row : {Row{seven, true, MODEL_7700}, Row{slower, true, MODEL_5200}, Row{{}, false, 0}}) {
        const TestMachine machine;
        testing::WriteTextFile("Korvex.ini", "[Calibration]\n");
        drivers::RegisterEnumeratorFilter();
        const TraceRecorder trace;
        const emulator::EmulatorPointer emulator = emulator::StartEmulator(row.now);
        if (!row.answers)
            AddAnswerFault(emulator.get(), {emulator::AnswerFaultKind::SILENCE});
        const DEVINST port = AddPort(u"COM3", emulator.get());
        // As a run with a 0x5200 at 19200 baud has left it.
        const testing::ControllerPointer before(CreateController());
        before->model = MODEL_5200;
        before->link.baudRate = 19200;
        {
            testing::Element element(port);
            BindEnumerator(before.get(), element.devices, &element.data);
        }
        ASSERT_NE(before->deviceId, nullptr);
        const Host host;
        DetectControllers(host.context, PASS_REFRESH);
        EXPECT_TRUE(platform::ChildrenOf(port).empty());
        EXPECT_NE(platform::StatusOf(port) & DN_HAS_PROBLEM, 0U);
        DetectControllers(host.context, PASS_DETECT);
        EXPECT_EQ(host.Result(), row.answers ? 1 : 0);
        ASSERT_EQ(host.Controllers().size(), row.answers ? 1U : 0U);
        EXPECT_EQ(RegistryNumber(ParametersOf(u"COM3"), u"Model"), row.answers ? row.model : 0x5200);
        EXPECT_EQ(RegistryNumber(ParametersOf(u"COM3"), u"BaudRate"), row.answers ? row.now.baudRate : 19200);
        EXPECT_EQ(platform::StatusOf(port) & DN_HAS_PROBLEM, row.answers ? 0U : DN_HAS_PROBLEM);
    }
}

TEST(DetectControllers, AsksTheTouchDriverWhereThePortIsHeldAndLeavesStrangersAlone)
{
    const TestMachine machine;
    TraceRecorder trace;
    const emulator::EmulatorPointer emulator = emulator::StartEmulator({});
    HANDLE holder = testing::OpenPort(TerminalPath(emulator.get()));
    const auto served = drivers::AddTouchDevice(u"SERENUM\\KVX7700\\A", {u"SERENUM\\KVX7700"}, AddPort(u"COM3", emulator.get()));
    served->answers
        = {{TOUCH_IDENTITY_A, 0}, {TOUCH_IDENTITY_B, 0x100}, {TOUCH_IDENTITY_C, 7}, {TOUCH_MODEL, 0x7700}, {TOUCH_BAUD_RATE, 9600}};
    const auto nobody = drivers::AddTouchDevice(u"SERENUM\\KVX5460\\B", {u"SERENUM\\KVX5460"}, AddPort(u"COM4", emulator.get()));
    nobody->answers = {{TOUCH_IDENTITY_A, 0x100}, {TOUCH_IDENTITY_B, 0}, {TOUCH_IDENTITY_C, 0x10000}}; // nothing in the bytes that count
    platform::PresentChild(AddPort(u"COM5", emulator.get()), u"SERENUM\\MOUSE\\C");

    const Host host;
    DetectControllers(host.context, PASS_DETECT);
    EXPECT_EQ(host.Result(), 0) << "no session was started";
    ASSERT_EQ(host.Controllers().size(), 1U);
    const TouchController* controller = host.Controllers()[0];
    EXPECT_EQ(controller->usbInfoC, 7);
    EXPECT_EQ(controller->reportLength, 5U);
    EXPECT_EQ(controller->link.kind, LINK_NONE);
    EXPECT_EQ(controller->link.baudRate, 9600U);
    EXPECT_EQ(controller->readerThread, nullptr);
    EXPECT_EQ(nobody->requests.size(), 7U);
    EXPECT_TRUE(trace.texts.empty());
    EXPECT_EQ(statusTexts, (Texts{"Detecting COM3", "Detecting COM4"}));
    CloseHandle(holder);
}

TEST(DetectControllers, DiscardsAChildThatDoesNotAnswerWithoutAWord)
{
    const TestMachine machine;
    TraceRecorder trace;
    const emulator::EmulatorPointer emulator = emulator::StartEmulator({});
    AddAnswerFault(emulator.get(), {emulator::AnswerFaultKind::SILENCE});
    platform::PresentChild(AddPort(u"COM3", emulator.get()), u"SERENUM\\KVX7700\\A");
    const Host host;
    DetectControllers(host.context, PASS_DETECT);
    EXPECT_EQ(host.Result(), 0);
    EXPECT_TRUE(host.Controllers().empty());
    EXPECT_TRUE(trace.texts.empty());
}

TEST(ReadPortNumber, BeginsAtTheFourthCharacter)
{
    struct Row {
        const char16_t* name;
        uint32_t number;
    };
    for (const Row& row :
        {Row{u"COM12", 12}, Row{u"XYZ7abc", 7}, Row{u"COM", 0}, Row{u"CO", 0}, Row{u"COM-3", 0}, Row{u"COMx", 0}, Row{u"", 0}}) {
        const TestMachine machine;
        testing::Element element(platform::AddSerialPort(row.name, "/dev/null", "pci-1"));
        EXPECT_EQ(ReadPortNumber(element.devices, &element.data), row.number);
    }
    const TestMachine machine;
    const DEVINST locked = platform::AddSerialPort(u"COM3", "/dev/null", "pci-1");
    platform::LockHardwareKey(locked);
    testing::Element element(locked);
    EXPECT_EQ(ReadPortNumber(element.devices, &element.data), 0U);
}

} // namespace
} // namespace korvex

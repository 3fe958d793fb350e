#include "runtime/port_return.h"

#include <thread>

#include "input/session.h"
#include "link/command_protocol.h"
#include "link/port_link.h"
#include "testing/command.h"
#include "testing/recorders.h"

namespace korvex {
namespace {

using command::ReturnedPort;
using std::chrono::steady_clock;

// A session whose adapter is pulled out, and put back with the same or another controller.
struct SessionOnAdapter : PanelFolder {
    TraceRecorder trace;
    InputRecorder recorder;
    ReturnedPort returned{};
    ControllerPointer controller{CreateController()};
    std::thread finger;

    // Identified, or driven by its stored model where it does not answer a command (`silentCode`).
    explicit SessionOnAdapter(const EmulatorOptions& options, int silentCode, bool asks = true,
        uint32_t byteTimeoutMs = 10)
        : PanelFolder(StartSilentEmulator(options, silentCode))
    {
        const auto decide = [](TouchController* driven, ReadResult result, const Packet* report) {
            return DecidePortReturn(
                static_cast<ReturnedPort*>(driven->handlerData), driven, result, report);
        };
        if (asks)
            SetHostHandlers({.portReturned = decide});
        controller->handlerData = &returned;
        LinkInit(&controller->link, OpenPort("panel"), LINK_SERIAL, 0);
        controller->link.byteTimeoutMs = byteTimeoutMs;
        if (!IdentifyController(controller.get())) {
            controller->model = options.model;
            controller->reportLength = ReportLengthOf(options.model);
            EXPECT_TRUE(ProbeBaud(controller.get()));
            QueryFirmwareVersion(controller.get());
        }
        EXPECT_TRUE(StartSession(controller.get()));
        EXPECT_TRUE(AwaitReader(controller.get()));
    }
    ~SessionOnAdapter()
    {
        if (finger.joinable())
            finger.join();
        StopSession(controller.get());
        SetHostHandlers({});
    }

    // Replaces the controller, with a finger on the panel for so long from before on. The
    // time of the return.
    steady_clock::time_point Return(EmulatorPointer next, milliseconds touch)
    {
        panel = std::move(next);
        EXPECT_TRUE(WaitUntil([this] { return controller->portGone == 1; }));
        finger = std::thread([this, touch] { PressAt(panel.get(), 10, 10, touch); });
        PlaceLink("panel", panel.get());
        return steady_clock::now();
    }

    // How often it was asked as a 6-byte controller at its rate.
    ptrdiff_t Askings() const
    {
        const auto commands = ReceivedCommands(panel.get());
        return std::count_if(commands.begin(), commands.end(), [](const auto& command) {
            return command.bytes.front() == COMMAND_WAKE && command.bytes.size() == 6
                && command.baudRate == 19200;
        });
    }
};

constexpr milliseconds FINGER{800};

TEST(PortReturn, KeepsItsControllerWhateverThatLeavesUnanswered)
{
    // and the command that it does not answer, before and after
    for (const auto& [options, silentCode] : std::vector<std::pair<EmulatorOptions, int>>{{{}, 0},
             {{}, COMMAND_RESOLUTION}, {{}, COMMAND_FIRMWARE_IDENTITY},
             {{}, COMMAND_FIRMWARE_VERSION}, {{.resolutionBits = 12}, 0},
             {{.modelNumber = 5460, .resolutionBits = 12}, 0}, {{.model = 0x7700}, 0}}) {
        SessionOnAdapter session(options, silentCode);
        const auto start = session.Return(StartSilentEmulator(options, silentCode), FINGER);
        ASSERT_FALSE(session.recorder.WaitFor(1).empty()) << options.model << ' ' << silentCode;
        EXPECT_LT(steady_clock::now() - start, milliseconds(1000));
        session.finger.join();
        EXPECT_TRUE(AwaitReader(session.controller.get())) << "it asks nothing any more";
        EXPECT_EQ(session.recorder.WaitFor(0).back().flags, RELEASE);
        EXPECT_EQ(session.controller->portGone, 0);
    }
}

TEST(PortReturn, EndsTheSessionForAnotherControllerWithoutAnInput)
{
    for (const auto& [before, after] :
        {std::pair<EmulatorOptions, EmulatorOptions>{{}, {.model = 0x5460}},
            {{.model = 0x5460}, {}}, {{}, {.resolutionBits = 12}}, {{}, {.baudRate = 9600}},
            {{}, {.model = 0x7700}}}) {
        SessionOnAdapter session(before, 0, true, PATIENT_BYTE_TIMEOUT_MS);
        session.Return(StartEmulator(after), FINGER);
        EXPECT_EQ(WaitForSingleObject(session.controller->readerThread, 20000), WAIT_OBJECT_0)
            << after.model << ' ' << after.baudRate << ' ' << after.resolutionBits;
        session.finger.join();
        EXPECT_THAT(session.recorder.WaitFor(0), ElementsAre());
    }
}

// Where no program decides, as in the library's entries. A loss within a report ends the touch too.
TEST(PortReturn, AsksNothingWithoutAHandler)
{
    SessionOnAdapter session({}, 0, false);
    const auto start = session.Return(StartEmulator({}), FINGER);
    ASSERT_FALSE(session.recorder.WaitFor(1).empty());
    EXPECT_LT(steady_clock::now() - start, milliseconds(1000));
    session.finger.join();
    TouchAt(session.panel.get(), 50, 50);
    SendBytes(session.panel.get(), {0x70, 0});
    EXPECT_TRUE(ReceivedCommands(session.panel.get()).empty());
    session.Return(StartEmulator({}), milliseconds(0));
    EXPECT_EQ(session.recorder.WaitFor(0).back().flags, RELEASE);
}

// Asked at once, after the touch that was there, and once after 2 s of silence.
TEST(PortReturn, DrivesAControllerThatAnswersNothingFromItsFirstWholeTouchOn)
{
    SessionOnAdapter session({}, 0);
    const auto start = session.Return(StartSilentEmulator(), milliseconds(600));
    session.finger.join();
    EXPECT_THAT(session.recorder.WaitFor(0), ElementsAre()) << "it was there already";
    while (session.recorder.WaitFor(0).empty() && steady_clock::now() - start < milliseconds(1500))
        PressAt(session.panel.get(), 75, 75, milliseconds(50));
    ASSERT_FALSE(session.recorder.WaitFor(0).empty()) << "within 1.5 s of the return";
    EXPECT_EQ(session.recorder.WaitFor(0).front().dx, 49151) << "nothing of the touch before";
    EXPECT_EQ(session.controller->portGone, 0);
    const ptrdiff_t asked = session.Askings();
    EXPECT_TRUE(AwaitReader(session.controller.get()));
    EXPECT_EQ(session.Askings(), asked + 2) << "with the search for any controller";
    DCB line{};
    GetCommState(session.controller->link.handle, &line);
    EXPECT_EQ(line.BaudRate, 19200U) << "its reports can be read";
    EXPECT_GE(steady_clock::now() - start, milliseconds(2000));
    const size_t inputs = session.recorder.WaitFor(0).size();
    TouchAt(session.panel.get(), 25, 25);
    EXPECT_EQ(session.recorder.WaitFor(inputs + 1).size(), inputs + 1);
    EXPECT_TRUE(AwaitReader(session.controller.get())) << "at once: it is not asked again";
    EXPECT_EQ(session.Askings(), asked + 2);
}

} // namespace
} // namespace korvex

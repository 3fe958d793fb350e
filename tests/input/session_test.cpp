#include "input/session.h"

#include <ctime>

#include "link/port_link.h"
#include "platform/linux/machine.h"
#include "testing/test_line.h"
#include "testing/testing.h"

namespace korvex {
namespace {

// the standard box is the whole raw span
constexpr const char* PLAIN_SETTINGS = "[Calibration]\nSTD_MAX_X=1024\nSTD_MAX_Y=1024\n";

// A session on an emulated controller, in a folder with these settings; stopped at the end of the
// scope.
struct RunningSession {
    TemporaryFolder folder;
    TraceRecorder trace;
    InputRecorder recorder;
    TestLine line;
    emulator::Emulator* panel;
    TouchController* controller;
    size_t sent = 0;                 // bytes, through Send
    std::atomic<size_t> received{0}; // bytes that have come
    // bytes at whose coming `running` is cleared, by the reader's own thread; 0: never
    std::atomic<size_t> endAt{0};

    explicit RunningSession(uint32_t model = MODEL_5200, const char* settings = PLAIN_SETTINGS,
        uint32_t byteTimeoutMs = 10)
        : line({model})
        , panel(line.emulator.get())
        , controller(line.controller.get())
    {
        WriteTextFile("Korvex.ini", settings);
        line.Know(model);
        platform::ThisMachine()->handlers.lineBytes = [this](platform::LineDirection direction,
                                                          const uint8_t* /*bytes*/, size_t count) {
            if (direction == platform::LineDirection::RECEIVED && (received += count) == endAt)
                controller->running = 0;
        };
        controller->link.byteTimeoutMs = byteTimeoutMs;
        EXPECT_TRUE(StartSession(controller));
        received = 0;
    }
    ~RunningSession()
    {
        StopSession(controller);
        platform::ThisMachine()->handlers.lineBytes = nullptr;
    }

    void Send(const emulator::Bytes& bytes)
    {
        sent += bytes.size();
        SendBytes(panel, bytes);
    }

    // Waits until the reader has taken all that was sent and sleeps again.
    void Settle() const
    {
        EXPECT_TRUE(WaitUntil([this] { return received >= sent; }));
        EXPECT_TRUE(AwaitReader(controller));
    }

    DWORD ExitCode() const
    {
        DWORD code = 99;
        GetExitCodeThread(controller->readerThread, &code);
        return code;
    }

    // Its inputs so far, after waiting for as many, are these.
    void Expect(const std::vector<SentInput>& inputs)
    {
        EXPECT_EQ(recorder.WaitFor(inputs.size()), inputs);
    }
};

// Cut to 32 bits.
uint32_t MillisecondsSince1601()
{
    const auto since1970 = std::chrono::system_clock::now().time_since_epoch();
    return static_cast<uint32_t>(
        std::chrono::duration_cast<milliseconds>(since1970).count() + 11644473600000);
}

size_t CountEntries(const char* folder)
{
    const std::filesystem::directory_iterator entries(folder);
    return static_cast<size_t>(std::distance(begin(entries), end(entries)));
}

TEST(Session, TurnsGesturesIntoInputInOrder)
{
    for (const uint32_t model : {MODEL_5200, MODEL_5460, MODEL_7700}) {
        RunningSession session(model);
        const uint32_t before = MillisecondsSince1601();
        SendReport(session.panel, false, 1, 2); // no contact, none before
        TouchAt(session.panel, 25, 25);
        DragTo(session.panel, 75, 50, 2);
        Lift(session.panel);
        std::vector<SentInput> expected{{16383, 16383, PRESS}, {32767, 24575, MOVE},
            {49151, 32767, MOVE}, {49151, 32767, RELEASE}};
        session.Expect(expected);
        SendReport(session.panel, false, 1023, 512);
        ReportSnapshot snapshot{};
        EXPECT_TRUE(WaitUntil([&] {
            return TakeSnapshot(session.controller, &snapshot) && snapshot.lastX == 65471;
        })) << "what is not injected is recorded too";
        EXPECT_EQ(snapshot.lastY, 32767);
        EXPECT_EQ(snapshot.lastStatus, model == MODEL_7700 ? 0xBFU : 0x30U);
        EXPECT_LE(snapshot.lastReportMs - before, MillisecondsSince1601() - before);
        TouchAt(session.panel, 0, 0); // the next touch starts again
        expected.push_back({0, 0, PRESS});
        session.Expect(expected);
    }
}

TEST(Session, MapsWithTheModeThatIsSetAndInjectsOnlyWhileThatIsEnabled)
{
    const std::string settings = "[Calibration]\nMode=9\n" + PointLines(TargetsOf(9));
    RunningSession session(MODEL_5200, settings.c_str());
    TouchAt(session.panel, 0, 0); // beyond the screen, sent unchanged
    session.recorder.WaitFor(1);
    session.controller->injectEnabled = 0;
    TouchAt(session.panel, 50, 50);
    EXPECT_TRUE(WaitUntil([&] { return session.controller->counters.reports == 2; }));
    EXPECT_TRUE(AwaitReader(session.controller));
    session.controller->injectEnabled = 1;
    SetMapMode(session.controller, 0);
    TouchAt(session.panel, 25, 25);
    session.Expect({{-6543, -6543, PRESS}, {16383, 16383, MOVE}});
}

TEST(StopSession, EndsASilentReaderWithinItsLimitAlsoWhereNoWaitCanBeCancelled)
{
    for (const bool canCancel : {true, false}) {
        platform::ThisMachine()->tests.hasCancelSynchronousIo = canCancel;
        RunningSession session;
        AwaitReader(session.controller);
        EXPECT_LT(TimeOf([&] { StopSession(session.controller); }).count(), 200);
        EXPECT_TRUE(HasReaderEnded(session.controller));
        EXPECT_EQ(session.ExitCode(), 0U) << "its last read failed";
    }
    platform::ThisMachine()->tests.hasCancelSynchronousIo = true;
}

// The reader is inside the report when `running` is cleared, and no cancellation takes the report
// from it.
TEST(StopSession, DropsTheReportThatIsBeingRead)
{
    RunningSession session(MODEL_5200, PLAIN_SETTINGS, 1000);
    TouchAt(session.panel, 50, 50);
    session.recorder.WaitFor(1);
    const emulator::Bytes report = ReportOf(session.panel, true, 512, 512);
    session.endAt = 2 * report.size();
    SendBytes(session.panel, {report.begin(), report.begin() + 3});
    EXPECT_TRUE(WaitUntil([&] { return session.received == report.size() + 3; }));
    SendBytes(session.panel, {report.begin() + 3, report.end()});
    EXPECT_EQ(WaitForSingleObject(session.controller->readerThread, 5000), WAIT_OBJECT_0);
    session.Expect({{32767, 32767, PRESS}, {32767, 32767, RELEASE}});
    EXPECT_EQ(session.ExitCode(), 1U) << "its last read succeeded";
    EXPECT_EQ(session.controller->counters.reports, 2U);
    EXPECT_EQ(session.controller->counters.inputs, 2U);
    EXPECT_EQ(session.controller->counters.failedWaits, 0U);
}

TEST(Session, NeitherSpinsNorBlocksAStopWithinAHangUp)
{
    RunningSession session;
    TouchAt(session.panel, 25, 25);
    session.recorder.WaitFor(1);
    AwaitReader(session.controller);
    HangUp(session.panel);
    const std::vector<SentInput> released{{16383, 16383, PRESS}, {16383, 16383, RELEASE}};
    session.Expect(released); // no button stays pressed when the port is gone
    const clock_t before = clock();
    std::this_thread::sleep_for(milliseconds(500));
    EXPECT_LT(clock() - before, CLOCKS_PER_SEC / 20) << "of CPU time in half a second";
    EXPECT_LT(TimeOf([&] { StopSession(session.controller); }).count(), 50);
    EXPECT_TRUE(HasReaderEnded(session.controller));
    EXPECT_EQ(WaitForSingleObject(session.controller->wakeEvent, 0), WAIT_OBJECT_0)
        << "for whoever else waits on its thread, though it has ended a pause";
    EXPECT_EQ(session.recorder.WaitFor(0), released) << "once";
    EXPECT_GT(session.controller->counters.failedWaits, 2U);
    // Reads that fail with another error, as those of Windows' drivers do.
    const ControllerPointer failing = Unconnected();
    LinkInit(&failing->link, CreateEventW(nullptr, TRUE, FALSE, nullptr), LINK_SERIAL, 1);
    ASSERT_TRUE(StartSession(failing.get()));
    EXPECT_TRUE(WaitUntil([&] { return failing->counters.failedWaits > 1; }));
    StopSession(failing.get());
}

// As on a driver that knows no wait: what a finger does not say for a while is no end of its touch.
TEST(Session, KeepsATouchOnAPortWhoseWaitsFailButWhoseReadsWork)
{
    RunningSession session;
    AwaitReader(session.controller);
    SetCommMask(session.controller->link.handle, 0);
    TouchAt(session.panel, 25, 25);
    session.recorder.WaitFor(1);
    std::this_thread::sleep_for(milliseconds(250)); // four silent reads and their failed waits
    TouchAt(session.panel, 50, 50);
    session.Expect({{16383, 16383, PRESS}, {32767, 32767, MOVE}});
    EXPECT_EQ(session.controller->counters.failedWaits, 0U);
    SetCommMask(session.controller->link.handle, EV_RXCHAR);
}

TEST(Session, LeaksNothingOverAThousandStartsAndStops)
{
    const TemporaryFolder folder;
    WriteTextFile("Korvex.ini", PLAIN_SETTINGS);
    const TraceRecorder trace;
    InputRecorder recorder;
    const emulator::EmulatorPointer emulator = emulator::StartEmulator({});
    const auto runOnce = [&](int round) {
        const ControllerPointer controller = Unconnected();
        ASSERT_TRUE(
            LinkInit(&controller->link, OpenPort(TerminalPath(emulator.get())), LINK_SERIAL, 1));
        ASSERT_TRUE(StartSession(controller.get()));
        if (round % 3 == 0)
            SendReport(emulator.get(), true, 1, 1);
        StopSession(controller.get());
        ASSERT_TRUE(HasReaderEnded(controller.get()));
    };
    runOnce(0);
    const size_t descriptors = CountEntries("/proc/self/fd");
    const size_t threads = CountEntries("/proc/self/task");
    for (int round = 0; round < 1000; ++round)
        runOnce(round);
    EXPECT_EQ(CountEntries("/proc/self/fd"), descriptors);
    EXPECT_TRUE(WaitUntil([threads] { return CountEntries("/proc/self/task") <= threads; }))
        << "a joined one can be listed for a moment";
}

// A line that pauses anywhere, within a report or within what the reader drops to find one, leaves
// no whole report waiting for the next byte: it is injected although nothing follows it.
TEST(Session, LeavesNoWholeReportWaitingWhereverTheLinePauses)
{
    RunningSession session;
    const emulator::Bytes whole = ReportOf(session.panel, true, 512, 512);
    // half a report, strays, and a status byte alone
    emulator::Bytes stream{0x70, 0x00, 0x01, 0x13, 0x13, 0x70, 0x13};
    stream.insert(stream.end(), whole.begin(), whole.end());
    // A pause of 5 ms, or one until the reader is back in its wait.
    for (const auto& [bytes, gaveUp] :
        {std::pair{whole, false}, std::pair{whole, true}, std::pair{stream, true}}) {
        for (auto cut = bytes.begin() + 1; cut != bytes.end(); ++cut) {
            session.Send({bytes.begin(), cut});
            if (gaveUp)
                session.Settle();
            else
                std::this_thread::sleep_for(milliseconds(5));
            session.Send({cut, bytes.end()});
            session.Settle();
            const size_t before = session.recorder.WaitFor(0).size();
            session.Send(whole);
            session.Settle();
            EXPECT_EQ(session.recorder.WaitFor(before + 1).size(), before + 1)
                << "cut at " << cut - bytes.begin();
        }
    }
}

} // namespace
} // namespace korvex

#include "input/session.h"

#include <sys/resource.h>
#include <unistd.h>

#include <ctime>

#include "platform/linux/machine.h"
#include "support/millisecond_clock.h"
#include "testing/process.h"
#include "testing/recorders.h"
#include "testing/temporary_folder.h"
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
        platform::ThisMachine()->observers.lineBytes = [this](platform::LineDirection direction,
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
        platform::ThisMachine()->observers.lineBytes = nullptr;
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
};

size_t CountEntries(const char* folder)
{
    const std::filesystem::directory_iterator entries(folder);
    return static_cast<size_t>(std::distance(begin(entries), end(entries)));
}

TEST(Session, TurnsGesturesIntoInputInOrder)
{
    for (const uint32_t model : {MODEL_5200, MODEL_5460, MODEL_7700}) {
        RunningSession session(model);
        const uint32_t before = NowMs();
        SendReport(session.panel, false, 1, 2); // no contact, none before
        TouchAt(session.panel, 25, 25);
        DragTo(session.panel, 75, 50, 2);
        Lift(session.panel);
        const std::vector<SentInput> expected{{16383, 16383, PRESS}, {32767, 24575, MOVE},
            {49151, 32767, MOVE}, {49151, 32767, RELEASE}, {0, 0, PRESS}};
        EXPECT_THAT(
            session.recorder.WaitFor(4), ElementsAreArray(expected.begin(), expected.end() - 1));
        SendReport(session.panel, false, 1023, 512);
        ReportSnapshot snapshot{};
        EXPECT_TRUE(WaitUntil([&] {
            return TakeSnapshot(session.controller, &snapshot) && snapshot.lastX == 65471;
        })) << "what is not injected is recorded too";
        EXPECT_EQ(snapshot.lastY, 32767);
        EXPECT_EQ(snapshot.lastStatus, model == MODEL_7700 ? 0xBFU : 0x30U);
        EXPECT_LE(snapshot.lastReportMs - before, NowMs() - before);
        TouchAt(session.panel, 0, 0); // the next touch begins anew
        EXPECT_EQ(session.recorder.WaitFor(expected.size()), expected);
    }
}

TEST(Session, MapsWithTheModeThatIsSetAndInjectsOnlyWhileThatIsEnabled)
{
    const std::string settings = "[Calibration]\nMode=9\n" + PointLines(TargetsOf(9));
    RunningSession session(MODEL_5200, settings.c_str());
    TouchAt(session.panel, 0, 0); // beyond the screen, which is sent as it is
    session.recorder.WaitFor(1);
    session.controller->injectEnabled = 0;
    TouchAt(session.panel, 50, 50);
    EXPECT_TRUE(WaitUntil([&] { return session.controller->counters.reports == 2; }));
    EXPECT_TRUE(AwaitReader(session.controller));
    session.controller->injectEnabled = 1;
    SetMapMode(session.controller, 0);
    TouchAt(session.panel, 25, 25);
    EXPECT_THAT(session.recorder.WaitFor(2),
        ElementsAre(SentInput{-6543, -6543, PRESS}, SentInput{16383, 16383, MOVE}));
}

TEST(StopSession, EndsASilentReaderWithinItsLimitAlsoWhereNoWaitCanBeCancelled)
{
    for (const bool canCancel : {true, false}) {
        platform::ThisMachine()->tests.hasCancelSynchronousIo = canCancel;
        RunningSession session;
        AwaitReader(session.controller);
        EXPECT_LT(TimeOf([&] { StopSession(session.controller); }).count(), canCancel ? 50 : 200);
        EXPECT_TRUE(HasReaderEnded(session.controller));
        EXPECT_EQ(session.ExitCode(), 0U) << "its last read failed";
        EXPECT_LT(TimeOf([&] { StopSession(session.controller); }).count(), 50)
            << "a second stop has nothing to wait for";
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
    EXPECT_THAT(session.recorder.WaitFor(2),
        ElementsAre(SentInput{32767, 32767, PRESS}, SentInput{32767, 32767, RELEASE}));
    EXPECT_EQ(session.ExitCode(), 1U) << "its last read succeeded";
    EXPECT_EQ(session.controller->counters.reports, 2U);
    EXPECT_EQ(session.controller->counters.inputs, 2U);
    EXPECT_EQ(session.controller->counters.failedWaits, 0U);
}

TEST(StopSession, EndsAChatteringReaderWithinOneReport)
{
    RunningSession session;
    std::atomic<bool> done{false};
    std::thread finger([&] {
        while (!done) {
            TouchAt(session.panel, 50, 50);
            std::this_thread::sleep_for(milliseconds(3));
        }
    });
    session.recorder.WaitFor(20);
    EXPECT_LT(TimeOf([&] { StopSession(session.controller); }).count(), 50);
    const size_t atStop = session.recorder.inputs.size();
    done = true;
    finger.join();
    EXPECT_EQ(session.recorder.inputs.size(), atStop) << "nothing is injected after the stop";
}

TEST(Session, NeitherSpinsNorBlocksAStopWithinAHangUp)
{
    RunningSession session;
    TouchAt(session.panel, 25, 25);
    session.recorder.WaitFor(1);
    AwaitReader(session.controller);
    HangUp(session.panel);
    EXPECT_THAT(session.recorder.WaitFor(2),
        ElementsAre(SentInput{16383, 16383, PRESS}, SentInput{16383, 16383, RELEASE}))
        << "no button stays pressed behind the port";
    const clock_t before = clock();
    std::this_thread::sleep_for(milliseconds(500));
    EXPECT_LT(clock() - before, CLOCKS_PER_SEC / 20) << "of CPU time in half a second";
    EXPECT_LT(TimeOf([&] { StopSession(session.controller); }).count(), 50);
    EXPECT_TRUE(HasReaderEnded(session.controller));
    EXPECT_EQ(session.recorder.WaitFor(0).size(), 2U) << "released once";
    EXPECT_GT(session.controller->counters.failedWaits, 2U);
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
    EXPECT_THAT(session.recorder.WaitFor(2),
        ElementsAre(SentInput{16383, 16383, PRESS}, SentInput{32767, 32767, MOVE}));
    EXPECT_EQ(session.controller->counters.failedWaits, 0U);
    SetCommMask(session.controller->link.handle, EV_RXCHAR);
}

// In a child process whose user may start no further thread.
TEST(StartSession, ReportsAThreadThatCannotBeCreated)
{
    const TemporaryFolder folder;
    std::filesystem::permissions(folder.path, std::filesystem::perms::all);
    const auto refused = [] {
        const TraceRecorder trace;
        if (geteuid() == 0
            && (setresgid(65534, 65534, 65534) != 0 || setresuid(65534, 65534, 65534) != 0))
            _exit(10);
        const rlimit none{0, 0};
        setrlimit(RLIMIT_NPROC, &none);
        TouchController* controller = CreateController();
        controller->model = MODEL_5460;
        if (StartSession(controller) || controller->running != 1
            || controller->readerThread != nullptr)
            _exit(11);
        const milliseconds taken = TimeOf([controller] { StopSession(controller); });
        if (taken.count() < 1990 || taken.count() > 2500)
            _exit(12);
        _exit(HasReaderEnded(controller) ? 0 : 13);
    };
    EXPECT_EXIT(refused(), ExitedWithCode(0), "");
}

TEST(Session, LeaksNothingOverAThousandStartsAndStops)
{
    const TemporaryFolder folder;
    WriteTextFile("Korvex.ini", PLAIN_SETTINGS);
    const TraceRecorder trace;
    InputRecorder recorder;
    const emulator::EmulatorPointer emulator = emulator::StartEmulator({});
    const auto runOnce = [&](int round) {
        const ControllerPointer controller(CreateController());
        controller->link = {LINK_SERIAL, OpenPort(TerminalPath(emulator.get())), 1, 10, 19200};
        ASSERT_NE(controller->link.handle, INVALID_HANDLE_VALUE);
        SetCommMask(controller->link.handle, EV_RXCHAR);
        controller->model = MODEL_5460;
        controller->reportLength = 6;
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

// Many at once: all are told first, and the last one's wait ends as soon as the first one's.
TEST(StopSession, EndsManySessionsWithinOneDeadline)
{
    const TemporaryFolder folder;
    WriteTextFile("Korvex.ini", PLAIN_SETTINGS);
    const TraceRecorder trace;
    std::vector<std::unique_ptr<TestLine>> lines;
    for (int i = 0; i < 16; ++i) {
        lines.push_back(std::make_unique<TestLine>());
        lines.back()->Know(MODEL_5460);
        ASSERT_TRUE(StartSession(lines.back()->controller.get()));
    }
    for (const auto& line : lines)
        EXPECT_TRUE(AwaitReader(line->controller.get()));
    const milliseconds taken = TimeOf([&] {
        for (const auto& line : lines)
            RequestSessionStop(line->controller.get());
        for (const auto& line : lines)
            JoinSession(line->controller.get(), 100);
    });
    EXPECT_LT(taken.count(), 100);
    for (const auto& line : lines)
        EXPECT_TRUE(HasReaderEnded(line->controller.get()));
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
    struct Row {
        const emulator::Bytes* bytes;
        bool gaveUp; // the pause lasts until the reader is back in its wait
    };
    for (const Row& row : {Row{&whole, false}, Row{&whole, true}, Row{&stream, true}}) {
        for (auto cut = row.bytes->begin() + 1; cut != row.bytes->end(); ++cut) {
            session.Send({row.bytes->begin(), cut});
            if (row.gaveUp)
                session.Settle();
            else
                std::this_thread::sleep_for(milliseconds(5));
            session.Send({cut, row.bytes->end()});
            session.Settle();
            const size_t before = session.recorder.WaitFor(0).size();
            session.Send(whole);
            session.Settle();
            EXPECT_EQ(session.recorder.WaitFor(before + 1).size(), before + 1)
                << "cut at " << cut - row.bytes->begin();
        }
    }
}

} // namespace
} // namespace korvex

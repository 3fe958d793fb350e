// When a watched detection is started again, and the ports that it leaves out. Runs on Windows too.

#include "console/restart_rule.h"

#include "console/watch_options.h"
#include "testing/testing.h"

namespace korvex {
namespace {

constexpr DetectionState NONE{};
constexpr DetectionState DETECTING{true, true, false, 0};
constexpr DetectionState IDLE{true, false, false, 0};
constexpr DetectionState DRIVING{true, false, false, 1};
constexpr uint32_t START = 0xFFFFF000; // soon before the clock wraps

// Looks once a second for two minutes; in which seconds detection is started. Each walk over the
// ports takes a second, and ends in `result`, NONE for a crash.
std::vector<uint32_t> StartsOf(Restarts* restarts, const DetectionState& result,
    DetectionState state = IDLE, bool portsTaken = false)
{
    std::vector<uint32_t> starts;
    for (uint32_t second = 0; second < 120; ++second) {
        if (IsStartDue(restarts, state, portsTaken, START + 1000 * second)) {
            starts.push_back(second);
            state = DETECTING;
            continue;
        }
        if (state.detecting && !result.running)
            HandleDetectionEnd(restarts, false, START + 1000 * second);
        state = state.detecting ? result : state;
    }
    return starts;
}

TEST(RestartRule, DoesNotDisturbAPanelOrGiveUpOneThatIsMissing)
{
    // a panel per machine; five tries, then quiet; pauses count from the end of the walk
    Restarts restarts = FirstRestarts(1, START);
    EXPECT_THAT(StartsOf(&restarts, IDLE, NONE), ElementsAre(0, 5, 14, 31, 62));
    EXPECT_FALSE(restarts.waiting) << "an idle machine";
    HandleWakeUp(&restarts, START);
    EXPECT_THAT(StartsOf(&restarts, IDLE), ElementsAre(2, 7, 16, 33, 64));
    HandlePortArrival(&restarts, DETECTING, START);
    EXPECT_THAT(StartsOf(&restarts, IDLE), ElementsAre()) << "ports that detection restarts";
    HandlePortArrival(&restarts, IDLE, START);
    EXPECT_THAT(StartsOf(&restarts, DRIVING), ElementsAre(2)) << "until it is found";
    HandlePortArrival(&restarts, DRIVING, START);
    EXPECT_THAT(StartsOf(&restarts, DRIVING, DRIVING), ElementsAre()) << "all are driven";

    // of two panels one stays lost: never under the finger on the other, or while another program
    // has the ports
    const DetectionState both{true, false, false, 2};
    const DetectionState touched{true, false, true, 1};
    HandleWakeUp(&restarts, START);
    EXPECT_THAT(StartsOf(&restarts, both, both), ElementsAre());
    HandleWakeUp(&restarts, START);
    EXPECT_THAT(StartsOf(&restarts, DRIVING, touched), ElementsAre());
    EXPECT_THAT(StartsOf(&restarts, DRIVING, DRIVING, true), ElementsAre());
    EXPECT_THAT(StartsOf(&restarts, DRIVING, DRIVING), SizeIs(5)) << "after that";
}

TEST(RestartRule, DoesNotCrashForEverOrTakeThePortsFromWhoeverHasClosedDetection)
{
    Restarts restarts = FirstRestarts(1, START);
    EXPECT_THAT(StartsOf(&restarts, NONE, NONE), ElementsAre(0, 5, 14, 31, 62));
    HandleDetectionEnd(&restarts, false, START + 120'000); // it has run for a minute
    EXPECT_TRUE(IsStartDue(&restarts, NONE, false, START + 122'000));
    for (const auto& [closed, first] : {std::pair(true, 30U), std::pair(false, 2U)}) {
        EXPECT_THAT(StartsOf(&restarts, DRIVING, DRIVING), ElementsAre()) << "it drives";
        HandleDetectionEnd(&restarts, closed, START);
        EXPECT_THAT(StartsOf(&restarts, DRIVING, NONE), ElementsAre(first));
    }
}

TEST(IgnoredPorts, GetNoByteHoweverTheyAreWritten)
{
    using Words = std::vector<const WCHAR*>;
    const auto ignored = [](const Words& words) {
        std::string names;
        for (const auto& [name, letter] : {std::pair(TEXT("COM5"), '5'), {TEXT("COM7"), '7'},
                 {TEXT("COM57"), 'L'}, {TEXT(""), '?'}})
            names += IgnoresPort(words, name) ? std::string(1, letter) : "";
        return names;
    };
    EXPECT_EQ(ignored({TEXT("5"), TEXT("-watch"), TEXT("COM7")}), "");
    EXPECT_EQ(ignored({TEXT("-IGNORE"), TEXT("COM5,COM7")}), "57?");
    EXPECT_EQ(ignored({TEXT("-ignore"), TEXT("com5,"), TEXT("7")}), "57?");
    EXPECT_EQ(ignored({TEXT("-ignore"), TEXT("7"), TEXT("-panels"), TEXT("5")}), "7?");
    EXPECT_EQ(ignored({TEXT("-ignore"), TEXT("5"), TEXT("-ignore"), TEXT("57")}), "5L?");
    EXPECT_EQ(ignored({TEXT("-ignore")}), "?");
    for (const WCHAR* word : {TEXT("-ignor"), TEXT("/ignore"), TEXT("COM5"), TEXT("-ignore COM5")})
        EXPECT_EQ(FindUnknownWord(Words{TEXT("KxConsole"), TEXT("-watch"), word}), word);
    EXPECT_EQ(FindUnknownWord(Words{TEXT("KxConsole"), TEXT("-panels"), TEXT("2"), TEXT("-WATCH"),
                  TEXT("-ignore"), TEXT("COM5,"), TEXT("COM7")}),
        nullptr);
}

} // namespace
} // namespace korvex

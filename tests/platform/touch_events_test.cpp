#include "platform/linux/pointer/touch_events.h"
#include "testing/testing.h"

#include <linux/input.h>
#include <sys/socket.h>
#include <unistd.h>

namespace korvex {
namespace {

using platform::TouchState;

// Takes the place of the kernel's device: it keeps what each write has brought apart.
struct Device {
    std::array<int, 2> ends{-1, -1};

    Device() { EXPECT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK, 0, ends.data()), 0); }
    ~Device()
    {
        close(ends[0]);
        close(ends[1]);
    }
    Device(const Device&) = delete;
    Device& operator=(const Device&) = delete;

    // The events of each write since the last call, "touch 1, x 5, report".
    Texts Writes() const
    {
        Texts writes;
        std::array<input_event, 8> events{};
        for (ssize_t bytes = 0; (bytes = read(ends[0], events.data(), sizeof(events))) > 0;) {
            std::string text;
            for (size_t i = 0; i < static_cast<size_t>(bytes) / sizeof(input_event); ++i) {
                const input_event& event = events[i];
                const std::string value = " " + std::to_string(event.value);
                text += text.empty() ? "" : ", ";
                if (event.type == EV_KEY && event.code == BTN_TOUCH)
                    text += "touch" + value;
                else if (event.type == EV_ABS && event.code <= ABS_Y)
                    text += (event.code == ABS_X ? "x" : "y") + value;
                else
                    text += event.type == EV_SYN && event.code == SYN_REPORT ? "report" : "unknown";
            }
            writes.push_back(text);
        }
        return writes;
    }
};

TEST(WriteTouch, WritesEachChangeOnceInOneWriteWithOneReport)
{
    const Device device;
    TouchState state{false, 0, 0};
    for (const TouchState& next : {TouchState{true, 100, 200}, TouchState{true, 100, 200},
             TouchState{true, 101, 200}, TouchState{true, 101, -5}, TouchState{true, 70000, -9},
             TouchState{true, 65540, -9}, TouchState{false, 65540, -9},
             TouchState{false, 65540, -9}, TouchState{true, 65540, -9}}) {
        EXPECT_TRUE(WriteTouch(device.ends[1], &state, &next));
        state = next;
    }
    EXPECT_THAT(device.Writes(),
        ElementsAre("touch 1, x 100, y 200, report", "x 101, report", "y 0, report",
            "x 65535, report", "touch 0, report", "touch 1, report"));
    const TouchState other{false, 1, 1};
    EXPECT_FALSE(WriteTouch(-1, &state, &other));
}

} // namespace
} // namespace korvex

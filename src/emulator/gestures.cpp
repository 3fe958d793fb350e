#include "emulator/gestures.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <sstream>
#include <thread>
#include <vector>

namespace korvex::emulator {

namespace {

constexpr std::chrono::milliseconds READY_QUIET{300};
constexpr std::chrono::milliseconds READY_LIMIT{60000};
constexpr int DEFAULT_DRAG_STEPS = 20;
constexpr double LARGEST_NUMBER = 10000;
constexpr double LONGEST_WAIT = 3600000; // milliseconds
constexpr double CIRCLE_RADIUS = 30;     // percent

// How a gesture is written: the numbers after its word, the first of which are places in percent.
struct Syntax {
    GestureKind kind;
    std::string_view word;
    size_t min; // of numbers
    size_t max;
    size_t places;
    double limit; // of the other numbers
};

constexpr std::array SYNTAXES{Syntax{GestureKind::READY, "ready", 0, 0, 0, 0},
    Syntax{GestureKind::TOUCH, "touch", 2, 2, 2, 0},
    Syntax{GestureKind::DRAG, "drag", 2, 3, 2, LARGEST_NUMBER},
    Syntax{GestureKind::LIFT, "lift", 0, 0, 0, 0},
    Syntax{GestureKind::PRESS, "press", 3, 3, 2, LARGEST_NUMBER},
    Syntax{GestureKind::CIRCLE, "circle", 2, 2, 0, LARGEST_NUMBER},
    Syntax{GestureKind::PANEL_TEST, "panel-test", 0, 0, 0, 0},
    Syntax{GestureKind::WAIT, "wait", 1, 1, 0, LONGEST_WAIT},
    Syntax{GestureKind::SEND, "send", 0, 0, 0, 0},
    Syntax{GestureKind::HANGUP, "hangup", 0, 0, 0, 0},
    Syntax{GestureKind::QUIT, "quit", 0, 0, 0, 0}};

bool ReadNumbers(std::istringstream* words, const Syntax* syntax, std::vector<double>* numbers)
{
    for (double number = 0; *words >> number;) {
        const double limit = numbers->size() < syntax->places ? 100 : syntax->limit;
        if (numbers->size() == syntax->max || !(number >= 0 && number <= limit))
            return false;
        numbers->push_back(number);
    }
    return words->eof() && numbers->size() >= syntax->min;
}

bool ReadBytes(std::istringstream* words, Bytes* bytes)
{
    std::string word;
    while (*words >> word) {
        if (word.size() > 2
            || word.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos)
            return false;
        bytes->push_back(static_cast<uint8_t>(std::stoul(word, nullptr, 16)));
    }
    return !bytes->empty();
}

bool Circle(Emulator* emulator, double rate, double seconds)
{
    const auto start = std::chrono::steady_clock::now();
    const int reports = static_cast<int>(rate * seconds);
    for (int i = 0; i < reports; ++i) {
        std::this_thread::sleep_until(start
            + std::chrono::duration_cast<std::chrono::nanoseconds>(
                std::chrono::duration<double>(i / rate)));
        const double angle = 2 * std::numbers::pi * i / rate; // one turn a second
        if (!TouchAt(emulator, 50 + CIRCLE_RADIUS * std::cos(angle),
                50 + CIRCLE_RADIUS * std::sin(angle)))
            return false;
    }
    return Lift(emulator);
}

bool FollowPanelTest(Emulator* emulator)
{
    // The test shows each target for 5 s from the host's last command on, and uses the last report
    // of that time. So the touch comes halfway.
    constexpr std::chrono::milliseconds INTERVAL{5000};
    constexpr std::chrono::milliseconds TOUCH_LENGTH{200};
    constexpr PanelPoint CHECK{70, 30};
    if (!WaitForQuietHost(emulator, READY_QUIET, READY_LIMIT))
        return false;
    auto next = std::chrono::steady_clock::now() - READY_QUIET + INTERVAL / 2;
    const auto touch = [&](PanelPoint place) {
        std::this_thread::sleep_until(next);
        next += INTERVAL;
        if (!TouchAt(emulator, place.x, place.y))
            return false;
        std::this_thread::sleep_for(TOUCH_LENGTH);
        return Lift(emulator);
    };
    return std::all_of(TARGETS.begin(), TARGETS.end(), touch) && touch(CHECK);
}

// False when the line does not take it, or the host does not do its part.
bool CarryOut(Emulator* emulator, const Gesture* gesture)
{
    const std::vector<double>& numbers = gesture->numbers;
    const auto milliseconds = [&numbers](size_t index) {
        return std::chrono::milliseconds(static_cast<int64_t>(numbers[index]));
    };
    switch (gesture->kind) {
    case GestureKind::READY:
        return WaitForQuietHost(emulator, READY_QUIET, READY_LIMIT);
    case GestureKind::TOUCH:
        return TouchAt(emulator, numbers[0], numbers[1]);
    case GestureKind::DRAG:
        return DragTo(emulator, numbers[0], numbers[1],
            numbers.size() > 2 ? static_cast<int>(numbers[2]) : DEFAULT_DRAG_STEPS);
    case GestureKind::LIFT:
        return Lift(emulator);
    case GestureKind::PRESS:
        return PressAt(emulator, numbers[0], numbers[1], milliseconds(2));
    case GestureKind::CIRCLE:
        return Circle(emulator, numbers[0], numbers[1]);
    case GestureKind::PANEL_TEST:
        return FollowPanelTest(emulator);
    case GestureKind::WAIT:
        std::this_thread::sleep_for(milliseconds(0));
        return true;
    case GestureKind::SEND:
        return SendBytes(emulator, gesture->bytes);
    case GestureKind::HANGUP:
        HangUp(emulator);
        return true;
    default:
        return true;
    }
}

} // namespace

bool ParseGesture(std::string_view line, Gesture* gesture)
{
    *gesture = {};
    std::istringstream words{std::string(line)};
    std::string word;
    words >> word;
    if (word.empty() || word.front() == '#')
        return true;
    const auto* syntax = std::find_if(SYNTAXES.begin(), SYNTAXES.end(),
        [&word](const Syntax& known) { return known.word == word; });
    if (syntax == SYNTAXES.end())
        return false;
    gesture->kind = syntax->kind;
    if (gesture->kind == GestureKind::SEND)
        return ReadBytes(&words, &gesture->bytes);
    return ReadNumbers(&words, syntax, &gesture->numbers)
        && (gesture->kind != GestureKind::CIRCLE || gesture->numbers[0] >= 1);
}

GestureResult RunGesture(Emulator* emulator, std::string_view line, std::string* error)
{
    Gesture gesture;
    const bool understood = ParseGesture(line, &gesture);
    if (understood && gesture.kind == GestureKind::QUIT)
        return GestureResult::QUIT;
    if (understood && CarryOut(emulator, &gesture))
        return GestureResult::DONE;
    *error = (understood ? "could not be carried out: " : "not understood: ") + std::string(line);
    return GestureResult::FAILED;
}

} // namespace korvex::emulator

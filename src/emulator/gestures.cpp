#include "emulator/gestures.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <sstream>
#include <thread>
#include <vector>

namespace korvex::emulator {

namespace {

using std::chrono::milliseconds;

constexpr milliseconds READY_QUIET{300};
constexpr milliseconds READY_LIMIT{60000};
constexpr int DEFAULT_DRAG_STEPS = 20;
constexpr double LARGEST_NUMBER = 10000;
constexpr double CIRCLE_RADIUS = 30; // percent

// Reads the numbers of a line, `min` to `max` of them, each from 0 to `limit`; false when it holds
// anything else.
bool ReadNumbers(
    std::istringstream* words, size_t min, size_t max, double limit, std::vector<double>* numbers)
{
    for (double number = 0; *words >> number;) {
        if (!(number >= 0 && number <= limit))
            return false;
        numbers->push_back(number);
    }
    return words->eof() && numbers->size() >= min && numbers->size() <= max;
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
    // The test shows each target for 5 s from the host's last command on, and takes what was
    // reported last. So a touch halfway counts.
    constexpr milliseconds INTERVAL{5000};
    constexpr milliseconds TOUCH_LENGTH{200};
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

} // namespace

GestureResult RunGesture(Emulator* emulator, std::string_view line, std::string* error)
{
    std::istringstream words{std::string(line)};
    std::string verb;
    words >> verb;
    if (verb.empty() || verb.front() == '#')
        return GestureResult::DONE;
    if (verb == "quit")
        return GestureResult::QUIT;

    std::vector<double> numbers;
    bool understood = true;
    bool done = true;
    if (verb == "ready") {
        understood = ReadNumbers(&words, 0, 0, 0, &numbers);
        done = understood && WaitForQuietHost(emulator, READY_QUIET, READY_LIMIT);
    } else if (verb == "touch") {
        understood = ReadNumbers(&words, 2, 2, 100, &numbers);
        done = understood && TouchAt(emulator, numbers[0], numbers[1]);
    } else if (verb == "drag") {
        understood = ReadNumbers(&words, 2, 3, LARGEST_NUMBER, &numbers) && numbers[0] <= 100
            && numbers[1] <= 100;
        done = understood
            && DragTo(emulator, numbers[0], numbers[1],
                numbers.size() > 2 ? static_cast<int>(numbers[2]) : DEFAULT_DRAG_STEPS);
    } else if (verb == "press") {
        understood = ReadNumbers(&words, 3, 3, LARGEST_NUMBER, &numbers) && numbers[0] <= 100
            && numbers[1] <= 100;
        done = understood
            && PressAt(
                emulator, numbers[0], numbers[1], milliseconds(static_cast<int64_t>(numbers[2])));
    } else if (verb == "lift") {
        understood = ReadNumbers(&words, 0, 0, 0, &numbers);
        done = understood && Lift(emulator);
    } else if (verb == "circle") {
        understood = ReadNumbers(&words, 2, 2, LARGEST_NUMBER, &numbers) && numbers[0] >= 1;
        done = understood && Circle(emulator, numbers[0], numbers[1]);
    } else if (verb == "panel-test") {
        done = FollowPanelTest(emulator);
    } else if (verb == "wait") {
        understood = ReadNumbers(&words, 1, 1, 3600000, &numbers);
        if (understood)
            std::this_thread::sleep_for(milliseconds(static_cast<int64_t>(numbers[0])));
    } else if (verb == "send") {
        Bytes bytes;
        understood = ReadBytes(&words, &bytes);
        done = understood && SendBytes(emulator, bytes);
    } else if (verb == "hangup") {
        HangUp(emulator);
    } else {
        understood = false;
    }
    if (understood && done)
        return GestureResult::DONE;
    *error = (understood ? "could not be carried out: " : "not understood: ") + std::string(line);
    return GestureResult::FAILED;
}

} // namespace korvex::emulator

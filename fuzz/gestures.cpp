// Any line of a script for the emulator: what is understood has the numbers that its gesture needs,
// within their limits.

#include <algorithm>
#include <cstdint>
#include <cstdlib>

#include "emulator/gestures.h"

using namespace korvex; // NOLINT(google-build-using-namespace): a program of one routine

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    using emulator::GestureKind;
    emulator::Gesture gesture;
    if (!emulator::ParseGesture({reinterpret_cast<const char*>(bytes), size}, &gesture))
        return 0;
    const bool isPlace = gesture.kind == GestureKind::TOUCH || gesture.kind == GestureKind::DRAG
        || gesture.kind == GestureKind::PRESS;
    const size_t needed = isPlace || gesture.kind == GestureKind::CIRCLE ? 2 : 0;
    if (gesture.numbers.size() < needed
        || (isPlace && (gesture.numbers[0] > 100 || gesture.numbers[1] > 100))
        || (gesture.kind == GestureKind::SEND) == gesture.bytes.empty())
        abort();
    if (!std::all_of(gesture.numbers.begin(), gesture.numbers.end(),
            [](double number) { return number >= 0 && number <= 3600000; }))
        abort();
    return 0;
}

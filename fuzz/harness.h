// What the fuzz targets share.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "link/touch_controller.h"

namespace korvex::fuzz {

// The input, eaten from its start; zeros once it is used up.
struct Input {
    const uint8_t* bytes;
    size_t size;

    template <typename T>
    T Take()
    {
        T value{};
        const size_t count = size < sizeof(T) ? size : sizeof(T);
        memcpy(&value, bytes, count);
        bytes += count;
        size -= count;
        return value;
    }
};

// A record of one of the models whose line holds the rest of the input and has then hung up, so that no read waits.
struct FuzzLine {
    TouchController* controller;
    int farEnd;

    explicit FuzzLine(Input* input);
    ~FuzzLine();
    FuzzLine(const FuzzLine&) = delete;
    FuzzLine& operator=(const FuzzLine&) = delete;
};

// Debugger texts go nowhere, and pointer input only counts.
void SilenceMachine();

} // namespace korvex::fuzz

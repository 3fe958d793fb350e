// Shared by the fuzz targets.
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

// A record of one of the models, by the input's first byte.
TouchController* TakeController(Input* input);

// A line in memory: the given bytes are read from it, then it has hung up, so that no read waits;
// it takes every write. One at a time.
struct MemoryLine {
    TouchController* controller;

    explicit MemoryLine(TouchController* user);
    ~MemoryLine(); // releases the record
    MemoryLine(const MemoryLine&) = delete;
    MemoryLine& operator=(const MemoryLine&) = delete;
};

// Appends bytes to the line, as many as there is room for (some thousand).
void Give(const MemoryLine* line, Input* input, size_t count);

// Gives the line part of the input at each command that it takes: a byte says how much, as a
// controller's answer.
void AnswerCommands(const MemoryLine* line, Input* input);

bool IsUsedUp(const MemoryLine* line);

// Debugger texts go nowhere, and pointer input is only counted.
void SilenceMachine();

} // namespace korvex::fuzz

// 32-bit integer arithmetic that always has a result: calibration values come from a file that
// anyone can edit, and no touch may fault the reader thread. Sums, differences and products wrap;
// division truncates toward zero.
#pragma once

#include <cstdint>

namespace korvex {

// a + b.
constexpr int32_t WrapAdd(int32_t a, int32_t b)
{
    return static_cast<int32_t>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b));
}

// a - b.
constexpr int32_t WrapSubtract(int32_t a, int32_t b)
{
    return static_cast<int32_t>(static_cast<uint32_t>(a) - static_cast<uint32_t>(b));
}

// a * b.
constexpr int32_t WrapMultiply(int32_t a, int32_t b)
{
    return static_cast<int32_t>(static_cast<uint32_t>(a) * static_cast<uint32_t>(b));
}

// The quotient by 0 is 0; INT32_MIN / -1 is INT32_MIN.
constexpr int32_t WrapDivide(int32_t dividend, int32_t divisor)
{
    // One test that is almost never true covers both divisors that the processor must not see.
    if (static_cast<uint32_t>(divisor) + 1 <= 1)
        return divisor == 0 ? 0 : WrapSubtract(0, dividend);
    return dividend / divisor;
}

// |INT32_MIN| stays INT32_MIN.
constexpr int32_t WrapAbsolute(int32_t value)
{
    return value < 0 ? WrapSubtract(0, value) : value;
}

} // namespace korvex

// Text in fixed UTF-16 buffers: every routine leaves the destination terminated and never writes
// past it. The contracts are those of the platform SDK's safe-string functions (StringCchPrintfW,
// StringCchCopyW, StringCchLengthW, StringCbLengthW). Any thread.
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/win32.h"

namespace korvex {

// The usual size of a text buffer, in UTF-16 units with terminator.
inline constexpr size_t TEXT_CAPACITY = 260;

// The largest capacity that the routines accept, in UTF-16 units.
inline constexpr size_t MAX_CAPACITY = 0x7FFFFFFF;

// Results (HRESULT values).
inline constexpr uint32_t TEXT_OK = 0;
inline constexpr uint32_t TEXT_INVALID_PARAMETER = 0x80070057;
inline constexpr uint32_t TEXT_TRUNCATED = 0x8007007A;

// Formats into `destination` of `capacity` UTF-16 units (1 to MAX_CAPACITY, else
// TEXT_INVALID_PARAMETER and nothing is written). The same rules on every platform: %s a terminated
// UTF-16 string (null: "(null)"), %c one UTF-16 unit, %d and %i signed, %u, %x and %X unsigned
// 32-bit integers, %% a percent sign; the flags "-", "+", " ", "0" and "#", a width and a precision
// (either may be "*") as in C. A text that does not fit is cut to capacity - 1 units:
// TEXT_TRUNCATED. An unknown conversion ends the text there, also with TEXT_TRUNCATED. A string
// with a precision is read no further than that.
uint32_t FormatBounded(WCHAR* destination, size_t capacity, const WCHAR* format, ...);

// Copies `source`, cut to capacity - 1 units (TEXT_TRUNCATED) where it is longer.
uint32_t CopyBounded(WCHAR* destination, size_t capacity, const WCHAR* source);

// The length of `text` in UTF-16 units without terminator, looking at `maximum` units at most.
// Without a terminator among them, and for a null text or a maximum above MAX_CAPACITY:
// TEXT_INVALID_PARAMETER and length 0. `length` may be null.
uint32_t LengthBounded(const WCHAR* text, size_t maximum, size_t* length);

// The length of `text` in bytes without terminator, by the rules of LengthBounded: `maximumBytes`
// is rounded down to whole units, and `length` is in bytes without terminator.
uint32_t ByteLengthBounded(const WCHAR* text, size_t maximumBytes, size_t* length);

// The decimal integer at the start of `text`, by the rules of _wtoi: leading white space and one
// sign, up to the first other character; 0 without digits. A number beyond 32 bits becomes the
// nearest one that fits.
int32_t ParseInteger(const WCHAR* text);

} // namespace korvex

// The clock of the touch reports.
#pragma once

#include <cstdint>

namespace korvex {

// Milliseconds since 1 January 1601 UTC, modulo 2^32: it wraps about every 49.7 days. Only
// differences taken as unsigned 32-bit numbers mean anything. Follows changes of the system time.
// Any thread.
uint32_t NowMs();

} // namespace korvex

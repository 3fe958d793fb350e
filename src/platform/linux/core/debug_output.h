// The debugger output.
#pragma once

#include "platform/linux/core/types.h"

// Hands the text, whole and unchanged, to the machine's trace output (machine.h). Texts of
// different threads never mix.
void OutputDebugStringW(const WCHAR* text);

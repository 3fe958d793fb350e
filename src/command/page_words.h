// Texts for the calibration page, whose buffers are UTF-16.
#pragma once

#include <array>
#include <string>

#include "platform/linux/core/text.h"
#include "support/bounded_text.h"

namespace korvex::command {

// Copies a text, cut where it is longer than the buffer.
inline void SetWords(WCHAR* words, size_t capacity, const std::string& text)
{
    CopyBounded(words, capacity, platform::FromUtf8(text).c_str());
}

template <size_t CAPACITY>
void SetWords(std::array<WCHAR, CAPACITY>* words, const std::string& text)
{
    SetWords(words->data(), CAPACITY, text);
}

} // namespace korvex::command

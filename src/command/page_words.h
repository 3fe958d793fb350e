// Texts for the calibration page, whose buffers are UTF-16.
#pragma once

#include <string>

#include "console/panel_source.h"
#include "platform/linux/core/text.h"
#include "support/bounded_text.h"

namespace korvex::command {

// Copies a text, cut where it is longer than the buffer.
inline void SetWords(SourceText* words, const std::string& text)
{
    CopyBounded(words->data(), words->size(), platform::FromUtf8(text).c_str());
}

} // namespace korvex::command

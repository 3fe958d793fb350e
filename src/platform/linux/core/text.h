// Conversion between the UTF-16 of the Windows calls and the bytes of Linux.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace korvex::platform {

// UTF-8 to UTF-16. A byte that is no part of valid UTF-8 becomes the lone surrogate 0xDC00 + byte,
// which ToUtf8 turns back: no file content and no file name is lost on the way.
std::u16string FromUtf8(std::string_view bytes);

// The reverse; any other lone surrogate becomes U+FFFD.
std::string ToUtf8(std::u16string_view text);

// File names: as above, with either separator on the Windows side. A backslash inside a native name
// becomes U+F05C and comes back.
std::u16string FromNativePath(std::string_view path);
std::string ToNativePath(std::u16string_view path);

// Splits the text at each `end`; a last part without `end` counts only if it is not empty.
std::vector<std::u16string> Split(std::u16string_view text, char16_t end);

// The text with its ASCII and Latin-1 letters in one case, and equality without regard to theirs.
std::u16string FoldCase(std::u16string_view text);
bool EqualNoCase(std::u16string_view a, std::u16string_view b);

} // namespace korvex::platform

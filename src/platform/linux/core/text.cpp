#include "platform/linux/core/text.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

namespace korvex::platform {

namespace {

// escaped bytes are 0x80 to 0xFF, so 0xDC80 to 0xDCFF
constexpr char16_t ESCAPED_BYTE_BASE = 0xDC00;
constexpr char16_t NATIVE_BACKSLASH = 0xF05C;
constexpr char16_t REPLACEMENT = 0xFFFD;

// The length of the valid UTF-8 sequence at the start of `bytes` and its code point; 0 when there
// is none (the Unicode standard's table 3-7: no overlong form, no surrogate, nothing above
// U+10FFFF).
size_t DecodeSequence(std::string_view bytes, char32_t* codePoint)
{
    constexpr std::array<char32_t, 5> SMALLEST{0, 0, 0x80, 0x800, 0x10000}; // by length
    const auto lead = static_cast<uint8_t>(bytes[0]);
    const auto ones = static_cast<size_t>(std::countl_one(lead));
    const size_t length = std::max<size_t>(ones, 1);
    if (ones == 1 || ones >= SMALLEST.size() || bytes.size() < length)
        return 0;
    *codePoint = lead & (0x7FU >> ones);
    for (size_t i = 1; i < length; ++i) {
        const auto byte = static_cast<uint8_t>(bytes[i]);
        if ((byte & 0xC0) != 0x80)
            return 0;
        *codePoint = (*codePoint << 6) | (byte & 0x3F);
    }
    const bool surrogate = *codePoint >= 0xD800 && *codePoint <= 0xDFFF;
    return *codePoint < SMALLEST[length] || surrogate || *codePoint > 0x10FFFF ? 0 : length;
}

void AppendUtf8(std::string* bytes, char32_t codePoint)
{
    constexpr std::array<char32_t, 4> LEADS{0, 0xC0, 0xE0, 0xF0}; // by the bytes that follow
    unsigned rest = codePoint < 0x80 ? 0 : codePoint < 0x800 ? 1 : codePoint < 0x10000 ? 2 : 3;
    bytes->push_back(static_cast<char>(LEADS[rest] | codePoint >> 6 * rest));
    while (rest-- > 0)
        bytes->push_back(static_cast<char>(0x80 | (codePoint >> 6 * rest & 0x3F)));
}

char16_t FoldUnit(char16_t unit)
{
    const bool upper
        = (unit >= u'A' && unit <= u'Z') || (unit >= 0xC0 && unit <= 0xDE && unit != 0xD7);
    return upper ? static_cast<char16_t>(unit + 0x20) : unit;
}

} // namespace

std::u16string FromUtf8(std::string_view bytes)
{
    std::u16string text;
    text.reserve(bytes.size());
    while (!bytes.empty()) {
        char32_t codePoint = 0;
        size_t length = DecodeSequence(bytes, &codePoint);
        if (length == 0) {
            text.push_back(
                static_cast<char16_t>(ESCAPED_BYTE_BASE + static_cast<uint8_t>(bytes[0])));
            length = 1;
        } else if (codePoint < 0x10000) {
            text.push_back(static_cast<char16_t>(codePoint));
        } else {
            text.push_back(static_cast<char16_t>(0xD800 + ((codePoint - 0x10000) >> 10)));
            text.push_back(static_cast<char16_t>(0xDC00 + ((codePoint - 0x10000) & 0x3FF)));
        }
        bytes.remove_prefix(length);
    }
    return text;
}

std::string ToUtf8(std::u16string_view text)
{
    std::string bytes;
    bytes.reserve(text.size());
    for (size_t i = 0; i < text.size(); ++i) {
        const char16_t unit = text[i];
        const bool leads = unit >= 0xD800 && unit <= 0xDBFF;
        const bool trails = unit >= 0xDC00 && unit <= 0xDFFF;
        if (leads && i + 1 < text.size() && text[i + 1] >= 0xDC00 && text[i + 1] <= 0xDFFF) {
            ++i;
            AppendUtf8(&bytes,
                0x10000 + (static_cast<char32_t>(unit - 0xD800) << 10)
                    + static_cast<char32_t>(text[i] - 0xDC00));
        } else if (trails && unit >= ESCAPED_BYTE_BASE + 0x80 && unit <= ESCAPED_BYTE_BASE + 0xFF) {
            bytes.push_back(static_cast<char>(unit - ESCAPED_BYTE_BASE));
        } else {
            AppendUtf8(&bytes, leads || trails ? REPLACEMENT : unit);
        }
    }
    return bytes;
}

std::vector<std::u16string> Split(std::u16string_view text, char16_t end)
{
    std::vector<std::u16string> parts;
    while (!text.empty()) {
        const size_t length = std::min(text.find(end), text.size());
        parts.emplace_back(text.substr(0, length));
        text.remove_prefix(std::min(length + 1, text.size()));
    }
    return parts;
}

std::u16string FromNativePath(std::string_view path)
{
    std::u16string text = FromUtf8(path);
    std::replace(text.begin(), text.end(), u'\\', NATIVE_BACKSLASH);
    return text;
}

std::string ToNativePath(std::u16string_view path)
{
    // The prefix of a path that Windows takes verbatim.
    std::u16string text(path.starts_with(u"\\\\?\\") ? path.substr(4) : path);
    std::replace(text.begin(), text.end(), u'\\', u'/');
    std::replace(text.begin(), text.end(), NATIVE_BACKSLASH, u'\\');
    return ToUtf8(text);
}

std::u16string FoldCase(std::u16string_view text)
{
    std::u16string folded(text);
    std::transform(folded.begin(), folded.end(), folded.begin(), FoldUnit);
    return folded;
}

bool EqualNoCase(std::u16string_view a, std::u16string_view b)
{
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
        [](char16_t x, char16_t y) { return FoldUnit(x) == FoldUnit(y); });
}

} // namespace korvex::platform

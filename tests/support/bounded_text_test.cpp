#include "support/bounded_text.h"
#include "testing/testing.h"

#include <climits>
#include <cstring>

namespace korvex {
namespace {

using Buffer = std::array<WCHAR, 16>;
using Text = std::basic_string<WCHAR>;

constexpr WCHAR UNTOUCHED = '#';

Buffer Fresh()
{
    Buffer buffer{};
    buffer.fill(UNTOUCHED);
    return buffer;
}

TEST(FormatBounded, CutsAtTheCapacityAndNeverWritesPastIt)
{
    using Row = std::tuple<size_t, const WCHAR*, uint32_t, const WCHAR*>;
    for (const auto& [capacity, text, result, stored] :
        {Row{6, TEXT("abcd"), TEXT_OK, TEXT("abcd")}, Row{5, TEXT("abcd"), TEXT_OK, TEXT("abcd")},
            Row{4, TEXT("abcd"), TEXT_TRUNCATED, TEXT("abc")},
            Row{1, TEXT("abcd"), TEXT_TRUNCATED, TEXT("")}, Row{1, TEXT(""), TEXT_OK, TEXT("")}}) {
        for (const bool copies : {false, true}) {
            Buffer buffer = Fresh();
            EXPECT_EQ(copies ? CopyBounded(buffer.data(), capacity, text)
                             : FormatBounded(buffer.data(), capacity, TEXT("%s"), text),
                result);
            EXPECT_EQ(buffer.data(), Text(stored));
            EXPECT_EQ(buffer[capacity], UNTOUCHED);
        }
    }
    for (const size_t capacity : {size_t{0}, MAX_CAPACITY + 1}) {
        Buffer buffer = Fresh();
        EXPECT_EQ(FormatBounded(buffer.data(), capacity, TEXT("x")), TEXT_INVALID_PARAMETER);
        EXPECT_EQ(CopyBounded(buffer.data(), capacity, TEXT("x")), TEXT_INVALID_PARAMETER);
        EXPECT_EQ(buffer, Fresh());
    }
}

TEST(FormatBounded, FormatsNumbersAsTheCLibraryDoes)
{
    struct Row {
        const char* format; // the same letters in both libraries
        int value;
    };
    for (const Row& row : {Row{"%d", 0}, Row{"%d", -17}, Row{"%d", INT_MIN}, Row{"%d", INT_MAX},
             Row{"%u", -1}, Row{"%X", 0x7A0F}, Row{"%x", -1}, Row{"%02d", 7}, Row{"%02d", 123},
             Row{"%05d", -42}, Row{"%-5d|", 42}, Row{"%5d", 42}, Row{"%+d", 42}, Row{"% d", 42},
             Row{"%.3d", 7}, Row{"%6.3d", -7}, Row{"%-06d|", 7}, Row{"%.0d|", 0}, Row{"%#x", 255},
             Row{"%#X", 0}, Row{"%08X", 0xBEEF}, Row{"100%%%d", 5}}) {
        std::array<char, 64> expected{};
        // NOLINTNEXTLINE(clang-diagnostic-format-nonliteral): the oracle
        snprintf(expected.data(), expected.size(), row.format, row.value);
        std::array<WCHAR, 64> actual{};
        const std::string format = row.format;
        EXPECT_EQ(FormatBounded(actual.data(), actual.size(),
                      Text(format.begin(), format.end()).c_str(), row.value),
            TEXT_OK);
        EXPECT_EQ(
            Text(actual.data()), Text(expected.data(), expected.data() + strlen(expected.data())))
            << format;
    }
}

TEST(FormatBounded, ReadsNoFurtherThanAPrecisionAndPadsText)
{
    const std::array<WCHAR, 2> unterminated{'o', 'k'};
    std::array<WCHAR, 32> text{};
    EXPECT_EQ(FormatBounded(text.data(), text.size(), TEXT("%.2s|%5s|%-3s|%*s|%c"),
                  unterminated.data(), TEXT("ab"), TEXT("x"), -2, TEXT("y"), 'z'),
        TEXT_OK);
    EXPECT_EQ(Text(text.data()), TEXT("ok|   ab|x  |y |z"));
    EXPECT_EQ(
        FormatBounded(text.data(), text.size(), TEXT("%s"), static_cast<const WCHAR*>(nullptr)),
        TEXT_OK);
    EXPECT_EQ(Text(text.data()), TEXT("(null)"));
}

TEST(FormatBounded, EndsTheTextAtAConversionThatItDoesNotKnow)
{
    for (const WCHAR* format : {TEXT("ab%q%d"), TEXT("ab%"), TEXT("ab%5"), TEXT("ab%ld")}) {
        Buffer buffer = Fresh();
        EXPECT_EQ(FormatBounded(buffer.data(), 8, format, 1), TEXT_TRUNCATED);
        EXPECT_EQ(Text(buffer.data()), TEXT("ab"));
        EXPECT_EQ(buffer[7], 0);
        EXPECT_EQ(buffer[8], UNTOUCHED);
    }
    Buffer buffer = Fresh();
    EXPECT_EQ(FormatBounded(buffer.data(), 8, TEXT("%2147483647d"), 1), TEXT_TRUNCATED)
        << "and a huge width costs nothing";
    EXPECT_EQ(Text(buffer.data()), TEXT("       "));
}

TEST(LengthBounded, NeedsATerminatorWithinTheMaximum)
{
    size_t length = 99;
    const Text longest(255, TEXT('x'));
    EXPECT_EQ(LengthBounded(longest.c_str(), 256, &length), TEXT_OK);
    EXPECT_EQ(length, 255U);
    using Row = std::pair<const WCHAR*, size_t>;
    const Text tooLong(256, TEXT('x'));
    for (const auto& [text, maximum] : {Row{tooLong.c_str(), 256}, Row{nullptr, 256},
             Row{TEXT("a"), 0}, Row{TEXT("a"), MAX_CAPACITY + 1}}) {
        length = 99;
        EXPECT_EQ(LengthBounded(text, maximum, &length), TEXT_INVALID_PARAMETER);
        EXPECT_EQ(length, 0U);
    }
    EXPECT_EQ(LengthBounded(TEXT("a"), 2, nullptr), TEXT_OK);
    EXPECT_EQ(ByteLengthBounded(TEXT("PortName"), 32, &length), TEXT_OK);
    EXPECT_EQ(length, 16U);
    EXPECT_EQ(ByteLengthBounded(TEXT("PortName"), 1, &length), TEXT_INVALID_PARAMETER);
    EXPECT_EQ(ByteLengthBounded(TEXT("abc"), 7, &length), TEXT_INVALID_PARAMETER)
        << "half a unit holds no terminator";
}

TEST(ParseInteger, StopsWhereTheNumberEndsAndSaturates)
{
    using Row = std::pair<const WCHAR*, int32_t>;
    for (const auto& [text, value] :
        {Row{TEXT("42"), 42}, Row{TEXT(" \t-7x"), -7}, Row{TEXT("+5"), 5}, Row{TEXT("+-5"), 0},
            Row{TEXT("12 34"), 12}, Row{TEXT(""), 0}, Row{TEXT("abc"), 0}, Row{TEXT("-"), 0},
            Row{TEXT("2147483647"), INT32_MAX}, Row{TEXT("2147483648"), INT32_MAX},
            Row{TEXT("-2147483648"), INT32_MIN}, Row{TEXT("-99999999999999999999999"), INT32_MIN},
            Row{TEXT("99999999999999999999999"), INT32_MAX}})
        EXPECT_EQ(ParseInteger(text), value);
}

} // namespace
} // namespace korvex

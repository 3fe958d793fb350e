#include "support/bounded_text.h"
#include "testing/testing.h"

#include <climits>

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

TEST(FormatBounded, KnowsTheConversionsInUse)
{
    std::array<WCHAR, 64> text{};
    EXPECT_EQ(FormatBounded(text.data(), text.size(), TEXT("%d %d %u %X %02d %02d %c %s 100%%"), 0,
                  INT_MIN, -1, 0x7A0F, 7, 123, 'z', TEXT("ab")),
        TEXT_OK);
    EXPECT_EQ(Text(text.data()), TEXT("0 -2147483648 4294967295 7A0F 07 123 z ab 100%"));
    for (const WCHAR* format : {TEXT("ab%q%d"), TEXT("ab%"), TEXT("ab%ld")}) {
        Buffer buffer = Fresh();
        EXPECT_EQ(FormatBounded(buffer.data(), 8, format, 1), TEXT_TRUNCATED);
        EXPECT_EQ(Text(buffer.data()), TEXT("ab")) << "it ends at what it does not know";
    }
}

TEST(LengthBounded, NeedsATerminatorWithinTheMaximum)
{
    size_t length = 99;
    EXPECT_EQ(LengthBounded(TEXT("PortName"), 9, &length), TEXT_OK);
    EXPECT_EQ(length, 8U);
    EXPECT_EQ(LengthBounded(TEXT("PortName"), 8, &length), TEXT_INVALID_PARAMETER);
    EXPECT_EQ(length, 0U);
    EXPECT_EQ(ByteLengthBounded(TEXT("abc"), 8, &length), TEXT_OK);
    EXPECT_EQ(length, 6U);
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

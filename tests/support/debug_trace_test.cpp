#include "support/debug_trace.h"

#include "platform/linux/machine.h"
#include "support/compare_no_case.h"
#include "testing/testing.h"

namespace korvex {
namespace {

TEST(CompareNoCase, UsesEnglishOnWindows2000Only)
{
    for (const auto& [major, minor] :
        {std::pair(5U, 0U), std::pair(5U, 1U), std::pair(6U, 1U), std::pair(4U, 0U)}) {
        platform::ThisMachine()->os = {major, minor};
        // The invariant locale fails on a Windows 2000, so the comparison succeeds only with the
        // other.
        using Row = std::tuple<DWORD, const WCHAR*, const WCHAR*, int, int>;
        for (const auto& [flags, a, b, length, result] :
            {Row{NORM_IGNORECASE, u"usB", u"UsbX", 3, CSTR_EQUAL},
                Row{NORM_IGNORECASE, u"a", u"B", -1, CSTR_LESS_THAN},
                Row{0, u"a", u"B", -1, CSTR_GREATER_THAN}, Row{0, nullptr, u"B", -1, 0}})
            EXPECT_EQ(CompareNoCase(LOCALE_INVARIANT, flags, a, -1, b, length), result)
                << major << "." << minor;
    }
    platform::ResetMachine();
}

TEST(DebugTrace, FollowsItsOwnSmallLanguage)
{
    TraceRecorder trace;
    DebugTrace(TEXT("123%%"));
    DebugTrace(TEXT("%c%d"), 5);
    DebugTrace(TEXT("%02d"), 5);
    DebugTrace(TEXT("%x%D%S%d"), 6);
    DebugTrace(TEXT("end%"));
    const std::u16string half(150, u'a');
    DebugTrace(TEXT("%s%s%d"), half.c_str(), half.c_str(), 7);
    DebugTrace(std::u16string(255, u'b').c_str());
    DebugTrace(std::u16string(256, u'c').c_str());
    EXPECT_EQ(trace.texts,
        (Texts{"123", "5", "2d", "6", "end", std::string(259, 'a'), std::string(255, 'b'), ""}));
}

} // namespace
} // namespace korvex

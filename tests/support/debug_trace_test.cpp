#include "support/debug_trace.h"

#include "testing/recorders.h"
#include "testing/testing.h"

namespace korvex {
namespace {

TEST(DebugTrace, FollowsItsOwnSmallLanguage)
{
    TraceRecorder trace;
    DebugTrace(TEXT("Detect Korvex %X with Baud Rate %d\nFirmware Version : %X.%d.%d.%d\n"), 0x5200,
        19200, 0x5200, 1, -2, 3);
    DebugTrace(TEXT("Get Child Device ID : %s\n"), TEXT("SERENUM\\KVX5200"));
    DebugTrace(TEXT("123%%"));
    DebugTrace(TEXT("%c%d"), 5);
    DebugTrace(TEXT("%02d"), 5);
    DebugTrace(TEXT("%x%D%S%d"), 6);
    DebugTrace(TEXT("end%"));
    DebugTrace(TEXT(""));
    EXPECT_EQ(trace.texts,
        (Texts{"Detect Korvex 5200 with Baud Rate 19200\nFirmware Version : 5200.1.-2.3\n",
            "Get Child Device ID : SERENUM\\KVX5200\n", "123", "5", "2d", "6", "end", ""}));
}

TEST(DebugTrace, CutsLongTextsAndRefusesLongFormats)
{
    TraceRecorder trace;
    const std::u16string half(150, u'a');
    DebugTrace(TEXT("%s%s%d"), half.c_str(), half.c_str(), 7);
    DebugTrace(std::u16string(255, u'b').c_str());
    DebugTrace(std::u16string(256, u'c').c_str());
    EXPECT_EQ(trace.texts, (Texts{std::string(259, 'a'), std::string(255, 'b'), ""}));
}

} // namespace
} // namespace korvex

// A settings file with any content, in memory: it is read and written back without a change, and a
// value that is set is found again, with everything else unchanged.

#include <algorithm>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "platform/linux/files/profile_document.h"

using namespace korvex; // NOLINT(google-build-using-namespace): a program of one routine

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    constexpr const char16_t* SECTION = u"Calibration";
    constexpr const char16_t* KEY = u"STD_MIN_X";
    platform::ProfileDocument document
        = platform::ParseProfile({reinterpret_cast<const char*>(bytes), size});
    if (platform::ParseProfile(FormatProfile(&document)).lines != document.lines)
        abort();
    const std::vector<std::u16string> before = document.lines;
    const auto value = FindValue(&document, SECTION, KEY);
    SetValue(&document, SECTION, KEY, u"-12");
    if (FindValue(&document, SECTION, KEY) != u"-12")
        abort();
    // A line was replaced, or a heading and a line were added.
    if (document.lines.size() < before.size()
        || document.lines.size() > before.size() + (value ? 0 : 2))
        abort();
    if (platform::ParseProfile(FormatProfile(&document)).lines != document.lines)
        abort(); // what is saved is what is read
    return 0;
}

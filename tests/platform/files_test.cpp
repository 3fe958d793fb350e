#include <sys/stat.h>

#include "platform/linux/core/text.h"
#include "support/owned.h"
#include "testing/testing.h"

namespace korvex {
namespace {

TEST(CreateFileW, TakesEitherSeparatorAndNoFolderOrReadOnlyFileToWrite)
{
    const TemporaryFolder folder;
    std::filesystem::create_directory("sub");
    WriteTextFile("sub/a.ini", "x");
    WriteTextFile("sub/b.ini", "x");
    chmod("sub/b.ini", 0444); // as with the read-only attribute, not even an administrator writes
    using Row = std::tuple<const WCHAR*, DWORD, DWORD>;
    for (const auto& [path, access, error] : {Row{u"sub\\a.ini", GENERIC_READ | GENERIC_WRITE, 0},
             Row{u"sub/b.ini", GENERIC_READ, 0}, Row{u"sub", GENERIC_READ, ERROR_ACCESS_DENIED},
             Row{u"missing", GENERIC_READ, ERROR_FILE_NOT_FOUND},
             Row{u"sub/b.ini", GENERIC_WRITE, ERROR_ACCESS_DENIED}}) {
        SetLastError(0);
        const OwnedHandle file(CreateFileW(path, access, 0, nullptr, OPEN_EXISTING, 0, nullptr));
        EXPECT_EQ(file.value != INVALID_HANDLE_VALUE, error == 0);
        EXPECT_EQ(GetLastError(), error);
    }
}

TEST(Utf8, LosesNoByteOnTheWayThroughUtf16)
{
    EXPECT_EQ(platform::FromUtf8("a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80"), u"aé€😀");
    std::string everything;
    for (int first = 0; first < 256; ++first)
        for (const char* rest : {"", "\x80", "\xBF\x80", "\x80\x80\x80", "A"})
            everything += static_cast<char>(first) + std::string(rest);
    for (size_t length = 0; length <= everything.size(); ++length) {
        const std::string bytes = everything.substr(0, length);
        ASSERT_EQ(platform::ToUtf8(platform::FromUtf8(bytes)), bytes);
    }
    EXPECT_EQ(platform::FromUtf8("\xC0\x80").size(), 2U) << "an overlong form is no character";
    EXPECT_EQ(platform::ToUtf8(std::u16string(1, 0xD800)), "\xEF\xBF\xBD");
}

} // namespace
} // namespace korvex

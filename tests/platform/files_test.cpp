#include "platform/linux/create_file.h"

#include <sys/stat.h>

#include "platform/linux/core/text.h"
#include "support/owned.h"
#include "testing/temporary_folder.h"
#include "testing/testing.h"

namespace korvex {
namespace {

HANDLE Open(const WCHAR* path, DWORD access, DWORD share)
{
    return CreateFileW(path, access, share, nullptr, OPEN_EXISTING, 0, nullptr);
}

TEST(CreateFileW, TakesEitherSeparatorAndNoFolderOrReadOnlyFileToWrite)
{
    const TemporaryFolder folder;
    std::filesystem::create_directory("sub");
    WriteTextFile("sub/a.ini", "x");
    const OwnedHandle writer(Open(TEXT("sub\\a.ini"), GENERIC_READ | GENERIC_WRITE, 0));
    const OwnedHandle reader(Open(TEXT("sub/a.ini"), GENERIC_READ, FILE_SHARE_READ));
    EXPECT_TRUE(IsOpen(writer.value) && IsOpen(reader.value));

    EXPECT_EQ(Open(TEXT("sub"), GENERIC_READ, FILE_SHARE_READ), INVALID_HANDLE_VALUE);
    EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED);
    EXPECT_EQ(Open(TEXT("missing"), GENERIC_READ, FILE_SHARE_READ), INVALID_HANDLE_VALUE);
    EXPECT_EQ(GetLastError(), ERROR_FILE_NOT_FOUND);
    chmod("sub/a.ini", 0444); // as with the read-only attribute, not even an administrator writes
    EXPECT_EQ(Open(TEXT("sub/a.ini"), GENERIC_WRITE, 0), INVALID_HANDLE_VALUE);
    EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED);
}

TEST(GetFullPathNameW, AsksForTheCapacityItNeeds)
{
    const TemporaryFolder folder;
    std::filesystem::create_directory("odd\\name \xFF");
    std::filesystem::current_path("odd\\name \xFF"); // a backslash and a byte that is no UTF-8
    WriteTextFile("a.ini", "found");
    const std::string expected = folder.path.string() + "/odd\\name \xFF/a.ini";
    std::array<WCHAR, MAX_PATH> path{};
    const DWORD length = GetFullPathNameW(TEXT("a.ini"), MAX_PATH, path.data(), nullptr);
    EXPECT_EQ(platform::ToNativePath(path.data()), expected);
    EXPECT_TRUE(IsOpen(OwnedHandle(Open(path.data(), GENERIC_READ, FILE_SHARE_READ)).value));

    path.fill('#');
    EXPECT_EQ(GetFullPathNameW(TEXT("a.ini"), length, path.data(), nullptr), length + 1);
    EXPECT_EQ(path[0], '#');
    EXPECT_EQ(GetFullPathNameW(TEXT(""), MAX_PATH, path.data(), nullptr), 0U);
}

TEST(Utf8, LosesNoByteOnTheWayThroughUtf16)
{
    EXPECT_EQ(platform::FromUtf8("a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80"), u"aé€😀");
    std::string everything;
    for (int first = 0; first < 256; ++first)
        for (const char* rest : {"", "\x80", "\xBF\x80", "\x80\x80\x80", "A"})
            everything += static_cast<char>(first) + std::string(rest);
    for (size_t length = 0; length <= everything.size(); ++length) {
        const std::string_view bytes(everything.data(), length);
        ASSERT_EQ(platform::ToUtf8(platform::FromUtf8(bytes)), bytes);
    }
    EXPECT_EQ(platform::FromUtf8("\xC0\x80").size(), 2U) << "an overlong form is no character";
    EXPECT_EQ(platform::ToUtf8(std::u16string(1, 0xD800)), "\xEF\xBF\xBD");
}

} // namespace
} // namespace korvex

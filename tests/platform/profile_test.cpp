#include "platform/linux/files/profile.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <filesystem>
#include <string>
#include <vector>

#include "platform/linux/core/text.h"
#include "testing/temporary_folder.h"

namespace korvex {
namespace {

using testing::ReadTextFile;
using testing::TemporaryFolder;
using testing::WriteTextFile;

std::string Value(const char16_t* section, const char16_t* key)
{
    std::array<WCHAR, 64> value{};
    const DWORD length = GetPrivateProfileStringW(section, key, TEXT("(none)"), value.data(), value.size(), TEXT("a.ini"));
    EXPECT_EQ(length, std::u16string(value.data()).size());
    return platform::ToUtf8(value.data());
}

std::string Utf16(std::u16string_view text)
{
    std::string bytes = "\xFF\xFE";
    for (const char16_t unit : text) {
        bytes += static_cast<char>(unit & 0xFF);
        bytes += static_cast<char>(unit >> 8);
    }
    return bytes;
}

TEST(GetPrivateProfileStringW, FollowsThePlatformsRules)
{
    const TemporaryFolder folder;
    EXPECT_EQ(Value(u"S", u"a"), "(none)") << "no file";
    WriteTextFile("a.ini",
        "a=outside\n  [ s ] ; trailing\n; a=comment\n  A  =  \"  quoted \"  "
        "\na=second\nb='x'\nc=\"open\nd=\ne\nf=1;2\n[other]\ng=7\n[S]\nh=late\n");
    EXPECT_EQ(Value(u"S", u"a"), "  quoted ");
    EXPECT_EQ(Value(u"s", u"B"), "x");
    EXPECT_EQ(Value(u"S", u"c"), "\"open");
    EXPECT_EQ(Value(u"S", u"d"), "");
    EXPECT_EQ(Value(u"S", u"e"), "(none)") << "no value";
    EXPECT_EQ(Value(u"S", u"f"), "1;2");
    EXPECT_EQ(Value(u"S", u"g"), "(none)") << "another section's";
    EXPECT_EQ(Value(u"S", u"h"), "(none)") << "only the first section of a name counts";
    std::array<WCHAR, 4> small{};
    EXPECT_EQ(GetPrivateProfileStringW(TEXT("S"), TEXT("a"), TEXT(""), small.data(), 4, TEXT("a.ini")), 3U);
    EXPECT_EQ(std::u16string(small.data()), u"  q");
}

TEST(GetPrivateProfileStringW, ReadsEveryEncoding)
{
    const TemporaryFolder folder;
    const std::u16string text = u"[Größe]\r\nWert = 7 € \r\n";
    std::string bigEndian = Utf16(text);
    for (size_t i = 0; i < bigEndian.size(); i += 2)
        std::swap(bigEndian[i], bigEndian[i + 1]);
    for (const std::string& content : {Utf16(text), bigEndian, platform::ToUtf8(text), "\xEF\xBB\xBF" + platform::ToUtf8(text)}) {
        WriteTextFile("a.ini", content);
        EXPECT_EQ(Value(u"GRÖSSE", u"wert"), "(none)");
        EXPECT_EQ(Value(u"GRÖßE", u"wert"), "7 €");
    }
}

TEST(WritePrivateProfileStringW, ChangesNothingButTheValue)
{
    struct Row {
        std::string before;
        const char16_t *section, *key, *value;
        std::string after;
    };
    for (const Row& row : {
             Row{"", u"S", u"a", u"1", "[S]\na=1\n"},
             Row{"; head\nforeign \xFF line\n[s]\nA = 0 ; old\n\n[T]\nb=2", u"S", u"a", u"1",
                 "; head\nforeign \xFF line\n[s]\na=1\n\n[T]\nb=2"},
             Row{"[S]\nx=1\n\n[T]\nb=2\n", u"S", u"a", u"1", "[S]\nx=1\na=1\n\n[T]\nb=2\n"},
             Row{"[S]\r\nx=1\r\n", u"T", u"a", u"1", "[S]\r\nx=1\r\n[T]\r\na=1\r\n"},
             Row{"[S]\nx=1", u"S", u"a", u"1", "[S]\nx=1\na=1\n"},
             Row{"[S]\nx=1\na=2\n", u"S", u"a", nullptr, "[S]\nx=1\n"},
             Row{"[S]\nx=1\n", u"S", u"a", nullptr, "[S]\nx=1\n"},
             Row{Utf16(u"[S]\r\na=1\r\n"), u"S", u"a", u"€", Utf16(u"[S]\r\na=€\r\n")},
             Row{"\xEF\xBB\xBF[S]\n", u"S", u"a", u"1", "\xEF\xBB\xBF[S]\na=1\n"},
         }) {
        const TemporaryFolder folder;
        if (!row.before.empty())
            WriteTextFile("a.ini", row.before);
        EXPECT_TRUE(WritePrivateProfileStringW(row.section, row.key, row.value, TEXT("a.ini")));
        EXPECT_EQ(ReadTextFile("a.ini"), row.after);
    }
}

TEST(WritePrivateProfileStringW, KeepsModeAndLinkAndLeavesNothingBeside)
{
    const TemporaryFolder folder;
    std::filesystem::create_directory("real");
    WriteTextFile("real/b.ini", "[S]\n");
    chmod("real/b.ini", 0640);
    std::filesystem::create_symlink("real/b.ini", "a.ini");
    EXPECT_TRUE(WritePrivateProfileStringW(TEXT("S"), TEXT("a"), TEXT("1"), TEXT("a.ini")));
    EXPECT_TRUE(std::filesystem::is_symlink("a.ini"));
    EXPECT_EQ(ReadTextFile("real/b.ini"), "[S]\na=1\n");
    struct stat status { };
    EXPECT_EQ(stat("real/b.ini", &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0640U);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator("real"), {}), 1);
    EXPECT_FALSE(WritePrivateProfileStringW(TEXT("S"), TEXT("a"), TEXT("1"), TEXT("missing/a.ini")));
    std::filesystem::create_symlink("real/new.ini", "dangling.ini");
    EXPECT_TRUE(WritePrivateProfileStringW(TEXT("S"), TEXT("a"), TEXT("1"), TEXT("dangling.ini")));
    EXPECT_TRUE(std::filesystem::is_symlink("dangling.ini"));
    EXPECT_EQ(ReadTextFile("real/new.ini"), "[S]\na=1\n");
    chmod("real/b.ini", 0444);
    EXPECT_FALSE(WritePrivateProfileStringW(TEXT("S"), TEXT("a"), TEXT("2"), TEXT("a.ini"))) << "a read-only file is not replaced";
    EXPECT_EQ(ReadTextFile("real/b.ini"), "[S]\na=1\n");
}

// A full disk: the file system holds the old file and not a byte more.
TEST(WritePrivateProfileStringW, KeepsTheOldContentWhenTheNewDoesNotFit)
{
    const TemporaryFolder folder;
    WriteTextFile("a.ini", "[S]\na=1\n");
    const auto writeWithoutSpace = [] {
        const rlimit none{8, 8}; // stands for the full disk: no file may grow beyond 8 bytes
        signal(SIGXFSZ, SIG_IGN);
        setrlimit(RLIMIT_FSIZE, &none);
        _exit(WritePrivateProfileStringW(TEXT("S"), TEXT("b"), TEXT("22222222"), TEXT("a.ini")) == FALSE ? 0 : 1);
    };
    EXPECT_EXIT(writeWithoutSpace(), ::testing::ExitedWithCode(0), "");
    EXPECT_EQ(ReadTextFile("a.ini"), "[S]\na=1\n");
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator("."), {}), 1);
}

TEST(WritePrivateProfileStringW, LosesNoValueOfAnotherProcess)
{
    const TemporaryFolder folder;
    constexpr int EACH = 40;
    std::vector<pid_t> writers;
    for (const char16_t* section : {u"first", u"second"}) {
        const pid_t child = fork();
        if (child == 0) {
            for (int i = 0; i < EACH; ++i) {
                const std::string key = "key" + std::to_string(i);
                WritePrivateProfileStringW(section, platform::FromUtf8(key).c_str(), TEXT("1"), TEXT("a.ini"));
            }
            _exit(0);
        }
        writers.push_back(child);
    }
    for (const pid_t writer : writers)
        EXPECT_EQ(waitpid(writer, nullptr, 0), writer);
    for (const char16_t* section : {u"first", u"second"})
        for (int i = 0; i < EACH; ++i)
            EXPECT_EQ(Value(section, platform::FromUtf8("key" + std::to_string(i)).c_str()), "1") << i;
}

} // namespace
} // namespace korvex

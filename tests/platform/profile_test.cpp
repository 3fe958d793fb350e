#include "platform/linux/files/profile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

#include "calibration/settings_file.h"
#include "platform/linux/core/last_error.h"
#include "platform/linux/core/text.h"
#include "platform/linux/files/whole_files.h"
#include "testing/calibration_data.h"
#include "testing/testing.h"

namespace korvex {
namespace {

std::string Value(const char16_t* section, const char16_t* key)
{
    std::array<WCHAR, 64> value{};
    const DWORD length = GetPrivateProfileStringW(
        section, key, TEXT("(none)"), value.data(), value.size(), TEXT("a.ini"));
    EXPECT_EQ(length, std::u16string(value.data()).size());
    return platform::ToUtf8(value.data());
}

// Writes and flushes one value.
bool Write(const char16_t* section, const char16_t* key, const char16_t* value,
    const char16_t* path = u"a.ini")
{
    if (WritePrivateProfileStringW(section, key, value, path) == FALSE)
        return false;
    WritePrivateProfileStringW(nullptr, nullptr, nullptr, path);
    return GetLastError() == ERROR_SUCCESS;
}

struct stat StatusOf(const char* path)
{
    struct stat status{};
    EXPECT_EQ(stat(path, &status), 0) << path;
    return status;
}

ptrdiff_t EntriesOf(const char* folder)
{
    return std::distance(std::filesystem::directory_iterator(folder), {});
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
    using Row = std::pair<const char16_t*, const char*>;
    for (const auto& [key, value] :
        {Row{u"a", "  quoted "}, Row{u"B", "x"}, Row{u"c", "\"open"}, Row{u"d", ""},
            Row{u"e", "(none)"}, Row{u"f", "1;2"}, Row{u"g", "(none)"}, Row{u"h", "(none)"}})
        EXPECT_EQ(Value(u"S", key), value);
    std::array<WCHAR, 4> small{};
    EXPECT_EQ(GetPrivateProfileStringW(u"s", u"a", u"", small.data(), 4, u"a.ini"), 3U);
    EXPECT_EQ(std::u16string(small.data()), u"  q");
}

TEST(GetPrivateProfileStringW, ReadsEveryEncoding)
{
    const TemporaryFolder folder;
    const std::u16string text = u"[Größe]\r\nWert = 7 € \r\n";
    std::string bigEndian = Utf16(text);
    for (size_t i = 0; i < bigEndian.size(); i += 2)
        std::swap(bigEndian[i], bigEndian[i + 1]);
    for (const std::string& content :
        {Utf16(text), bigEndian, platform::ToUtf8(text), "\xEF\xBB\xBF" + platform::ToUtf8(text)}) {
        WriteTextFile("a.ini", content);
        EXPECT_EQ(Value(u"GRÖSSE", u"wert"), "(none)");
        EXPECT_EQ(Value(u"GRÖßE", u"wert"), "7 €");
    }
}

TEST(WritePrivateProfileStringW, ChangesNothingButTheValue)
{
    using Row = std::tuple<std::string, const char16_t*, const char16_t*, std::string>;
    for (const auto& [before, section, value, after] : {Row{"", u"S", u"1", "[S]\na=1\n"},
             Row{"; head\nforeign \xFF line\n[s]\nA = 0 ; old\n\n[T]\nb=2", u"S", u"1",
                 "; head\nforeign \xFF line\n[s]\na=1\n\n[T]\nb=2"},
             Row{"[S]\nx=1\n\n[T]\nb=2\n", u"S", u"1", "[S]\nx=1\na=1\n\n[T]\nb=2\n"},
             Row{"[S]\r\nx=1\r\n", u"T", u"1", "[S]\r\nx=1\r\n[T]\r\na=1\r\n"},
             Row{"[S]\nx=1", u"S", u"1", "[S]\nx=1\na=1\n"},
             Row{Utf16(u"[S]\r\na=1\r\n"), u"S", u"€", Utf16(u"[S]\r\na=€\r\n")},
             Row{"\xEF\xBB\xBF[S]\n", u"S", u"1", "\xEF\xBB\xBF[S]\na=1\n"}}) {
        const TemporaryFolder folder;
        WriteTextFile("a.ini", before);
        EXPECT_TRUE(Write(section, u"a", value));
        EXPECT_EQ(ReadTextFile("a.ini"), after);
    }
}

TEST(WritePrivateProfileStringW, KeepsModeAndLinkAndLeavesNothingBeside)
{
    const TemporaryFolder folder;
    std::filesystem::create_directory("real");
    WriteTextFile("real/b.ini", "[S]\n");
    chmod("real/b.ini", 0640);
    for (const char* name : {"b.ini", "new.ini"}) {
        const std::string file = std::string("real/") + name;
        std::filesystem::remove("a.ini");
        std::filesystem::create_symlink(file, "a.ini");
        EXPECT_TRUE(Write(u"S", u"a", u"1"));
        EXPECT_TRUE(std::filesystem::is_symlink("a.ini"));
        EXPECT_EQ(ReadTextFile(file), "[S]\na=1\n");
    }
    EXPECT_EQ(StatusOf("real/b.ini").st_mode & 07777, 0640U);
    EXPECT_EQ(EntriesOf("real"), 2);
    EXPECT_FALSE(Write(u"S", u"a", u"1", u"missing/a.ini"));
    chmod("real/b.ini", 0444);
    EXPECT_FALSE(Write(u"S", u"a", u"2", u"real/b.ini")) << "a read-only file is not replaced";
    EXPECT_EQ(ReadTextFile("real/b.ini"), "[S]\na=1\n");
}

TEST(WritePrivateProfileStringW, KeepsTheOldContentWhenTheNewDoesNotFit)
{
    const TemporaryFolder folder;
    WriteTextFile("a.ini", "[S]\na=1\n");
    const auto writeWithoutSpace = [] {
        const rlimit none{8, 8}; // stands for the full disk: no file may grow beyond 8 bytes
        signal(SIGXFSZ, SIG_IGN);
        setrlimit(RLIMIT_FSIZE, &none);
        _exit(!Write(u"S", u"b", u"22222222", u"a.ini") ? 0 : 1);
    };
    EXPECT_EXIT(writeWithoutSpace(), ExitedWithCode(0), "");
    EXPECT_EQ(ReadTextFile("a.ini"), "[S]\na=1\n");
    EXPECT_EQ(EntriesOf("."), 1);
}

// Links to something other than a file, or of another user, could destroy files of others.
TEST(WritePrivateProfileStringW, WritesThroughNoLinkToADeviceOrOfSomeoneElse)
{
    const TemporaryFolder folder;
    ASSERT_EQ(mknod("device", S_IFCHR | 0666, makedev(1, 3)), 0); // a null device of the test's own
    std::filesystem::create_symlink("device", "a.ini");
    EXPECT_FALSE(Write(u"S", u"a", u"1"));
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
    EXPECT_TRUE(std::filesystem::is_character_file("device"));
    WriteTextFile("victim.ini", "[S]\na=0\n");
    std::filesystem::create_symlink("victim.ini", "b.ini");
    ASSERT_EQ(lchown("b.ini", 65534, 65534), 0);
    ASSERT_EQ(chown(".", 65534, 65534), 0);
    EXPECT_FALSE(Write(u"S", u"a", u"1", u"b.ini"));
    EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED);
    EXPECT_EQ(ReadTextFile("victim.ini"), "[S]\na=0\n");
    for (const char16_t* value : {u"1", u"2"}) {
        EXPECT_TRUE(Write(u"S", u"a", value, u"new.ini"));
        EXPECT_TRUE(Write(u"S", u"a", value, u"victim.ini"));
        EXPECT_EQ(StatusOf("new.ini").st_uid, 65534U) << "its folder's owner's, and stays that";
        EXPECT_EQ(StatusOf("victim.ini").st_uid, geteuid());
    }
    WriteTextFile("c.ini", std::string(platform::MAX_FILE_BYTES + 1, ';'));
    EXPECT_FALSE(Write(u"S", u"a", u"1", u"c.ini"))
        << "what is too large to be read is not replaced";
}

TEST(WritePrivateProfileStringW, ReachesTheDiskWithAllThatWasWrittenOrNotAtAll)
{
    const TemporaryFolder folder;
    WriteTextFile("a.ini.1-0.new", "left behind by a process that was killed");
    WriteTextFile("a.ini.new", "somebody's own");
    EXPECT_TRUE(WritePrivateProfileStringW(u"S", u"a", u"1", u"a.ini"));
    EXPECT_FALSE(std::filesystem::exists("a.ini"));
    EXPECT_EQ(Value(u"S", u"a"), "1") << "seen by the thread that wrote it";
    EXPECT_TRUE(Write(u"S", u"b", u"2"));
    EXPECT_EQ(ReadTextFile("a.ini"), "[S]\na=1\nb=2\n");
    EXPECT_EQ(EntriesOf("."), 2) << "the file and somebody's own";
}

TEST(WritePrivateProfileStringW, HeedsNoLockButThatOfItsOwnFile)
{
    const TemporaryFolder folder;
    WriteTextFile("Korvex.ini", "[Calibration]\nSTD_MAX_X=7\n");
    const std::array held{open("Korvex.ini", O_RDONLY | O_CLOEXEC),
        open(".", O_RDONLY | O_CLOEXEC)}; // by whoever can read them
    for (const int descriptor : held)
        ASSERT_EQ(flock(descriptor, LOCK_EX), 0);
    CalibrationData calib{};
    EXPECT_TRUE(ReadCalibrationFile(&calib));
    calib.stdMaxX = 8;
    EXPECT_LT(TimeOf([&calib] { EXPECT_TRUE(WriteCalibrationFile(&calib)); }).count(), 1000);
    WriteTextFile(".korvex.lock", ""); // others can hold it
    chmod(".korvex.lock", 0644);
    calib.stdMaxX = 9;
    EXPECT_FALSE(WriteCalibrationFile(&calib));
    EXPECT_FALSE(Write(u"S", u"a", u"1"));
    EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED);
    for (const int descriptor : held)
        close(descriptor);
}

// Saves one calibration after the other until it is killed, and writes a byte to `saved` for each.
[[noreturn]] void SaveForEver(int saved)
{
    const ControllerPointer controller = Unconnected();
    controller->calib.orientation = 1;
    controller->calib.pointCount = 9;
    for (int32_t value = 100;; value = 300 - value) {
        controller->calib.stdMaxX = value;
        for (Point& point : controller->calib.advPoints)
            point = {value, value};
        if (!SaveCalibrationFile(controller.get()) || write(saved, "s", 1) != 1)
            _exit(1);
    }
}

// The one value that all numbers of a calibration have; -1 for a mix.
int32_t OneValue(const CalibrationData* calib)
{
    const Point one{calib->stdMaxX, calib->stdMaxX};
    return FirstPoints(&calib->advPoints, calib->pointCount) == std::vector<Point>(9, one) ? one.x
                                                                                           : -1;
}

TEST(SaveCalibrationFile, LeavesTheOldOrTheNewCalibrationWhenItIsKilled)
{
    const TemporaryFolder folder;
    constexpr int KILLS = 300;
    std::array<int, 2> seen{};
    for (int i = 0; i < KILLS; ++i) {
        std::array<int, 2> saved{};
        ASSERT_EQ(pipe2(saved.data(), O_CLOEXEC), 0);
        const pid_t child = fork();
        if (child == 0)
            SaveForEver(saved[1]);
        close(saved[1]);
        char byte = 0;
        for (int before = 0; before <= i % 2; ++before) // on a slow disk, killed in this very save
            ASSERT_EQ(read(saved[0], &byte, 1), 1) << i;
        const ControllerPointer reader = Unconnected();
        const auto end = std::chrono::steady_clock::now() + std::chrono::microseconds(37 * i);
        do { // a session that starts in between
            ASSERT_TRUE(LoadCalibrationFile(reader.get())) << i;
            ASSERT_NE(OneValue(&reader->calib), -1) << i;
        } while (std::chrono::steady_clock::now() < end);
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
        close(saved[0]);
        ASSERT_TRUE(LoadCalibrationFile(reader.get())) << i;
        const int32_t value = OneValue(&reader->calib);
        ASSERT_TRUE(value == 100 || value == 200) << i;
        ++seen[value == 100 ? 0 : 1];
    }
    EXPECT_GT(seen[0], KILLS / 10);
    EXPECT_GT(seen[1], KILLS / 10);
    EXPECT_TRUE(Write(u"Calibration", u"Mode", u"0", u"Korvex.ini"));
    EXPECT_EQ(EntriesOf("."), 1) << "nothing of the killed ones is left";
}

TEST(WritePrivateProfileStringW, LosesNoValueOfAnotherProcess)
{
    const TemporaryFolder folder;
    constexpr int EACH = 40;
    std::vector<pid_t> writers;
    for (const char16_t* section : {u"first", u"second"}) {
        const pid_t child = fork();
        if (child == 0) {
            for (int i = 0; i < EACH; ++i)
                Write(section, platform::FromUtf8(std::to_string(i)).c_str(), u"1");
            _exit(0);
        }
        writers.push_back(child);
    }
    for (const pid_t writer : writers)
        EXPECT_EQ(waitpid(writer, nullptr, 0), writer);
    const std::string all = ReadTextFile("a.ini");
    EXPECT_EQ(std::count(all.begin(), all.end(), '\n'), 2 + 2 * EACH) << all;
}

} // namespace
} // namespace korvex

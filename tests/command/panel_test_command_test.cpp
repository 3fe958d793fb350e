// `korvex paneltest`, as a person starts it.

#include "command/check/stored_calibration.h"
#include "testing/command.h"

namespace korvex {
namespace {

TEST(KorvexPanelTest, PrintsItsStatesWithoutAScreenAndStoresNothingWhenItEndsEarly)
{
    const Installation installation;
    Process command(installation.Unseen({"paneltest"}));
    EXPECT_EQ(ReadLine(command.error), "target 1 of 9 at 20, 15");
    const std::string settings = ReadTextFile("Korvex.ini");
    TouchAt(installation.second.get(), 25, 75);
    EXPECT_EQ(ReadLine(command.error), "sample 1: raw 255, 767");
    EXPECT_EQ(ReadLine(command.error), "target 2 of 9 at 512, 15");
    EXPECT_EQ(EndBySignal(&command, SIGTERM), 0);
    EXPECT_EQ(ReadTextFile("Korvex.ini"), settings);
    std::filesystem::permissions("Korvex.ini", std::filesystem::perms::owner_read);
    Process unsaved(installation.Unseen({"paneltest"}));
    EXPECT_THAT(ReadLine(unsaved.error), HasSubstr("The calibration will not be saved: '"));
    EXPECT_NE(ReadLineWith(unsaved.error, "target 1 of 9"), "");
    EXPECT_EQ(EndBySignal(&unsaved, SIGTERM), 1);
}

// What is stored afterwards, and what then becomes of what was there before.
TEST(JudgeStored, KeepsAGoodCalibrationThatABadOneReplaces)
{
    const TemporaryFolder folder;
    const std::string good = "[Calibration]\nSTD_MAX_X=1024\n";
    const std::string untouched
        = "[Calibration]\nMode=4\nADV_00_X=0\nADV_00_Y=0\nADV_01_X=0\nADV_01_Y=0\n"
          "ADV_02_X=0\nADV_02_Y=0\nADV_03_X=0\nADV_03_Y=0\n";
    using Row = std::tuple<std::string, std::string, int, std::string>;
    for (const auto& [before, after, exitCode, kept] : // empty: no file
        {Row{good, untouched, 1, good}, Row{good, good + "STD_MAX_Y=1024\n", 0, ""},
            Row{good, good, 0, ""}, Row{untouched, untouched + "Other=1\n", 1, ""},
            Row{"", untouched, 1, ""}, Row{untouched, untouched, 0, ""}}) {
        std::filesystem::remove("Korvex.ini");
        std::filesystem::remove("Korvex.ini.old");
        if (!before.empty())
            WriteTextFile("Korvex.ini", before);
        const command::SettingsBefore seen = command::LookAtSettings();
        WriteTextFile("Korvex.ini", after);
        ::testing::internal::CaptureStderr();
        EXPECT_EQ(command::JudgeStored(&seen), exitCode);
        const std::string said = ::testing::internal::GetCapturedStderr();
        EXPECT_EQ(said.substr(0, 61),
            exitCode == 0 ? "" : "korvex: what was stored looks wrong: the targets 1 and 2 were");
        EXPECT_EQ(ReadTextFile("Korvex.ini.old"), kept);
        EXPECT_EQ(ReadTextFile("Korvex.ini"), after);
    }
}

TEST(KorvexPanelTest, SaysWhenThereIsNoPanel)
{
    const TemporaryFolder folder;
    const Texts command{
        KORVEX, "paneltest", "--state", "state", "--port", "COM3=missing", "--trace", "trace.txt"};
    const RunResult printed
        = RunProgram(Joined(command, {"--windows", "none", "--pointer", "log"}));
    EXPECT_EQ(printed.exitCode, 4);
    EXPECT_THAT(printed.error, EndsWith("there is no such port\nNo Touch Screen Found !\n"));

    const Screen screen;
    Process boxed(command);
    EXPECT_NE(WaitForWindow("Touch Panel Utility"), 0U);
    EXPECT_EQ(RunProgram({"xdotool", "key", "Return"}).exitCode, 0);
    EXPECT_EQ(WaitForExit(&boxed), 4);
}

TEST(KorvexPanelTest, EndsWithEscapeOrItsCloseButton)
{
    const Installation installation;
    const Screen screen;
    for (const bool byKey : {true, false}) {
        Process command(installation.Command({"paneltest", "--trace", "trace.txt"}));
        const unsigned long window = WaitForWindow("Korvex Touch Solutions");
        EXPECT_TRUE(WaitUntil([&] { return PixelAt(&screen, 20, 15) == 0x808080; })) << "target";
        EXPECT_EQ(PixelAt(&screen, 512, 384), 0xFFFFFFU);
        EXPECT_EQ(PixelAt(&screen, 0, 0), 0U) << "the rectangle's outline";
        if (byKey)
            EXPECT_EQ(RunProgram({"xdotool", "key", "q", "key", "Escape"}).exitCode, 0);
        else
            PressCloseButton(&screen, window);
        EXPECT_EQ(WaitForExit(&command), 0);
    }
}

TEST(KorvexPanelTest, FindsTheControllerThatHasTakenTheKnownOnesPlace)
{
    PanelFolder folder;
    const auto run = [](const char* command, const char* line) {
        Process running({KORVEX, command, "--port", "COM3=panel", "--state", "state", "--windows",
            "none", "--pointer", "log", "--trace", "trace.txt"});
        EXPECT_NE(ReadLineWith(running.error, line), "");
        EXPECT_EQ(EndBySignal(&running, SIGTERM), 0);
    };
    run("enum", "Enable Touch Tests"); // which binds the first
    folder.Put(StartEmulator({0x7700}));
    run("paneltest", "target 1 of 9");
}

} // namespace
} // namespace korvex

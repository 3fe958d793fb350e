// Recorded lines, each of which must come out as the inputs that stand beside it.

#include "command/recording/recording.h"
#include "testing/testing.h"

namespace korvex {
namespace {

Texts RecordingNames()
{
    Texts names;
    for (const auto& entry : std::filesystem::directory_iterator(RECORDINGS_FOLDER)) {
        if (entry.path().extension() == ".recording")
            names.push_back(entry.path().stem().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

struct Recordings : TestWithParam<std::string> { };

TEST_P(Recordings, GiveTheirInputs)
{
    const TemporaryFolder withoutSettings;
    const std::filesystem::path path = std::filesystem::path(RECORDINGS_FOLDER) / GetParam();
    const RunResult replay
        = RunProgram({KORVEX_COMMAND, "replay", path.string() + ".recording", "--pointer", "log"});
    EXPECT_EQ(replay.exitCode, 0) << replay.error;
    EXPECT_EQ(replay.output, ReadTextFile(path.string() + ".inputs")) << replay.error;
}

INSTANTIATE_TEST_SUITE_P(Files, Recordings, ValuesIn(RecordingNames()), [](const auto& name) {
    std::string text = name.param;
    std::replace(text.begin(), text.end(), '-', '_');
    return text;
});

TEST(ParseRecording, NamesTheLineThatIsWrong)
{
    const std::string start = "korvex-recording 1\n";
    const std::string controller = "0.1 controller 5200 firmware 1.2.3 resolution 12 baud 9600\n";
    using Row = std::pair<std::string, std::string>;
    for (const auto& [text, complaint] : {Row{"", "line 1: not a recording"},
             Row{"korvex-recording 2\n", "line 1: version '2' of the format is not known"},
             Row{start, "no controller was identified in it"},
             Row{start + controller + controller, "line 3: a second controller"},
             Row{start + "0.1 controller 2400 firmware 1.2.3 resolution 10 baud 9600\n",
                 "line 2: not a controller that can be driven"},
             Row{start + "0.1 controller 7700 firmware 1.2.3 resolution 12 baud 9600\n",
                 "line 2: not a controller that can be driven"},
             Row{start + "soon report 70\n", "line 2: a time in seconds is missing"},
             Row{start + "0.1234567 sent 70\n", "line 2: a time in seconds is missing"},
             Row{start + "1.5 sent 70\n1.4 sent 70\n", "line 3: the time is before that of the "},
             Row{start + "1 report 70\n", "line 2: a report before the controller is known"},
             Row{start + controller + "1 report 7\n", "line 3: bytes of two hexadecimal digits"},
             Row{start + controller + "1 report\n", "line 3: bytes of two hexadecimal digits"},
             Row{start + controller + "1 sang 70\n", "line 3: unknown event 'sang'"}}) {
        command::Recording recording;
        std::string error;
        EXPECT_FALSE(command::ParseRecording(text, &recording, &error)) << text;
        EXPECT_THAT(error, StartsWith(complaint));
    }
    command::Recording recording;
    std::string error;
    ASSERT_TRUE(command::ParseRecording(start + "\n# by hand\r\n" + controller
            + "1 sent F3 00 0C 00 00 00\n1 answer F3 00\n1 answer 0C 01 F4 0B\n"
            + "2.000001 report 70 0a\r\n3 report FF",
        &recording, &error))
        << error;
    EXPECT_EQ(recording.controller.memory[12] << 8 | recording.controller.memory[13], 0x01F4);
    EXPECT_EQ(recording.controller.model, 0x5200U);
    EXPECT_EQ(recording.controller.resolutionBits, 12U);
    EXPECT_EQ(recording.controller.baudRate, 9600U);
    EXPECT_EQ(recording.controller.fwBuild, 3U);
    ASSERT_EQ(recording.reports.size(), 2U);
    EXPECT_EQ(recording.reports[0].time.count(), 2'000'001);
    EXPECT_EQ(recording.reports[0].bytes, (std::vector<uint8_t>{0x70, 0x0A}));
}

} // namespace
} // namespace korvex

#include "link/command_protocol.h"

#include <numeric>

#include "link/port_link.h"
#include "testing/test_line.h"
#include "testing/testing.h"

namespace korvex {
namespace {

using emulator::AnswerFault;
using emulator::AnswerFaultKind;
using emulator::EmulatorOptions;

// The packets of a step of the identification, at one rate.
Texts ShortProbes(const std::string& rate)
{
    return {rate + ":F0 00 00 00 00", rate + ":F1 00 00 00 00"};
}

Texts LongProbes(const std::string& rate)
{
    return {rate + ":F0 00 00 00 00 0F", rate + ":F1 00 00 00 00 0E"};
}

Texts LongQueries(const std::string& rate)
{
    return {rate + ":FF 00 00 00 00 00", rate + ":EE 00 00 00 00 11", rate + ":ED 00 00 00 00 12"};
}

Texts operator+(const Texts& first, const Texts& second)
{
    return Joined(first, second);
}

TEST(IdentifyController, FindsEachModelAtEachRateWithTheExactBytes)
{
    const Texts shortSteps = ShortProbes("19200") + ShortProbes("9600");
    using Row = std::tuple<EmulatorOptions, const char*, Texts>;
    for (const auto& [options, identity, packets] : {
             Row{{MODEL_7700}, "model 7700, 5 bytes, 19200 baud, 10 bits, firmware 1.2.3",
                 ShortProbes("19200") + Texts{"19200:F2 00 00 00 00"}},
             Row{{MODEL_7700, 0, 9600}, "model 7700, 5 bytes, 9600 baud, 10 bits, firmware 1.2.3",
                 shortSteps + Texts{"9600:F2 00 00 00 00"}},
             Row{{MODEL_5200, 0, 19200, 12, 1, 2, 0x0304},
                 "model 5200, 6 bytes, 19200 baud, 12 bits, firmware 1.2.772",
                 shortSteps + LongProbes("19200") + LongQueries("19200")},
             Row{{MODEL_5200, 0x1555, 9600},
                 "model 5200, 6 bytes, 9600 baud, 10 bits, firmware 1.2.3",
                 shortSteps + LongProbes("19200") + LongProbes("9600") + LongQueries("9600")},
             Row{{MODEL_5460}, "model 5460, 6 bytes, 19200 baud, 10 bits, firmware 1.2.3",
                 shortSteps + LongProbes("19200") + LongQueries("19200")},
         }) {
        const TestLine line(options);
        EXPECT_TRUE(IdentifyController(line.controller.get()));
        EXPECT_EQ(IdentityText(line.controller.get()), identity);
        EXPECT_EQ(PacketTexts(line.emulator.get(), packets.size()), packets);
    }
}

TEST(IdentifyController, AsksASilentLineEightTimesAndNoMore)
{
    const TestLine line;
    AddAnswerFault(line.emulator.get(), {AnswerFaultKind::SILENCE});
    EXPECT_FALSE(IdentifyController(line.controller.get()));
    EXPECT_EQ(
        IdentityText(line.controller.get()), "model 0, 0 bytes, 0 baud, 0 bits, firmware 0.0.0");
    EXPECT_EQ(PacketTexts(line.emulator.get(), 8),
        ShortProbes("19200") + ShortProbes("9600") + LongProbes("19200") + LongProbes("9600"));
    DCB dcb{};
    EXPECT_TRUE(GetCommState(line.controller->link.handle, &dcb));
    EXPECT_EQ(dcb.BaudRate, 9600U) << "the failed probe leaves the port at its last rate";
}

// Both queries are always asked, the last candidate's values stay, and only the first part of the
// version may be missing.
TEST(IdentifyController, FailsWhenAQueryGoesUnanswered)
{
    using Row = std::pair<int, const char*>;
    for (const auto& [code, identity] :
        {Row{COMMAND_RESOLUTION, "model 5200, 6 bytes, 19200 baud, 10 bits, firmware 1.2.3"},
            Row{COMMAND_FIRMWARE_VERSION,
                "model 5200, 6 bytes, 19200 baud, 12 bits, firmware 1.0.0"},
            Row{COMMAND_FIRMWARE_IDENTITY,
                "model 5200, 6 bytes, 19200 baud, 12 bits, firmware 0.2.3"}}) {
        const TestLine line({MODEL_5200, 0, 19200, 12});
        AddAnswerFault(line.emulator.get(), {AnswerFaultKind::SILENCE, -1, code});
        EXPECT_EQ(IdentifyController(line.controller.get()), code == COMMAND_FIRMWARE_IDENTITY);
        EXPECT_EQ(IdentityText(line.controller.get()), identity);
        EXPECT_EQ(PacketTexts(line.emulator.get(), 9).back(), "19200:ED 00 00 00 00 12");
    }
}

TEST(Transact, SendsAgainAfterARejectedAnswerButNotAfterSilence)
{
    using Row = std::tuple<uint32_t, AnswerFault, size_t, bool>;
    for (const auto& [model, fault, sends, succeeds] :
        {Row{MODEL_5200, {AnswerFaultKind::CORRUPTION, 2}, 3, true},
            Row{MODEL_5200, {AnswerFaultKind::CORRUPTION, 3}, 3, false},
            Row{MODEL_5200, {AnswerFaultKind::WRONG_ECHO, 1}, 2, true},
            Row{MODEL_5200, {AnswerFaultKind::NOISE, 1}, 2, true},
            Row{MODEL_5200, {AnswerFaultKind::NOISE, 3}, 3, false},
            Row{MODEL_5200, {AnswerFaultKind::SILENCE, 1}, 1, false},
            Row{MODEL_7700, {AnswerFaultKind::CORRUPTION, 2}, 3, true},
            Row{MODEL_7700, {AnswerFaultKind::WRONG_ECHO, 3}, 3, false}}) {
        const TestLine line({model}, model);
        AddAnswerFault(line.emulator.get(), fault);
        Packet command{COMMAND_PRESENCE};
        if (model == MODEL_5200)
            command[5] = PacketChecksum(command.data(), 5);
        Packet answer{};
        EXPECT_EQ(Transact(line.controller.get(), &command, &answer), succeeds);
        EXPECT_EQ(PacketTexts(line.emulator.get(), sends).size(), sends);
        EXPECT_EQ(
            answer[0] == COMMAND_PRESENCE, succeeds || fault.kind == AnswerFaultKind::CORRUPTION);
        EXPECT_FALSE(LinkRead(&line.controller->link, answer.data(), 1))
            << "the last rejected answer is drained too";
    }
}

TEST(Transact, SendsNothingOnceTheHostStopsAndReadsNothingAfterAFailedWrite)
{
    const TestLine line({}, MODEL_5200);
    line.controller->stopEvent = CreateEventW(nullptr, TRUE, TRUE, nullptr);
    const Packet command{COMMAND_PRESENCE};
    Packet answer{};
    answer.fill(0xAA);
    EXPECT_FALSE(Transact(line.controller.get(), &command, &answer));
    EXPECT_FALSE(ReadBoardCalibration(line.controller.get()));
    EXPECT_FALSE(WaitForCommands(line.emulator.get(), 1, milliseconds(50)));
    CloseHandle(std::exchange(line.controller->stopEvent, nullptr));
    HangUp(line.emulator.get());
    EXPECT_FALSE(Transact(line.controller.get(), &command, &answer));
    EXPECT_EQ(answer[0], 0xAA) << "the buffer is cleared only for an answer that is read";
    EXPECT_FALSE(SerialDrain(&line.controller->link));
}

TEST(ProbeBaud, SendsAKnownModelsOwnProbes)
{
    const TestLine line({MODEL_5460}, MODEL_5460);
    EXPECT_TRUE(ProbeBaud(line.controller.get()));
    EXPECT_EQ(PacketTexts(line.emulator.get(), 2),
        (Texts{"19200:F0 00 00 00 00 00", "19200:F1 00 00 00 00 00"}));
}

TEST(QueryResolution, RefusesAnswersOtherThanTenAndTwelve)
{
    const TestLine line({MODEL_5200, 0, 19200, 11});
    line.Know(MODEL_5200, 12);
    EXPECT_FALSE(QueryResolution(line.controller.get()));
    EXPECT_EQ(line.controller->resolutionBits, 10U);
}

// Two failures at each of two addresses, one after the other: the limit is three in a row at one.
TEST(ReadBoardCalibration, ReadsEveryByteAndSurvivesTwoFailures)
{
    for (const uint32_t model : {MODEL_5200, MODEL_7700}) {
        const bool seven = model == MODEL_7700;
        EmulatorOptions options{model};
        std::iota(options.memory.begin(), options.memory.end(), uint8_t{0});
        const TestLine line(options, model);
        for (const int place : {5, 6})
            AddAnswerFault(line.emulator.get(),
                {AnswerFaultKind::SILENCE, 2,
                    seven ? COMMAND_READ_MEMORY_7700 + place : COMMAND_READ_MEMORY,
                    seven ? -1 : 2 * place});
        EXPECT_TRUE(ReadBoardCalibration(line.controller.get()));
        const size_t packets = seven ? 28 + 4 : 56 + 4;
        const Texts texts = PacketTexts(line.emulator.get(), packets);
        EXPECT_EQ(texts.size(), packets);
        EXPECT_EQ(texts.front(), seven ? "19200:D0 00 00 00 00" : "19200:F3 00 00 00 00 0C");
        EXPECT_EQ(texts.back(), seven ? "19200:EB 00 00 00 00" : "19200:F3 00 6E 00 00 9E");
        const CalibrationData* calib = &line.controller->calib;
        EXPECT_EQ(TextOf(calib),
            std::string("mode 0, orientation 0, 1 points, box ")
                + (seven ? "517..775 1033..1291" : "1029..1543 2057..2571") + ", raw 1024 x 1024");
        EXPECT_EQ(calib->advPoints[24], seven ? (Point{13933, 14191}) : (Point{27757, 28271}));
    }
}

} // namespace
} // namespace korvex

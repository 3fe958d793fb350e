#include "link/command_protocol.h"

#include <gtest/gtest.h>

#include <chrono>
#include <numeric>
#include <string>
#include <vector>

#include "testing/test_line.h"

namespace korvex {
namespace {

using emulator::AnswerFault;
using emulator::AnswerFaultKind;
using emulator::EmulatorOptions;
using testing::PacketTexts;
using testing::TestLine;
using Texts = std::vector<std::string>;

void ExpectIdentity(const TouchController* controller, uint32_t model, uint32_t baudRate, uint32_t resolutionBits, uint32_t build)
{
    EXPECT_EQ(controller->model, model);
    EXPECT_EQ(controller->reportLength, model == MODEL_7700 ? 5U : 6U);
    EXPECT_EQ(controller->link.baudRate, baudRate);
    EXPECT_EQ(controller->resolutionBits, resolutionBits);
    EXPECT_EQ(controller->fwMajor, 1);
    EXPECT_EQ(controller->fwMinor, 2);
    EXPECT_EQ(controller->fwBuild, build);
}

const Texts SHORT_PROBES{"19200:F0 00 00 00 00", "19200:F1 00 00 00 00", "9600:F0 00 00 00 00", "9600:F1 00 00 00 00"};

Texts Concatenated(const Texts& first, const Texts& second)
{
    Texts all = first;
    all.insert(all.end(), second.begin(), second.end());
    return all;
}

TEST(IdentifyController, FindsEachModelAtEachRateWithTheExactBytes)
{
    const Texts long19200{"19200:F0 00 00 00 00 0F", "19200:F1 00 00 00 00 0E"};
    const Texts long9600{"9600:F0 00 00 00 00 0F", "9600:F1 00 00 00 00 0E"};
    const auto queries = [](const std::string& rate) {
        return Texts{rate + ":FF 00 00 00 00 00", rate + ":EE 00 00 00 00 11", rate + ":ED 00 00 00 00 12"};
    };
    struct Row {
        uint32_t model, baudRate, resolutionBits;
        Texts packets;
    };
    const Row rows[]{
        {MODEL_7700, 19200, 10, {"19200:F0 00 00 00 00", "19200:F1 00 00 00 00", "19200:F2 00 00 00 00"}},
        {MODEL_7700, 9600, 10, Concatenated(SHORT_PROBES, {"9600:F2 00 00 00 00"})},
        {MODEL_5200, 19200, 12, Concatenated(Concatenated(SHORT_PROBES, long19200), queries("19200"))},
        {MODEL_5200, 9600, 10, Concatenated(Concatenated(Concatenated(SHORT_PROBES, long19200), long9600), queries("9600"))},
        {MODEL_5460, 19200, 10, Concatenated(Concatenated(SHORT_PROBES, long19200), queries("19200"))},
    };
    for (const Row& row : rows) {
        EmulatorOptions options;
        options.model = row.model;
        options.baudRate = row.baudRate;
        options.resolutionBits = row.resolutionBits;
        options.fwBuild = row.model == MODEL_7700 ? 3 : 0x0304;
        const TestLine line(options);
        EXPECT_TRUE(IdentifyController(line.controller.get()));
        ExpectIdentity(line.controller.get(), row.model, row.baudRate, row.resolutionBits, options.fwBuild);
        EXPECT_EQ(PacketTexts(line.emulator.get(), row.packets.size()), row.packets);
    }
}

TEST(IdentifyController, AsksASilentLineEightTimesAndNoMore)
{
    const TestLine line;
    AddAnswerFault(line.emulator.get(), AnswerFault{AnswerFaultKind::SILENCE});
    EXPECT_FALSE(IdentifyController(line.controller.get()));
    EXPECT_EQ(line.controller->model, 0U);
    EXPECT_EQ(line.controller->reportLength, 0U);
    EXPECT_EQ(line.controller->link.baudRate, 0U);
    EXPECT_EQ(PacketTexts(line.emulator.get(), 8),
        Concatenated(
            SHORT_PROBES, {"19200:F0 00 00 00 00 0F", "19200:F1 00 00 00 00 0E", "9600:F0 00 00 00 00 0F", "9600:F1 00 00 00 00 0E"}));
    DCB dcb{};
    EXPECT_TRUE(GetCommState(line.controller->link.handle, &dcb));
    EXPECT_EQ(dcb.BaudRate, 9600U) << "the failed probe leaves the port at its last rate";
}

TEST(IdentifyController, FailsWhenAQueryGoesUnanswered)
{
    for (const int code : {int{COMMAND_RESOLUTION}, int{COMMAND_FIRMWARE_VERSION}}) {
        const TestLine line;
        AddAnswerFault(line.emulator.get(), AnswerFault{AnswerFaultKind::SILENCE, -1, code, -1});
        EXPECT_FALSE(IdentifyController(line.controller.get()));
        EXPECT_EQ(line.controller->model, MODEL_5200) << "the last candidate's values stay";
        const Texts packets = PacketTexts(line.emulator.get(), 9);
        EXPECT_EQ(packets.back(), "19200:ED 00 00 00 00 12") << "both queries are always asked";
    }
    const TestLine line; // the first part of the version alone may be missing
    AddAnswerFault(line.emulator.get(), AnswerFault{AnswerFaultKind::SILENCE, -1, COMMAND_FIRMWARE_IDENTITY, -1});
    EXPECT_TRUE(IdentifyController(line.controller.get()));
    EXPECT_EQ(line.controller->fwMajor, 0);
    EXPECT_EQ(line.controller->fwMinor, 2);
}

TEST(Transact, SendsAgainAfterARejectedAnswerButNotAfterSilence)
{
    struct Row {
        uint32_t model;
        AnswerFault fault;
        size_t sends;
        bool succeeds;
    };
    for (const Row& row : {Row{MODEL_5200, {AnswerFaultKind::CORRUPTION, 2}, 3, true},
             Row{MODEL_5200, {AnswerFaultKind::CORRUPTION, 3}, 3, false}, Row{MODEL_5200, {AnswerFaultKind::WRONG_ECHO, 1}, 2, true},
             Row{MODEL_5200, {AnswerFaultKind::NOISE, 1}, 2, true}, Row{MODEL_5200, {AnswerFaultKind::SILENCE, 1}, 1, false},
             Row{MODEL_7700, {AnswerFaultKind::CORRUPTION, 2}, 3, true}, Row{MODEL_7700, {AnswerFaultKind::WRONG_ECHO, 3}, 3, false}}) {
        EmulatorOptions options;
        options.model = row.model;
        const TestLine line(options);
        line.Know(row.model);
        AddAnswerFault(line.emulator.get(), row.fault);
        Packet command{COMMAND_PRESENCE};
        if (row.model == MODEL_5200)
            command[5] = PacketChecksum(command.data(), 5);
        Packet answer{};
        EXPECT_EQ(Transact(line.controller.get(), &command, &answer), row.succeeds);
        EXPECT_EQ(PacketTexts(line.emulator.get(), row.sends).size(), row.sends);
        EXPECT_EQ(answer[0] == COMMAND_PRESENCE, row.succeeds || row.fault.kind == AnswerFaultKind::CORRUPTION);
    }
}

TEST(Transact, ReadsNothingAfterAFailedWrite)
{
    const TestLine line;
    line.Know(MODEL_5200);
    HangUp(line.emulator.get());
    const Packet command{COMMAND_PRESENCE};
    Packet answer{};
    answer.fill(0xAA);
    EXPECT_FALSE(Transact(line.controller.get(), &command, &answer));
    EXPECT_EQ(answer[0], 0xAA) << "the buffer is cleared only for an answer that is read";
}

TEST(Transact, TakesNoAnswerThatIsCutShort)
{
    const emulator::Bytes whole{COMMAND_PRESENCE, 0, 0, 0, 0, 0x0E};
    for (size_t length = 0; length <= whole.size(); ++length) {
        const TestLine line;
        line.Know(MODEL_5200);
        AddAnswerFault(line.emulator.get(), AnswerFault{AnswerFaultKind::SILENCE});
        SendBytes(line.emulator.get(), {whole.begin(), whole.begin() + static_cast<ptrdiff_t>(length)});
        const Packet command{COMMAND_PRESENCE, 0, 0, 0, 0, 0x0E};
        Packet answer{};
        EXPECT_EQ(Transact(line.controller.get(), &command, &answer), length == whole.size()) << length;
    }
}

TEST(Transact, SendsNothingOnceTheHostStops)
{
    const TestLine line;
    line.Know(MODEL_5200);
    line.controller->stopEvent = CreateEventW(nullptr, TRUE, TRUE, nullptr);
    const Packet command{COMMAND_PRESENCE};
    Packet answer{};
    EXPECT_FALSE(Transact(line.controller.get(), &command, &answer));
    EXPECT_FALSE(ReadBoardCalibration(line.controller.get()));
    EXPECT_FALSE(WaitForCommands(line.emulator.get(), 1, std::chrono::milliseconds(50)));
    CloseHandle(line.controller->stopEvent);
}

TEST(ProbeBaud, SendsAKnownModelsOwnProbes)
{
    EmulatorOptions options;
    options.model = MODEL_5460;
    const TestLine line(options);
    line.Know(MODEL_5460);
    EXPECT_TRUE(ProbeBaud(line.controller.get()));
    EXPECT_TRUE(QueryFirmwareVersion(line.controller.get()));
    EXPECT_EQ(PacketTexts(line.emulator.get(), 4),
        (Texts{"19200:F0 00 00 00 00 00", "19200:F1 00 00 00 00 00", "19200:EE 00 00 00 00 11", "19200:ED 00 00 00 00 12"}));
    line.controller->model = MODEL_4400;
    line.controller->fwMajor = line.controller->fwMinor = 9;
    line.controller->fwBuild = 9;
    EXPECT_FALSE(QueryFirmwareVersion(line.controller.get()));
    EXPECT_EQ(line.controller->fwMajor, 0);
    EXPECT_EQ(line.controller->fwMinor, 0);
    EXPECT_EQ(line.controller->fwBuild, 0);
}

TEST(QueryResolution, RefusesAnswersOtherThanTenAndTwelve)
{
    EmulatorOptions options;
    options.resolutionBits = 11;
    const TestLine line(options);
    line.Know(MODEL_5200, 12);
    EXPECT_FALSE(QueryResolution(line.controller.get()));
    EXPECT_EQ(line.controller->resolutionBits, 10U);
}

TEST(ReadBoardCalibration, ReadsEveryByteAndSurvivesTwoFailures)
{
    for (const uint32_t model : {MODEL_5200, MODEL_7700}) {
        EmulatorOptions options;
        options.model = model;
        std::iota(options.memory.begin(), options.memory.end(), uint8_t{0});
        const TestLine line(options);
        line.Know(model);
        const AnswerFault fault{AnswerFaultKind::SILENCE, 2, model == MODEL_7700 ? COMMAND_READ_MEMORY_7700 + 5 : COMMAND_READ_MEMORY,
            model == MODEL_7700 ? -1 : 20};
        AddAnswerFault(line.emulator.get(), fault);
        EXPECT_TRUE(ReadBoardCalibration(line.controller.get()));
        const size_t packets = model == MODEL_7700 ? 28 + 2 : 56 + 2;
        const Texts texts = PacketTexts(line.emulator.get(), packets);
        EXPECT_EQ(texts.size(), packets);
        EXPECT_EQ(texts.front(), model == MODEL_7700 ? "19200:D0 00 00 00 00" : "19200:F3 00 00 00 00 0C");
        EXPECT_EQ(texts.back(), model == MODEL_7700 ? "19200:EB 00 00 00 00" : "19200:F3 00 6E 00 00 9E");

        const auto value = [model](int32_t address) { return (model == MODEL_7700 ? 128 : 256) * address + address + 1; };
        const CalibrationData& calib = line.controller->calib;
        EXPECT_EQ(calib.orientation, 0U);
        EXPECT_EQ(calib.pointCount, 1U);
        EXPECT_EQ(calib.stdMinX, value(4));
        EXPECT_EQ(calib.stdMaxX, value(6));
        EXPECT_EQ(calib.stdMinY, value(8));
        EXPECT_EQ(calib.stdMaxY, value(10));
        EXPECT_EQ(calib.advPoints[24].x, value(108));
        EXPECT_EQ(calib.advPoints[24].y, value(110));
    }
}

TEST(ReadBoardCalibration, LeavesTheCalibrationAloneAfterThreeFailures)
{
    const TestLine line;
    line.Know(MODEL_5200);
    line.controller->calib.orientation = 77;
    AddAnswerFault(line.emulator.get(), AnswerFault{AnswerFaultKind::SILENCE, 3, COMMAND_READ_MEMORY, 20});
    EXPECT_FALSE(ReadBoardCalibration(line.controller.get()));
    EXPECT_EQ(line.controller->calib.orientation, 77U);
    EXPECT_EQ(PacketTexts(line.emulator.get(), 13).size(), 13U);
    line.Know(MODEL_5460);
    EXPECT_FALSE(ReadBoardCalibration(line.controller.get()));
    EXPECT_EQ(PacketTexts(line.emulator.get(), 13).size(), 13U) << "this model is asked nothing";
}

} // namespace
} // namespace korvex

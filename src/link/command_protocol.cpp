#include "link/command_protocol.h"

#include <algorithm>

#include "link/port_link.h"

namespace korvex {

namespace {

constexpr int ATTEMPTS = 3;
constexpr uint32_t CHECKED_BYTES = 5; // a packet's checksum covers its first five bytes
constexpr uint8_t SEVEN_BIT_LIMIT = 0x80;
constexpr std::array<uint32_t, 2> BAUD_RATES{19200, 9600};

// The short packets go first: a 6-byte controller ignores them, but a 5-byte one could take a
// longer packet for more than one command.
constexpr std::array CANDIDATES{MODEL_7700, MODEL_5200};

Packet CommandPacket(uint8_t code)
{
    return Packet{code};
}

void AddChecksum(const TouchController* controller, Packet* command)
{
    if (controller->link.kind == LINK_SERIAL)
        (*command)[CHECKED_BYTES] = PacketChecksum(command->data(), CHECKED_BYTES);
}

// The probes carry a checksum for model 0x5200 alone.
Packet ProbePacket(const TouchController* controller, uint8_t code)
{
    Packet command = CommandPacket(code);
    if (controller->model == MODEL_5200)
        AddChecksum(controller, &command);
    return command;
}

uint8_t LowByte(uint32_t value)
{
    return static_cast<uint8_t>(value & 0xFF);
}

bool QueryFirmware7700(TouchController* controller)
{
    const Packet command = CommandPacket(COMMAND_FIRMWARE_7700);
    Packet answer{};
    if (!Transact(controller, &command, &answer))
        return false;
    controller->fwMajor = answer[2];
    controller->fwMinor = answer[3];
    controller->fwBuild = static_cast<uint16_t>(answer[4] >> 4);
    return true;
}

bool QueryFirmwareSixByte(TouchController* controller)
{
    if (QueryModelNumber(controller) && controller->answers.modelNumber == MODEL_NUMBER_5460)
        controller->model = MODEL_5460;
    Packet answer{};
    Packet command = CommandPacket(COMMAND_FIRMWARE_VERSION);
    AddChecksum(controller, &command);
    // checked under the model that may have just been set
    if (!Transact(controller, &command, &answer))
        return false;
    controller->fwMinor = LowByte(DecodeCoord(controller, &answer[1], true));
    controller->fwBuild = static_cast<uint16_t>(DecodeCoord(controller, &answer[3], true));
    return true;
}

using BoardMemory = std::array<uint8_t, BOARD_MEMORY_BYTES>;

// Reads the bytes at `address`; the count of bytes read, 0 when the exchange failed.
uint32_t ReadMemory(TouchController* controller, uint32_t address, BoardMemory* memory)
{
    const MemoryAccess access = MemoryAccessOf(controller->model);
    Packet command = CommandPacket(access.firstCode);
    if (access.codePerAddress) {
        command[0] = LowByte(access.firstCode + address / access.bytes);
    } else {
        command[2] = LowByte(address);
        AddChecksum(controller, &command);
    }
    Packet answer{};
    if (!Transact(controller, &command, &answer))
        return 0;
    std::copy_n(&answer[access.offset], access.bytes, &(*memory)[address]);
    return access.bytes;
}

void AdoptBoardCalibration(TouchController* controller, const BoardMemory* memory)
{
    const auto valueAt = [controller, memory](uint32_t address) {
        return static_cast<int32_t>(DecodeCoord(controller, &(*memory)[address], true));
    };
    CalibrationData* calib = &controller->calib;
    calib->orientation = (*memory)[0];
    calib->pointCount = (*memory)[1];
    calib->stdMinX = valueAt(4);
    calib->stdMaxX = valueAt(6);
    calib->stdMinY = valueAt(8);
    calib->stdMaxY = valueAt(10);
    for (uint32_t i = 0; i < MAX_CALIBRATION_POINTS; ++i)
        calib->advPoints[i] = {valueAt(12 + 4 * i), valueAt(14 + 4 * i)};
}

bool TryCandidate(TouchController* controller, uint32_t model)
{
    controller->model = model;
    controller->reportLength = ReportLengthOf(model);
    if (!ProbeBaud(controller)) {
        controller->model = 0;
        controller->reportLength = 0;
        return false;
    }
    const bool resolutionKnown = QueryResolution(controller);
    const bool firmwareKnown = QueryFirmwareVersion(controller);
    return resolutionKnown && firmwareKnown;
}

} // namespace

uint32_t CandidateOf(uint32_t model)
{
    return *std::find_if(CANDIDATES.begin(), CANDIDATES.end() - 1,
        [model](uint32_t candidate) { return ReportLengthOf(candidate) == ReportLengthOf(model); });
}

uint8_t PacketChecksum(const uint8_t* bytes, uint32_t count)
{
    uint32_t sum = 0;
    for (uint32_t i = 0; i < count; ++i)
        sum += bytes[i];
    return LowByte(~sum);
}

bool PacketIsValid(uint32_t model, const uint8_t* packet)
{
    switch (model) {
    case MODEL_5200:
    case MODEL_5460:
        return packet[CHECKED_BYTES] == PacketChecksum(packet, CHECKED_BYTES);
    case MODEL_7700: {
        const bool firstData = packet[0] == COMMAND_FIRMWARE_7700 ? packet[1] == FIRMWARE_7700_MARK
                                                                  : packet[1] < SEVEN_BIT_LIMIT;
        return firstData && packet[2] < SEVEN_BIT_LIMIT && packet[3] < SEVEN_BIT_LIMIT
            && packet[4] < SEVEN_BIT_LIMIT;
    }
    default:
        return false;
    }
}

uint32_t DecodeCoord(const TouchController* controller, const uint8_t* field, bool bigEndian)
{
    const uint32_t first = field[0];
    const uint32_t second = field[1];
    switch (controller->model) {
    case MODEL_2400:
        return first + 256 * second;
    case MODEL_4400:
    case MODEL_5200:
    case MODEL_5203:
    case MODEL_5460:
        return bigEndian ? 256 * first + second : first + 256 * second;
    case MODEL_7700:
        return (128 * first + second) & 0xFFFF;
    default:
        return 0;
    }
}

bool Transact(TouchController* controller, const Packet* command, Packet* answer)
{
    const uint32_t length = std::min(controller->reportLength, MAX_PACKET_BYTES);
    for (int attempt = 0; attempt < ATTEMPTS; ++attempt) {
        if (IsStopRequested(controller))
            return false;
        if (!LinkWrite(&controller->link, command->data(), length))
            return false;
        answer->fill(0);
        if (!LinkRead(&controller->link, answer->data(), length))
            return false;
        if ((*answer)[0] == (*command)[0] && PacketIsValid(controller->model, answer->data()))
            return true;
        SerialDrain(&controller->link);
    }
    return false;
}

bool ProbeBaud(TouchController* controller)
{
    return std::any_of(BAUD_RATES.begin(), BAUD_RATES.end(),
        [controller](uint32_t baudRate) { return ProbeBaudAt(controller, baudRate); });
}

bool ProbeBaudAt(TouchController* controller, uint32_t baudRate)
{
    SerialSetBaud(&controller->link, baudRate);
    Packet answer{};
    const Packet wake = ProbePacket(controller, COMMAND_WAKE);
    Transact(controller, &wake, &answer);
    const Packet presence = ProbePacket(controller, COMMAND_PRESENCE);
    if (Transact(controller, &presence, &answer))
        return true;
    controller->link.baudRate = 0; // the port keeps the rate
    return false;
}

bool QueryResolution(TouchController* controller)
{
    controller->resolutionBits = LOW_RESOLUTION_BITS;
    if (controller->model != MODEL_5200)
        return true;
    Packet command = CommandPacket(COMMAND_RESOLUTION);
    AddChecksum(controller, &command);
    Packet answer{};
    if (!Transact(controller, &command, &answer))
        return false;
    const uint32_t bits = answer[4];
    if (bits != LOW_RESOLUTION_BITS && bits != HIGH_RESOLUTION_BITS)
        return false;
    controller->resolutionBits = bits;
    controller->answers.resolutionBits = bits;
    return true;
}

bool QueryFirmwareVersion(TouchController* controller)
{
    controller->fwMajor = 0;
    controller->fwMinor = 0;
    controller->fwBuild = 0;
    switch (controller->model) {
    case MODEL_7700:
        return QueryFirmware7700(controller);
    case MODEL_2400:
    case MODEL_5200:
    case MODEL_5460:
        return QueryFirmwareSixByte(controller);
    default:
        return false;
    }
}

bool QueryModelNumber(TouchController* controller)
{
    Packet command = CommandPacket(COMMAND_FIRMWARE_IDENTITY);
    AddChecksum(controller, &command);
    Packet answer{};
    if (!Transact(controller, &command, &answer))
        return false;
    controller->answers.modelNumber = DecodeCoord(controller, &answer[1], true);
    controller->fwMajor = LowByte(DecodeCoord(controller, &answer[3], true));
    return true;
}

bool ReadBoardCalibration(TouchController* controller)
{
    if (controller->model != MODEL_5200 && controller->model != MODEL_7700)
        return false;
    BoardMemory memory{};
    uint32_t address = 0;
    int failures = 0;
    while (address < BOARD_MEMORY_BYTES) {
        const uint32_t count = ReadMemory(controller, address, &memory);
        address += count;
        failures = count > 0 ? 0 : failures + 1;
        if (failures == ATTEMPTS)
            return false;
    }
    AdoptBoardCalibration(controller, &memory);
    return true;
}

bool IdentifyController(TouchController* controller)
{
    controller->link.kind = LINK_SERIAL;
    controller->model = 0;
    return std::any_of(CANDIDATES.begin(), CANDIDATES.end(),
        [controller](uint32_t model) { return TryCandidate(controller, model); });
}

} // namespace korvex

// The command protocol of serial controllers: a command packet goes out, one packet of the same
// length comes back whose first byte repeats the command's code. Two packet formats: 6-byte packets
// whose last byte is a checksum, and 5-byte packets (model 0x7700) whose data bytes have 7 bits.
// Runs on the detecting thread, before the session's reader thread exists. Results are true for
// success.
#pragma once

#include <array>
#include <cstdint>

#include "link/touch_controller.h"

namespace korvex {

// Command codes, byte 0 of a packet.
inline constexpr uint8_t COMMAND_WAKE = 0xF0; // its answer says nothing
// its answer says that the baud rate is right
inline constexpr uint8_t COMMAND_PRESENCE = 0xF1;
// model number and first part of the version
inline constexpr uint8_t COMMAND_FIRMWARE_IDENTITY = 0xEE;
inline constexpr uint8_t COMMAND_FIRMWARE_VERSION = 0xED; // second and third part of the version
inline constexpr uint8_t COMMAND_FIRMWARE_7700 = 0xF2;    // the whole version of model 0x7700
inline constexpr uint8_t COMMAND_RESOLUTION = 0xFF;
inline constexpr uint8_t COMMAND_READ_MEMORY = 0xF3;      // byte 2: address
inline constexpr uint8_t COMMAND_READ_MEMORY_7700 = 0xD0; // plus address / 4
inline constexpr uint8_t COMMAND_RAW_RANGE = 0xE5;        // model 0x2400

inline constexpr uint8_t FIRMWARE_7700_MARK = 0xD9; // byte 1 of model 0x7700's firmware answer

inline constexpr uint32_t BOARD_MEMORY_BYTES = 112;
inline constexpr uint32_t MAX_PACKET_BYTES = 6;

using Packet = std::array<uint8_t, MAX_PACKET_BYTES>;

// The one's complement of the low byte of the sum of `count` bytes.
uint8_t PacketChecksum(const uint8_t* bytes, uint32_t count);

// True when the packet, an answer or a touch report, is one that the model sends whole: by its
// checksum (0x5200 and 0x5460) or by its 7-bit data bytes (0x7700). Packets of other models are
// always refused.
bool PacketIsValid(uint32_t model, const uint8_t* packet);

// The 16-bit value of the two bytes at `field`, in the byte order of the model: that of answers
// (bigEndian) or of touch reports. 0 for an unknown model.
uint32_t DecodeCoord(const TouchController* controller, const uint8_t* field, bool bigEndian);

// Sends the command (reportLength bytes) and reads its answer. A rejected answer, one with the
// wrong code or an invalid packet, is followed by a drain of the line and sent again, 3 times in
// all; a failed write or read ends the exchange at once, and so does a requested stop. On false
// `answer` holds what came last.
bool Transact(TouchController* controller, const Packet* command, Packet* answer);

// The model whose probes (ProbeBaud) a model answers: that with packets of its length.
uint32_t CandidateOf(uint32_t model);

// Finds the baud rate at which the controller answers, 19200 or 9600. On false the link's baudRate
// is 0.
bool ProbeBaud(TouchController* controller);

// Probes at one rate only, 19200 or 9600; otherwise as ProbeBaud.
bool ProbeBaudAt(TouchController* controller, uint32_t baudRate);

// Asks a model 0x5200 for its resolution; every other model has 10 bits. On false resolutionBits is
// 10, and answers.resolutionBits is unchanged.
bool QueryResolution(TouchController* controller);

// Reads the firmware version, and turns model 0x5200 into 0x5460 where the controller says so. On
// false fields that were not read are 0.
bool QueryFirmwareVersion(TouchController* controller);

// Asks the firmware of a 6-byte controller which model it is (answers.modelNumber), and for the
// first part of its version. False, with both untouched, when it does not say.
bool QueryModelNumber(TouchController* controller);

// Model numbers of firmware that can be driven.
inline constexpr uint32_t MODEL_NUMBER_5200 = 5200;
inline constexpr uint32_t MODEL_NUMBER_5460 = 5460;

// How the memory is read with one packet format, and how many bytes each answer carries.
struct MemoryAccess {
    uint8_t firstCode; // COMMAND_READ_MEMORY or COMMAND_READ_MEMORY_7700
    uint32_t bytes;
    uint32_t offset;     // of these bytes in the answer
    bool codePerAddress; // each answer's bytes have a code of their own; else the command has an
                         // address
};

constexpr MemoryAccess MemoryAccessOf(uint32_t model)
{
    return model == MODEL_7700 ? MemoryAccess{COMMAND_READ_MEMORY_7700, 4, 1, true}
                               : MemoryAccess{COMMAND_READ_MEMORY, 2, 3, false};
}

// Reads the calibration kept in the controller's memory (models 0x5200 and 0x7700; any other:
// nothing is sent) into orientation, pointCount, standard box and all 25 advPoints, unchecked. On
// false the calibration is untouched: an address failed 3 times in a row.
bool ReadBoardCalibration(TouchController* controller);

// Finds out what is attached to the freshly opened port of the link: model, reportLength, baud
// rate, resolution and firmware version.
// False when no controller answers at either rate, or one does not answer everything.
bool IdentifyController(TouchController* controller);

} // namespace korvex

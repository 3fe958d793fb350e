// The emulated controller without its line: what it is, how it answers, and what it reports.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "emulator/distortion.h"
#include "emulator/noise.h"

namespace korvex::emulator {

using Bytes = std::vector<uint8_t>;

inline constexpr size_t MEMORY_BYTES = 112;

enum class AnswerFaultKind {
    SILENCE,    // no answer
    WRONG_ECHO, // the answer carries another code
    CORRUPTION, // the answer fails the model's check
    NOISE,      // stray bytes come before the answer
};

// Spoils answers.
struct AnswerFault {
    AnswerFaultKind kind;
    int count = -1;     // how many answers; -1: all
    int code = -1;      // only of this command; -1: of any
    int parameter = -1; // only with this byte 2; -1: with any
};

// Spoils reports.
struct ReportFault {
    Bytes noiseBefore = {}; // sent before each report
    size_t gapAfter = 0;    // bytes of each report that come before a gap; 0: none
    std::chrono::milliseconds gapLength{0};
};

inline constexpr std::array<uint32_t, 3> EMULATED_MODELS{0x5200, 0x5460, 0x7700};

struct EmulatorOptions {
    uint32_t model = 0x5200; // one of EMULATED_MODELS
    // what the firmware of a 6-byte model calls itself, decimal; 0: its own number
    uint32_t modelNumber = 0;
    uint32_t baudRate = 19200;
    uint32_t resolutionBits = 10; // of model 0x5200; the others have 10
    uint8_t fwMajor = 1;
    uint8_t fwMinor = 2;
    uint16_t fwBuild = 3; // model 0x7700: 0 to 7
    std::array<uint8_t, MEMORY_BYTES> memory{};
    std::vector<AnswerFault> answerFaults = {};
    ReportFault reportFault = {};
    Distortion distortion = {}; // of the places of gestures
    Noise noise = {};           // of their measurements
};

// Reads a firmware version, "1.2.3", of at most 255.255.65535; false when it is none.
bool ParseFirmware(std::string_view text, EmulatorOptions* options);

// Bytes of each packet of the model.
size_t PacketBytes(const EmulatorOptions& options);

// Bits of a coordinate in the model's reports.
uint32_t ResolutionOf(const EmulatorOptions& options);

// The checksum of the first five bytes of a 6-byte packet.
uint8_t Checksum(const Bytes& packet);

// Whether a command can begin with the byte.
bool IsCommandCode(uint8_t byte);

// Whether a whole packet of the host is valid.
bool IsCommandIntact(const EmulatorOptions& options, const Bytes& command);

// The data bytes of the answer to a command; none when the model does not know it.
std::optional<Bytes> AnswerData(const EmulatorOptions& options, const Bytes& command);

// The bytes of one touch report in the model's format.
Bytes ReportBytes(const EmulatorOptions& options, bool touching, uint32_t rawX, uint32_t rawY);

} // namespace korvex::emulator

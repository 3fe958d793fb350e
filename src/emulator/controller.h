// The emulated controller without its line: what it is, how it answers, and what it reports.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace korvex::emulator {

using Bytes = std::vector<uint8_t>;

inline constexpr size_t MEMORY_BYTES = 112;

struct EmulatorOptions {
    uint32_t model = 0x5200; // 0x5200, 0x5460 or 0x7700
    // what the firmware of a 6-byte model calls itself, decimal; 0: its own number
    uint32_t modelNumber = 0;
    uint32_t baudRate = 19200;
    uint32_t resolutionBits = 10; // of model 0x5200; the others have 10
    uint8_t fwMajor = 1;
    uint8_t fwMinor = 2;
    uint16_t fwBuild = 3; // model 0x7700: 0 to 7
    std::array<uint8_t, MEMORY_BYTES> memory{};
};

// Bytes of each packet of the model.
size_t PacketBytes(const EmulatorOptions& options);

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

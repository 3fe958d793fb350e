#include "emulator/controller.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <system_error>

namespace korvex::emulator {

namespace {

constexpr uint8_t WAKE = 0xF0;
constexpr uint8_t PRESENCE = 0xF1;
constexpr uint8_t FIRMWARE_7700 = 0xF2;
constexpr uint8_t READ_MEMORY = 0xF3;
constexpr uint8_t FIRMWARE_IDENTITY = 0xEE;
constexpr uint8_t FIRMWARE_VERSION = 0xED;
constexpr uint8_t RESOLUTION = 0xFF;
constexpr uint8_t READ_MEMORY_7700_FIRST = 0xD0;
constexpr uint8_t READ_MEMORY_7700_LAST = 0xEB;

uint8_t High(uint32_t value)
{
    return static_cast<uint8_t>(value >> 8);
}

uint8_t Low(uint32_t value)
{
    return static_cast<uint8_t>(value & 0xFF);
}

} // namespace

bool ParseFirmware(std::string_view text, EmulatorOptions* options)
{
    constexpr std::array<uint32_t, 3> LIMITS{0xFF, 0xFF, 0xFFFF};
    std::array<uint32_t, 3> numbers{};
    for (size_t i = 0; i < numbers.size(); ++i) {
        const char* end = text.data() + text.size();
        const auto [rest, error] = std::from_chars(text.data(), end, numbers[i]);
        const bool isLast = i + 1 == numbers.size();
        if (error != std::errc{} || numbers[i] > LIMITS[i] || (rest == end) != isLast
            || (!isLast && *rest != '.'))
            return false;
        text.remove_prefix(isLast ? text.size() : static_cast<size_t>(rest + 1 - text.data()));
    }
    options->fwMajor = static_cast<uint8_t>(numbers[0]);
    options->fwMinor = static_cast<uint8_t>(numbers[1]);
    options->fwBuild = static_cast<uint16_t>(numbers[2]);
    return true;
}

size_t PacketBytes(const EmulatorOptions& options)
{
    return options.model == 0x7700 ? 5 : 6;
}

uint32_t ResolutionOf(const EmulatorOptions& options)
{
    return options.model == 0x5200 ? options.resolutionBits : 10;
}

uint8_t Checksum(const Bytes& packet)
{
    unsigned sum = 0;
    for (size_t i = 0; i < 5; ++i)
        sum += packet[i];
    return static_cast<uint8_t>(0xFF - (sum & 0xFF));
}

bool IsCommandCode(uint8_t byte)
{
    return byte >= READ_MEMORY_7700_FIRST;
}

bool IsCommandIntact(const EmulatorOptions& options, const Bytes& command)
{
    if (options.model == 0x7700)
        return std::all_of(
            command.begin() + 1, command.end(), [](uint8_t byte) { return byte < 0x80; });
    const bool plainProbe = options.model == 0x5460
        && (command[0] == WAKE || command[0] == PRESENCE) && command[5] == 0;
    return plainProbe || command[5] == Checksum(command);
}

std::optional<Bytes> AnswerData(const EmulatorOptions& options, const Bytes& command)
{
    const uint8_t code = command[0];
    if (code == WAKE || code == PRESENCE)
        return Bytes{0, 0, 0, 0};
    if (options.model == 0x7700) {
        if (code == FIRMWARE_7700)
            return Bytes{
                0xD9, options.fwMajor, options.fwMinor, static_cast<uint8_t>(options.fwBuild << 4)};
        if (code >= READ_MEMORY_7700_FIRST && code <= READ_MEMORY_7700_LAST) {
            const auto* start
                = options.memory.begin() + ptrdiff_t{4} * (code - READ_MEMORY_7700_FIRST);
            return Bytes(start, start + 4);
        }
        return std::nullopt;
    }
    if (code == FIRMWARE_IDENTITY) {
        const uint32_t own = options.model == 0x5460 ? 5460 : 5200;
        const uint32_t number = options.modelNumber == 0 ? own : options.modelNumber;
        return Bytes{High(number), Low(number), 0, options.fwMajor};
    }
    if (code == FIRMWARE_VERSION)
        return Bytes{0, options.fwMinor, High(options.fwBuild), Low(options.fwBuild)};
    if (code == RESOLUTION)
        return Bytes{0, 0, 0, static_cast<uint8_t>(ResolutionOf(options))};
    if (code == READ_MEMORY && command[2] + size_t{1} < MEMORY_BYTES)
        return Bytes{
            0, command[2], options.memory[command[2]], options.memory[command[2] + size_t{1}]};
    return std::nullopt;
}

Bytes ReportBytes(const EmulatorOptions& options, bool touching, uint32_t rawX, uint32_t rawY)
{
    if (options.model == 0x7700) {
        const auto upper = [](uint32_t raw) { return static_cast<uint8_t>((raw >> 7) & 0x7F); };
        const auto lower = [](uint32_t raw) { return static_cast<uint8_t>(raw & 0x7F); };
        return {static_cast<uint8_t>(touching ? 0xFF : 0xBF), upper(rawX), lower(rawX), upper(rawY),
            lower(rawY)};
    }
    Bytes report{
        static_cast<uint8_t>(touching ? 0x70 : 0x30), Low(rawX), High(rawX), Low(rawY), High(rawY)};
    report.push_back(Checksum(report));
    return report;
}

} // namespace korvex::emulator

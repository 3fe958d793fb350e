// Touch reports: packets of reportLength bytes with a status byte and the raw coordinates.
//   6-byte format:  status  x low  x high  y low  y high  checksum
//                   status 0x7n touching, 0x3n not touching (model 0x2400: 0x4n)
//   model 0x7700:   status  x high 7 bits  x low 7  y high 7  y low 7
//                   status 0xFF touching, 0xBF not touching
#pragma once

#include <cstdint>

#include "link/command_protocol.h"
#include "link/touch_controller.h"

namespace korvex {

// Contact classes of a status byte.
inline constexpr uint8_t CONTACT_NONE = 0;
inline constexpr uint8_t CONTACT_TOUCH = 1;
inline constexpr uint8_t CONTACT_INVALID = 0xFF;

// The contact class of a report's status byte, by the controller's model; CONTACT_INVALID for a
// byte that begins no report.
uint8_t ClassifyStatus(const TouchController* controller, uint8_t status);

// True when the packet is a report worth using: valid for the model, a status of contact or no
// contact, and coordinates within the resolution.
bool ReportCheck(const TouchController* controller, const uint8_t* report);

// How the reading of a report ended.
enum class ReadResult : uint8_t {
    REPORT,   // one that passed the check
    REJECTED, // packets came, and none passed
    SILENT,   // no whole packet came within the read's allowance (LinkRead)
};

// Reads one report. A packet that fails the check starts a resynchronisation on the next status
// byte: at most 3 attempts, each dropping at most 300 bytes. The bytes that make no report are
// lost. On the session's reader thread.
ReadResult ReadReport(TouchController* controller, Packet* report);

// The raw point of a report that passed the check.
Point DecodeReport(const TouchController* controller, const uint8_t* report);

} // namespace korvex

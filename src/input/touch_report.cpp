#include "input/touch_report.h"

#include <algorithm>

#include "link/port_link.h"

namespace korvex {

namespace {

constexpr int RESYNC_ATTEMPTS = 3;
constexpr uint32_t SKIP_LIMIT = 300; // bytes dropped in one attempt while looking for a status byte

bool IsStatusByte(const TouchController* controller, uint8_t byte)
{
    return ClassifyStatus(controller, byte) != CONTACT_INVALID;
}

uint8_t ClassifyNibble(uint8_t status, uint8_t touching, uint8_t notTouching)
{
    const uint8_t nibble = status & 0xF0;
    if (nibble == touching)
        return CONTACT_TOUCH;
    return nibble == notTouching ? CONTACT_NONE : CONTACT_INVALID;
}

uint32_t ReportBytes(const TouchController* controller)
{
    return std::min(controller->reportLength, MAX_PACKET_BYTES);
}

bool IsWholeReport(const TouchController* controller, const uint8_t* report)
{
    return PacketIsValid(controller->model, report) && IsStatusByte(controller, report[0]);
}

bool IsWithinResolution(const TouchController* controller, const uint8_t* report)
{
    const int32_t limit = int32_t{1} << controller->resolutionBits;
    const Point point = DecodeReport(controller, report);
    return point.x < limit && point.y < limit;
}

// One attempt: collects a report from the next status byte on, until it is whole, the line pauses,
// or too much had to be dropped. What did not come stays 0.
void CollectReport(TouchController* controller, Packet* report)
{
    report->fill(0);
    uint8_t* bytes = report->data();
    uint32_t count = 0;
    uint32_t skipped = 0;
    while (count < ReportBytes(controller) && skipped < SKIP_LIMIT) {
        uint8_t byte = 0;
        if (!LinkRead(&controller->link, &byte, 1))
            return;
        // Only the status bytes of model 0x7700 have the top bit, so there a second one is the
        // start of another report.
        if (controller->model == MODEL_7700 && IsStatusByte(controller, byte))
            count = 0;
        if (count == 0 && !IsStatusByte(controller, byte)) {
            ++skipped;
            Count(&controller->counters.droppedBytes);
            continue;
        }
        bytes[count++] = byte;
    }
}

bool Resync(TouchController* controller, Packet* report)
{
    bool accepted = false;
    for (int attempt = 0; attempt < RESYNC_ATTEMPTS && !accepted && controller->running == 1;
        ++attempt) {
        Count(&controller->counters.resynchronisations);
        CollectReport(controller, report);
        accepted = ReportCheck(controller, report->data());
    }
    return accepted;
}

} // namespace

uint8_t ClassifyStatus(const TouchController* controller, uint8_t status)
{
    switch (controller->model) {
    case MODEL_2400:
        return ClassifyNibble(status, 0x70, 0x40);
    case MODEL_4400:
    case MODEL_5200:
    case MODEL_5460:
        return ClassifyNibble(status, 0x70, 0x30);
    case MODEL_7700:
        if (status == 0xFF)
            return CONTACT_TOUCH;
        return status == 0xBF ? CONTACT_NONE : CONTACT_INVALID;
    default:
        return CONTACT_INVALID;
    }
}

bool ReportCheck(const TouchController* controller, const uint8_t* report)
{
    return IsWholeReport(controller, report) && IsWithinResolution(controller, report);
}

ReadResult ReadReport(TouchController* controller, Packet* report)
{
    report->fill(0);
    if (!LinkRead(&controller->link, report->data(), ReportBytes(controller)))
        return ReadResult::SILENT;
    bool accepted = ReportCheck(controller, report->data());
    if (!accepted) {
        Count(&controller->counters.rejectedPackets);
        if (IsWholeReport(controller, report->data()))
            Count(&controller->counters.outOfRange);
        accepted = controller->link.kind == LINK_SERIAL && Resync(controller, report);
    }
    if (accepted)
        Count(&controller->counters.reports);
    return accepted ? ReadResult::REPORT : ReadResult::REJECTED;
}

Point DecodeReport(const TouchController* controller, const uint8_t* report)
{
    return {static_cast<int32_t>(DecodeCoord(controller, report + 1, false)),
        static_cast<int32_t>(DecodeCoord(controller, report + 3, false))};
}

} // namespace korvex

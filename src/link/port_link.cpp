#include "link/port_link.h"

#include <array>

namespace korvex {

namespace {

constexpr uint32_t BYTE_TIMEOUT_MS = 10;
constexpr DWORD INPUT_QUEUE_BYTES = 2048;
constexpr DWORD OUTPUT_QUEUE_BYTES = 256;
constexpr int DRAIN_ROUNDS = 5;
constexpr DWORD DRAIN_BYTES = 64;

// Saves a port's time-outs and puts them back at the end of the scope.
struct TimeoutsGuard {
    HANDLE port;
    COMMTIMEOUTS saved;

    explicit TimeoutsGuard(HANDLE handle) : port(handle), saved{} { GetCommTimeouts(port, &saved); }
    ~TimeoutsGuard() { SetCommTimeouts(port, &saved); }
    TimeoutsGuard(const TimeoutsGuard&) = delete;
    TimeoutsGuard& operator=(const TimeoutsGuard&) = delete;
};

// Bounds each read by the link's time-out in all, however many bytes it asks for.
bool ApplyReadTimeouts(const PortLink* link, const COMMTIMEOUTS* saved)
{
    COMMTIMEOUTS timeouts = *saved;
    timeouts.ReadIntervalTimeout = 0;
    timeouts.ReadTotalTimeoutMultiplier = 0;
    timeouts.ReadTotalTimeoutConstant = link->byteTimeoutMs;
    return SetCommTimeouts(link->handle, &timeouts) != FALSE;
}

bool SerialWrite(PortLink* link, const uint8_t* bytes, uint32_t count)
{
    if (link->handle == INVALID_HANDLE_VALUE)
        return true;
    const TimeoutsGuard guard(link->handle);
    COMMTIMEOUTS timeouts = guard.saved;
    timeouts.WriteTotalTimeoutMultiplier = 0;
    timeouts.WriteTotalTimeoutConstant = link->byteTimeoutMs;
    SetCommTimeouts(link->handle, &timeouts);
    FlushFileBuffers(link->handle); // earlier output leaves the port first
    DWORD written = 0;
    return WriteFile(link->handle, bytes, count, &written, nullptr) != FALSE && written == count;
}

bool SerialRead(PortLink* link, uint8_t* buffer, uint32_t count)
{
    if (link->handle == INVALID_HANDLE_VALUE)
        return true;
    const TimeoutsGuard guard(link->handle);
    if (!ApplyReadTimeouts(link, &guard.saved)) {
        link->readFailed = true;
        return false;
    }
    uint32_t received = 0;
    uint32_t emptyReads = 0;
    while (received < count) {
        uint8_t byte = 0;
        DWORD taken = 0;
        if (ReadFile(link->handle, &byte, 1, &taken, nullptr) == FALSE) {
            link->readFailed = true;
            return false;
        }
        if (taken == 1)
            buffer[received++] = byte;
        else if (++emptyReads >= count)
            return false;
    }
    return true;
}

} // namespace

bool LinkInit(PortLink* link, HANDLE handle, uint32_t kind, uint32_t portNumber)
{
    link->kind = kind;
    link->handle = handle;
    if (kind != LINK_SERIAL)
        return false;
    link->portNumber = portNumber;
    if (handle == INVALID_HANDLE_VALUE)
        return false;
    SerialConfigure(link);
    return true;
}

bool LinkWrite(PortLink* link, const uint8_t* bytes, uint32_t count)
{
    return link->kind == LINK_SERIAL && SerialWrite(link, bytes, count);
}

bool LinkRead(PortLink* link, uint8_t* buffer, uint32_t count)
{
    return link->kind == LINK_SERIAL && SerialRead(link, buffer, count);
}

bool LinkWaitInput(PortLink* link)
{
    DWORD event = 0;
    return link->kind != LINK_SERIAL || WaitCommEvent(link->handle, &event, nullptr) != FALSE;
}

bool SerialConfigure(PortLink* link)
{
    DCB dcb{};
    dcb.DCBlength = sizeof(dcb);
    GetCommState(link->handle, &dcb);
    dcb.fRtsControl = RTS_CONTROL_DISABLE;
    dcb.ByteSize = 8;
    dcb.Parity = NOPARITY;
    dcb.StopBits = ONESTOPBIT;
    SetCommState(link->handle, &dcb);
    link->byteTimeoutMs = BYTE_TIMEOUT_MS;
    SetupComm(link->handle, INPUT_QUEUE_BYTES, OUTPUT_QUEUE_BYTES);
    SetCommMask(link->handle, EV_RXCHAR); // what LinkWaitInput wakes for
    return true;
}

void SerialSetBaud(PortLink* link, uint32_t baudRate)
{
    DCB dcb{};
    dcb.DCBlength = sizeof(dcb);
    GetCommState(link->handle, &dcb);
    link->baudRate = baudRate;
    dcb.BaudRate = baudRate;
    SetCommState(link->handle, &dcb);
}

bool SerialDrain(PortLink* link)
{
    if (link->handle == INVALID_HANDLE_VALUE)
        return true;
    const TimeoutsGuard guard(link->handle);
    ApplyReadTimeouts(link, &guard.saved);
    bool succeeded = true;
    for (int round = 0; round < DRAIN_ROUNDS; ++round) {
        std::array<uint8_t, DRAIN_BYTES> discarded{};
        DWORD taken = 0;
        succeeded = ReadFile(link->handle, discarded.data(), DRAIN_BYTES, &taken, nullptr) != FALSE;
        if (!succeeded || taken == 0)
            break;
        PurgeComm(link->handle, PURGE_RXCLEAR);
    }
    return succeeded;
}

} // namespace korvex

#include "emulator/emulator.h"

#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <pty.h>
#include <sched.h>
#include <sys/eventfd.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <system_error>
#include <thread>
#include <utility>

#include "emulator/line_rate.h"

namespace korvex::emulator {

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

// A pause longer than this ends a packet: what has come of it is dropped.
constexpr milliseconds PACKET_GAP{20};

const Bytes NOISE{0x00, 0xAA, 0x13};

} // namespace

struct Emulator { // NOLINT(cert-msc32-c,cert-msc51-cpp): the noise of a seed is the same each time
    EmulatorOptions options; // its answerFaults under the mutex
    std::function<void(const ReceivedCommand&)> onCommand;
    std::string path;
    int stopDescriptor = -1; // an eventfd: readable when the thread must end
    std::thread thread;

    mutable std::mutex mutex; // guards the rest
    mutable std::condition_variable changed;
    int master = -1;
    int terminal = -1; // kept open, so that bytes wait for a host that has not opened the line yet
    std::vector<ReceivedCommand> commands;
    Clock::time_point lastCommand;
    std::mt19937 random;
    PanelPoint finger{0, 0};
};

namespace {

// Takes the fault that applies to the command, counting it down.
std::optional<AnswerFaultKind> PopFault(Emulator* emulator, const Bytes& command)
{
    for (AnswerFault& fault : emulator->options.answerFaults) {
        const bool applies = fault.count != 0 && (fault.code < 0 || fault.code == command[0])
            && (fault.parameter < 0 || fault.parameter == command[2]);
        if (!applies)
            continue;
        if (fault.count > 0)
            --fault.count;
        return fault.kind;
    }
    return std::nullopt;
}

Bytes AnswerTo(Emulator* emulator, const Bytes& command)
{
    const std::optional<Bytes> data = AnswerData(emulator->options, command);
    if (!data)
        return {};
    Bytes answer{command[0]};
    answer.insert(answer.end(), data->begin(), data->end());
    const std::optional<AnswerFaultKind> fault = PopFault(emulator, command);
    if (fault == AnswerFaultKind::SILENCE)
        return {};
    if (fault == AnswerFaultKind::WRONG_ECHO)
        answer[0] ^= 0x04;
    const bool sevenBits = PacketBytes(emulator->options) == 5;
    if (!sevenBits)
        answer.push_back(Checksum(answer));
    if (fault == AnswerFaultKind::CORRUPTION)
        answer[sevenBits ? 3 : 5] ^= 0x80;
    if (fault == AnswerFaultKind::NOISE)
        answer.insert(answer.begin(), NOISE.begin(), NOISE.end());
    return answer;
}

// Writes all of it; the line's mutex is held.
bool WriteLine(const Emulator* emulator, const Bytes& bytes)
{
    size_t sent = 0;
    while (sent < bytes.size()) {
        if (emulator->master < 0)
            return false;
        const ssize_t count = write(emulator->master, bytes.data() + sent, bytes.size() - sent);
        if (count > 0) {
            sent += static_cast<size_t>(count);
            continue;
        }
        pollfd polled{emulator->master, POLLOUT, 0};
        const bool full = count < 0 && (errno == EAGAIN || errno == EINTR);
        if (!full || poll(&polled, 1, 1000) == 0)
            return false;
    }
    return true;
}

// Records the bytes that came, and answers a whole command.
void Receive(Emulator* emulator, const Bytes& bytes, bool whole)
{
    ReceivedCommand command{bytes, 0, {}};
    {
        const std::lock_guard guard(emulator->mutex);
        command.baudRate = LineRate(emulator->terminal);
        if (whole && command.baudRate == emulator->options.baudRate)
            command.answer = AnswerTo(emulator, bytes);
        WriteLine(emulator, command.answer);
        emulator->commands.push_back(command);
        emulator->lastCommand = Clock::now();
        emulator->changed.notify_all();
    }
    if (emulator->onCommand)
        emulator->onCommand(command);
}

// Takes the packets that are whole out of `pending`. A packet that is not intact is a piece left
// from another: it ends where the next command starts.
void HandlePackets(Emulator* emulator, Bytes* pending)
{
    const auto length = static_cast<ptrdiff_t>(PacketBytes(emulator->options));
    while (std::ssize(*pending) >= length) {
        Bytes packet(pending->begin(), pending->begin() + length);
        const bool intact = IsCommandIntact(emulator->options, packet);
        if (!intact)
            packet.erase(
                std::find_if(packet.begin() + 1, packet.end(), IsCommandCode), packet.end());
        pending->erase(pending->begin(), pending->begin() + std::ssize(packet));
        Receive(emulator, packet, intact);
    }
}

// A host takes a late answer for silence, so answers come before everything else, where the system
// grants that.
void RaisePriority()
{
    const sched_param priority{sched_get_priority_min(SCHED_RR)};
    pthread_setschedparam(pthread_self(), SCHED_RR, &priority);
}

void Serve(Emulator* emulator, int master)
{
    RaisePriority();
    Bytes pending;
    std::array<pollfd, 2> polled{
        pollfd{master, POLLIN, 0}, pollfd{emulator->stopDescriptor, POLLIN, 0}};
    for (;;) {
        const int ready = poll(polled.data(), polled.size(),
            pending.empty() ? -1 : static_cast<int>(PACKET_GAP.count()));
        if (polled[1].revents != 0)
            return;
        if (ready == 0) {
            Receive(emulator, pending, false);
            pending.clear();
            continue;
        }
        std::array<uint8_t, 256> block{};
        const ssize_t count = read(master, block.data(), block.size());
        if (count > 0)
            pending.insert(pending.end(), block.begin(), block.begin() + count);
        HandlePackets(emulator, &pending);
    }
}

// The raw coordinate at a percentage of the panel, off by so much.
uint32_t RawAt(const Emulator* emulator, double percent, double error)
{
    const uint32_t span = uint32_t{1} << ResolutionOf(emulator->options);
    return static_cast<uint32_t>(
        std::clamp(std::round(percent / 100 * span + error), 0.0, static_cast<double>(span - 1)));
}

PanelPoint FingerOf(const Emulator* emulator)
{
    const std::lock_guard guard(emulator->mutex);
    return emulator->finger;
}

// Reports the finger at a place of the panel, where the panel measures it.
bool SendFinger(Emulator* emulator, bool touching, PanelPoint place, bool lifting = false)
{
    uint32_t x = 0;
    uint32_t y = 0;
    {
        const std::lock_guard guard(emulator->mutex);
        emulator->finger = place;
        const PanelPoint measured = Distort(&emulator->options.distortion, place);
        const PanelPoint noise = NextNoise(&emulator->options.noise, lifting, &emulator->random);
        x = RawAt(emulator, measured.x, noise.x);
        y = RawAt(emulator, measured.y, noise.y);
    }
    return SendReport(emulator, touching, x, y);
}

} // namespace

void EmulatorDeleter::operator()(Emulator* emulator) const
{
    HangUp(emulator);
    close(emulator->stopDescriptor);
    delete emulator;
}

EmulatorPointer StartEmulator(
    const EmulatorOptions& options, std::function<void(const ReceivedCommand&)> onCommand)
{
    EmulatorPointer emulator(new Emulator);
    emulator->options = options;
    emulator->onCommand = std::move(onCommand);
    emulator->random.seed(options.noise.seed);
    emulator->stopDescriptor = eventfd(0, EFD_CLOEXEC);
    if (emulator->stopDescriptor < 0)
        return nullptr;
    termios settings{};
    cfmakeraw(&settings);
    std::array<char, 64> path{};
    if (openpty(&emulator->master, &emulator->terminal, nullptr, &settings, nullptr) != 0
        || ttyname_r(emulator->terminal, path.data(), path.size()) != 0)
        return nullptr;
    emulator->path = path.data();
    for (const int descriptor : {emulator->master, emulator->terminal})
        fcntl(descriptor, F_SETFD, FD_CLOEXEC);
    fcntl(emulator->master, F_SETFL, O_NONBLOCK);
    try {
        emulator->thread = std::thread(Serve, emulator.get(), emulator->master);
    } catch (const std::system_error&) {
        return nullptr;
    }
    return emulator;
}

const std::string& TerminalPath(const Emulator* emulator)
{
    return emulator->path;
}

std::vector<ReceivedCommand> ReceivedCommands(const Emulator* emulator)
{
    const std::lock_guard guard(emulator->mutex);
    return emulator->commands;
}

bool WaitForCommands(const Emulator* emulator, size_t count, milliseconds limit)
{
    std::unique_lock lock(emulator->mutex);
    return emulator->changed.wait_for(
        lock, limit, [&] { return emulator->commands.size() >= count; });
}

bool WaitForQuietHost(const Emulator* emulator, milliseconds quiet, milliseconds limit)
{
    const Clock::time_point deadline = Clock::now() + limit;
    std::unique_lock lock(emulator->mutex);
    for (;;) {
        const bool answered = std::any_of(emulator->commands.begin(), emulator->commands.end(),
            [](const auto& command) { return !command.answer.empty(); });
        if (answered && Clock::now() - emulator->lastCommand >= quiet)
            return true;
        if (Clock::now() >= deadline)
            return false;
        emulator->changed.wait_until(
            lock, answered ? std::min(deadline, emulator->lastCommand + quiet) : deadline);
    }
}

void AddAnswerFault(Emulator* emulator, const AnswerFault& fault)
{
    const std::lock_guard guard(emulator->mutex);
    emulator->options.answerFaults.push_back(fault);
}

Bytes ReportOf(const Emulator* emulator, bool touching, uint32_t rawX, uint32_t rawY)
{
    return ReportBytes(emulator->options, touching, rawX, rawY);
}

bool SendBytes(Emulator* emulator, const Bytes& bytes)
{
    const std::lock_guard guard(emulator->mutex);
    return WriteLine(emulator, bytes);
}

bool SendReport(Emulator* emulator, bool touching, uint32_t rawX, uint32_t rawY)
{
    const ReportFault& fault = emulator->options.reportFault;
    Bytes bytes = fault.noiseBefore;
    const Bytes report = ReportOf(emulator, touching, rawX, rawY);
    bytes.insert(bytes.end(), report.begin(), report.end());
    if (fault.gapAfter == 0 || fault.gapAfter >= report.size())
        return SendBytes(emulator, bytes);
    const auto cut
        = bytes.begin() + static_cast<ptrdiff_t>(fault.noiseBefore.size() + fault.gapAfter);
    const Clock::time_point gapEnd = Clock::now() + fault.gapLength;
    if (!SendBytes(emulator, Bytes(bytes.begin(), cut)))
        return false;
    std::this_thread::sleep_until(gapEnd);
    return SendBytes(emulator, Bytes(cut, bytes.end()));
}

bool TouchAt(Emulator* emulator, double percentX, double percentY)
{
    return SendFinger(emulator, true, {percentX, percentY});
}

bool DragTo(Emulator* emulator, double percentX, double percentY, int steps)
{
    const PanelPoint start = FingerOf(emulator);
    for (int i = 1; i <= steps; ++i) {
        const double part = static_cast<double>(i) / steps;
        if (!TouchAt(emulator, start.x + (percentX - start.x) * part,
                start.y + (percentY - start.y) * part))
            return false;
    }
    return true;
}

bool Lift(Emulator* emulator)
{
    return SendFinger(emulator, false, FingerOf(emulator));
}

bool PressAt(Emulator* emulator, double percentX, double percentY, std::chrono::milliseconds length)
{
    const auto start = Clock::now();
    const auto reports = static_cast<int>(length.count() * PRESS_RATE / 1000);
    for (int i = 0; i < reports; ++i) {
        std::this_thread::sleep_until(
            start + i * std::chrono::microseconds(1'000'000 / PRESS_RATE));
        if (!SendFinger(emulator, true, {percentX, percentY}, i + LIFT_REPORTS >= reports))
            return false;
    }
    return Lift(emulator);
}

void HangUp(Emulator* emulator)
{
    eventfd_write(emulator->stopDescriptor, 1);
    if (emulator->thread.joinable())
        emulator->thread.join();
    const std::lock_guard guard(emulator->mutex);
    for (int* descriptor : {&emulator->terminal, &emulator->master}) {
        if (*descriptor >= 0)
            close(*descriptor);
        *descriptor = -1;
    }
}

} // namespace korvex::emulator

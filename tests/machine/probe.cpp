// What the cases on the machine ask of the library itself.
//   korvex_machine_probe save STATE                 saves calibrations and bindings without an end,
//   the settings in the current folder korvex_machine_probe round-trips PORT COUNT     prints the
//   first decile and the median of a command's round trip, in microseconds
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "calibration/settings_file.h"
#include "discovery/enumerator_binding.h"
#include "link/command_protocol.h"
#include "link/port_link.h"
#include "platform/linux/core/text.h"
#include "platform/linux/machine.h"
#include "platform/win32.h"

namespace korvex {
namespace {

constexpr int32_t LARGEST = 60000;

// Each save carries one number in all its values; the number is printed once the save has returned.
int SaveForever(const char* state)
{
    platform::ThisMachine()->folders.state = state;
    TouchController* controller = CreateController(); // until the end
    CalibrationData* calib = &controller->calib;
    PortName port{};
    std::copy_n(u"COM2", 5, port.begin());
    for (int32_t number = 1; number < LARGEST; ++number) {
        calib->orientation = 1;
        calib->pointCount = MAX_CALIBRATION_POINTS;
        calib->stdMinX = calib->stdMinY = calib->stdMaxX = calib->stdMaxY = number;
        calib->advPoints.fill({number, number});
        SaveCalibrationFile(controller);
        controller->model = static_cast<uint32_t>(number);
        controller->link.baudRate = static_cast<uint32_t>(number);
        WriteEnumeratorParameters(controller, &port, 1);
        printf("saved %d\n", number);
        fflush(stdout);
    }
    return 0;
}

int MeasureRoundTrips(const char* path, size_t count)
{
    using Clock = std::chrono::steady_clock;
    TouchController* controller = CreateController();
    const HANDLE port = CreateFileW(platform::FromNativePath(path).c_str(),
        GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    if (!LinkInit(&controller->link, port, LINK_SERIAL, 0) || !IdentifyController(controller)) {
        fprintf(stderr, "no controller answers on %s\n", path);
        return 1;
    }
    Packet command{COMMAND_PRESENCE};
    command[5] = PacketChecksum(command.data(), 5);
    std::vector<int64_t> times;
    size_t failures = 0; // a busy host can keep the emulated controller from answering in time
    while (times.size() < count) {
        Packet answer{};
        const Clock::time_point start = Clock::now();
        if (!Transact(controller, &command, &answer)) {
            SerialDrain(&controller->link);
            if (++failures == count) {
                fprintf(stderr, "%zu of %zu commands were not answered\n", failures,
                    failures + times.size());
                return 1;
            }
            continue;
        }
        times.push_back(
            std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - start).count());
    }
    std::sort(times.begin(), times.end());
    printf("%ld %ld\n", static_cast<long>(times[count / 10]), static_cast<long>(times[count / 2]));
    ReleaseController(controller); // which puts the port's settings back
    return 0;
}

} // namespace
} // namespace korvex

int main(int argc, char** argv)
{
    if (argc == 3 && strcmp(argv[1], "save") == 0)
        return korvex::SaveForever(argv[2]);
    if (argc == 4 && strcmp(argv[1], "round-trips") == 0)
        return korvex::MeasureRoundTrips(argv[2], std::stoul(argv[3]));
    return 2;
}

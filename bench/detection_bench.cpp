// The detecting pass over many ports, beside the waits that the protocol prescribes: an unanswered
// 5-byte command costs 50 ms, an unanswered 6-byte one 60 ms.

#include <benchmark/benchmark.h>

#include <bit>
#include <chrono>
#include <string>
#include <string_view>
#include <vector>

#include "discovery/detection_pass.h"
#include "drivers/enumerator_filter.h"
#include "emulator/emulator.h"
#include "host/host.h"
#include "platform/linux/core/text.h"
#include "platform/linux/machine.h"
#include "testing/test_machine.h"

namespace korvex {
namespace {

// Milliseconds that a port costs at the least: four short probes and, on a silent line, four long
// ones.
constexpr double WAITS_WITH_CONTROLLER = 4 * 50;
constexpr double WAITS_SILENT = WAITS_WITH_CONTROLLER + 4 * 60;

void BM_DetectingPass(benchmark::State& state)
{
    const auto ports = static_cast<size_t>(state.range(0));
    const bool silent = state.range(1) != 0;
    for (auto _ : state) {
        const testing::TestMachine machine;
        testing::WriteTextFile("Korvex.ini", "[Calibration]\n");
        platform::ThisMachine()->trace = [](std::string_view) { };
        drivers::RegisterEnumeratorFilter();
        std::vector<emulator::EmulatorPointer> emulators;
        for (size_t i = 0; i < ports; ++i) {
            emulators.push_back(emulator::StartEmulator({}));
            if (silent)
                AddAnswerFault(emulators.back().get(), {emulator::AnswerFaultKind::SILENCE});
            const std::string name = "COM" + std::to_string(i + 1);
            platform::AddSerialPort(
                platform::FromUtf8(name), TerminalPath(emulators.back().get()), name);
        }
        HostContext* context = CreateHostContext(GetModuleHandleW(nullptr));
        // On a thread of its own, as in the host.
        const auto detect = [](void* argument) {
            DetectControllers(static_cast<HostContext*>(argument), PASS_DETECT);
            return 0U;
        };
        const auto start = std::chrono::steady_clock::now();
        const auto worker
            = std::bit_cast<HANDLE>(_beginthreadex(nullptr, 0, detect, context, 0, nullptr));
        WaitForSingleObject(worker, INFINITE);
        const double seconds
            = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        CloseHandle(worker);
        DestroyHostContext();
        state.SetIterationTime(seconds);
        const double waits
            = static_cast<double>(ports) * (silent ? WAITS_SILENT : WAITS_WITH_CONTROLLER);
        state.counters["waits_ms"] = waits;
        state.counters["overhead_percent"] = (seconds * 1e3 - waits) / waits * 100;
    }
}

BENCHMARK(BM_DetectingPass)
    ->ArgNames({"ports", "silent"})
    ->ArgsProduct({{1, 8, 32}, {0, 1}})
    ->Iterations(1)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

} // namespace
} // namespace korvex

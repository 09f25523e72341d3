// The whole-bus speed test on PCs of growing size: the time per device should stay the same.
#include "BenchSession.h"
#include "Catalogue.h"
#include "GeneratedPc.h"

#include "kernel/Runtime.h"
#include "tkit5/DeviceCatalog.h"

#include <benchmark/benchmark.h>

#include <cstdlib>

namespace {

void wholeBus(benchmark::State & state) {
    auto const devices = static_cast<std::size_t>(state.range(0));
    bench::BenchSession const session(bench::pcWithDevices(devices));
    tkit5::DeviceCatalog const catalog;
    tkit5::DiagDevice const & ports = *catalog.devices().front();
    for (auto _ : state) {
        kernel::beginRun();
        tkit5::TestResult const result = nuvrusb::USBConnectionSpeedVerificationTest(ports);
        if (result != tkit5::TestResult::PASS()) {
            state.SkipWithError("the generated PC should pass");
        }
    }
    state.counters["per_device"] =
        benchmark::Counter(static_cast<double>(devices) * static_cast<double>(state.iterations()),
                           benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void deviceCatalogue(benchmark::State & state) {
    auto const devices = static_cast<std::size_t>(state.range(0));
    bench::BenchSession const session(bench::pcWithDevices(devices));
    for (auto _ : state) {
        kernel::beginRun();
        tkit5::DeviceCatalog const catalog;
        benchmark::DoNotOptimize(catalog.devices().size());
    }
    state.counters["per_device"] =
        benchmark::Counter(static_cast<double>(devices) * static_cast<double>(state.iterations()),
                           benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

// From the start of the process to its end, a shell's included.
void startUp(benchmark::State & state) {
    for (auto _ : state) {
        if (std::system(NUVRUSB_PROGRAM " tests >/dev/null") != 0) { // NOLINT: a path of this build
            state.SkipWithError("the program should list its tests");
        }
    }
}

} // namespace

BENCHMARK(startUp)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(wholeBus)->Arg(100)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);
BENCHMARK(deviceCatalogue)->Arg(100)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);

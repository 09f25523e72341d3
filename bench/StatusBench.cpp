// Judging devices by their ports and device nodes: linear in the nodes that are visited.
#include "BenchSession.h"
#include "Catalogue.h"
#include "DeviceStatus.h"
#include "GeneratedPc.h"

#include "kernel/Runtime.h"
#include "tkit5/DeviceCatalog.h"
#include "tkit5/DeviceFilter.h"
#include "tkit5/Registry.h"

#include "nuv.h"

#include <benchmark/benchmark.h>

#include <vector>

namespace {

void statusOfOneDevice(benchmark::State & state) {
    auto const nodes = static_cast<std::size_t>(state.range(0));
    bench::BenchSession const session(bench::pcWithNodes(nodes));
    usbtopo::CUsbSystem system;
    system.EnumerateHostControllers();
    nuv::CreateFileOpenArgs args;
    args.fileName = system.controllers()[0]->rootHub().name();
    args.desiredAccess = kernel::GENERIC_READ;
    args.shareMode = kernel::FILE_SHARE_READ | kernel::FILE_SHARE_WRITE;
    nuv::FileHandleResManager const hub(args);
    for (auto _ : state) {
        if (nuvrusb::CheckDeviceStatus(hub.get(), 2) != nuvrusb::status_code::healthy) {
            state.SkipWithError("the device should be healthy");
        }
    }
    state.counters["per_node"] =
        benchmark::Counter(static_cast<double>(nodes) * static_cast<double>(state.iterations()),
                           benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void statusOfAllDevices(benchmark::State & state) {
    bench::BenchSession const session(bench::pcWithDevices(static_cast<std::size_t>(state.range(0))));
    tkit5::DeviceCatalog const catalog;
    tkit5::RegisteredTest const & test = *tkit5::Registry::instance().findTest("StatusTest");
    std::vector<tkit5::DiagDevice const *> accepted;
    std::vector<tkit5::DiagDevice const *> optional;
    for (auto const & device : catalog.devices()) {
        if (!tkit5::whyNotAccepted(test, *device)) {
            accepted.push_back(device.get());
        }
        if (tkit5::isOptionalDevice(test, *device)) {
            optional.push_back(device.get());
        }
    }
    for (auto _ : state) {
        for (tkit5::DiagDevice const * const device : accepted) {
            if (tkit5::Session::active()->runTest(test, *device, optional) != tkit5::TestResult::PASS()) {
                state.SkipWithError("the generated PC should pass");
            }
        }
    }
    state.counters["judged"] = static_cast<double>(accepted.size());
}

} // namespace

BENCHMARK(statusOfOneDevice)->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK(statusOfAllDevices)->Arg(100)->Arg(1000)->Unit(benchmark::kMillisecond);

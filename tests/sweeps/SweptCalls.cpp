#include "SweptCalls.h"

#include "journal/Preservation.h"
#include "kernel/Runtime.h"

#include <gtest/gtest.h>

#include <chrono>

namespace test {

namespace {

char const * commandOf(Swept test) {
    switch (test) {
    case Swept::Speed:
        return "USBConnectionSpeedVerificationTest";
    case Swept::Status:
        return "StatusTest";
    case Swept::Storage:
        break;
    }
    return "USBStoragePerformanceTest";
}

// A keyboard, a disk at SuperSpeed and a hub with a mouse, on connectors that could do more only where it does not
// matter.
Json busPc() {
    Json keyboard = with(device("Keyboard"), {{"nodes", {{{"instanceId", "HID\\KEYBOARD\\1"}}}}});
    Json const mouse = device("Mouse");
    Json const disk = with(device("Disk"), {{"superSpeedCapable", true}});
    return pcWithPorts({with(port(1, "full", std::move(keyboard)), {{"protocols", {"1.1"}}}),
                        hubPort(2, hub("Hub", {with(port(1, "full", mouse), {{"protocols", {"1.1"}}})}, 2)),
                        with(emptyPort(3), {{"companion", 4}}),
                        with(port(4, "super", disk, {"3.0"}), {{"companion", 3}})});
}

} // namespace

Json stickPcWith(Json disk) {
    return pc(Json::array({controller({port(1, "full", with(device("Stick"), {{"disk", std::move(disk)}}), {"1.1"})},
                                      controllerName, 1)}));
}

Json sweptDiskWith(std::initializer_list<std::pair<char const *, Json>> members) {
    return with({{"instanceId", sweptDisk},
                 {"name", "Test Stick USB Device"},
                 {"serialNumber", "T1"},
                 {"sectorCount", 3 * sectorsOfATransfer + 1},
                 {"readRate", 0.0625},
                 {"writeRate", 0.0625},
                 {"volumes", {{{"firstSector", 64}, {"sectorCount", 3000}}}}},
                members);
}

Json describedFor(Swept test) {
    return test == Swept::Storage ? stickPcWith(sweptDiskWith()) : busPc();
}

std::vector<std::string> argumentsOf(Swept test) {
    std::vector<std::string> arguments{"run", commandOf(test), "--log-level", "1"};
    auto const set = [&arguments](std::string const & parameter) {
        arguments.insert(arguments.end(), {"--set", parameter});
    };
    auto const onDevice = [&arguments](std::string const & id) { arguments.insert(arguments.end(), {"--device", id}); };
    switch (test) {
    case Swept::Speed:
        set("desiredVerificationSpeed=MAX");
        break;
    case Swept::Status:
        for (char const * const name : {"Keyboard", "Hub", "Mouse", "Disk"}) {
            onDevice(std::string("USB\\VID_1234&PID_5678\\") + name);
        }
        break;
    case Swept::Storage:
        onDevice(sweptDisk);
        arguments.insert(arguments.end(), {"--allow-destructive", "--journal", "kept"});
        for (char const * const parameter : {"PerformReadPerformance=true", "PerformWritePerformance=true",
                                             "PreserveAndRestoreData=true", "PromptEnable=true", "MaxTestRunTime=30",
                                             "USB11ReadThresholdPercent=1", "USB11WriteThresholdPercent=1"}) {
            set(parameter);
        }
        break;
    }
    return arguments;
}

std::vector<std::string> recovering() {
    return {"recover", "--allow-destructive", "--journal", "kept"};
}

void expectAllClosed(Outcome const & outcome) {
    EXPECT_EQ(outcome.calls->openFiles, 0);
    EXPECT_EQ(kernel::openHandleCount(), 0U);
    EXPECT_EQ(journal::Preservation::active(), nullptr);
    EXPECT_LT(outcome.calls->took, std::chrono::minutes(20));
}

} // namespace test

#pragma once

#include "ModuleRun.h"

#include "SpeedMode.h"

#include <gtest/gtest.h>

namespace test {

inline constexpr char const * speedTest = "USBConnectionSpeedVerificationTest";
inline constexpr char const * siteFile = "modules/src/windows/diag/nuvrusb/nuvrusb.cpp";

// The speed flags outlive a run on purpose; here every test starts like a new process.
class ConnectionSpeed : public testing::Test {
protected:
    void SetUp() override { nuvrusb::speedMode = {}; }

    static HostView run(Json const & pc, std::vector<std::string> const & arguments = {}) {
        return runTest(speedTest, pc, arguments);
    }
    static HostView runInMaxMode(Json const & pc, std::vector<std::string> arguments = {}) {
        arguments.insert(arguments.end(), {"--set", "desiredVerificationSpeed=MAX"});
        return runTest(speedTest, pc, arguments);
    }
};

} // namespace test

// Without a live machine for the system, a bundled PC stands in.
#include "host/Startup.h"

#include <gtest/gtest.h>

TEST(Startup, WithoutAFileABundledPcStandsIn) {
    auto const opened = host::openPc(std::nullopt);
    auto const & pc = std::get<host::Pc>(opened);
    EXPECT_TRUE(pc.isBundled);
    EXPECT_GT(pc.machine->devices().size(), 1U);
}

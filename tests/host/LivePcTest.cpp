// Without a file it is the PC that the program runs on.
#include "host/Startup.h"

#include <gtest/gtest.h>

TEST(Startup, WithoutAFileItIsTheLivePc) {
    auto const opened = host::openPc(std::nullopt);
    auto const & pc = std::get<host::Pc>(opened);
    EXPECT_FALSE(pc.isBundled);
    EXPECT_FALSE(pc.user.has_value());
    EXPECT_FALSE(pc.machine->clock().isVirtual());
}

// Without a live machine for the system, a bundled PC stands in, and the output says so.
#include "CliRun.h"
#include "support/Golden.h"

#include <gtest/gtest.h>

namespace test {

TEST(Listings, TopologyOfTheBundledDesktopSaysThatItIsBundled) {
    CliResult const result = runCli({"topology"});
    EXPECT_EQ(result.code, 0);
    EXPECT_NE(result.output.find("A PC that comes with this program"), std::string::npos);
    expectGolden(std::string(GOLDEN_DIR) + "/topology-desktop.txt", result.output);
}

} // namespace test

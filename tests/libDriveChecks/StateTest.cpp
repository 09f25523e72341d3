#include "libDriveChecks/State.h"
#include "libDriveChecks.h"

#include <gtest/gtest.h>

namespace {

TEST(DriveChecksTest, InitPreparesTheLibrary) {
    EXPECT_FALSE(libDriveChecks::initialised());
    libDriveChecks::DriveChecks::init();
    EXPECT_TRUE(libDriveChecks::initialised());
    libDriveChecks::DriveChecks::init();
    EXPECT_TRUE(libDriveChecks::initialised());
}

} // namespace

#include "StateFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

namespace support {

std::string useOwnStateFolder() {
    static std::string last;
    testing::TestInfo const * const info = testing::UnitTest::GetInstance()->current_test_info();
    std::string name = std::string(info->test_suite_name()) + "." + info->name() + ".state";
    std::ranges::replace(name, '/', '_'); // of a test with parameters
    std::string const folder = testing::TempDir() + name;
    if (folder != last) {
        std::filesystem::remove_all(folder);
        last = folder;
    }
    setEnvironment("XDG_STATE_HOME", folder);
    setEnvironment("LOCALAPPDATA", folder);
    return folder;
}

} // namespace support

// Expected outputs kept as files.
#pragma once

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>

#include <gtest/gtest.h>

namespace test {

// Expects the text to be what the file holds, byte for byte. With NUVRUSB_UPDATE_GOLDEN=1 in the environment the file
// is written instead.
inline void expectGolden(std::string const & path, std::string const & actual) {
    char const * const update = std::getenv("NUVRUSB_UPDATE_GOLDEN");
    if (update != nullptr && std::string(update) == "1") {
        ASSERT_TRUE(std::ofstream(path, std::ios::binary) << actual) << path << " cannot be written";
    }
    std::ifstream file(path, std::ios::binary);
    ASSERT_TRUE(file) << path << " cannot be read; NUVRUSB_UPDATE_GOLDEN=1 writes it";
    EXPECT_EQ(actual, std::string(std::istreambuf_iterator<char>(file), {})) << path;
}

} // namespace test

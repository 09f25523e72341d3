#pragma once

#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

namespace test {

inline std::vector<std::string> splitLines(std::string_view text) {
    std::vector<std::string> lines;
    while (!text.empty()) {
        std::size_t const end = text.find('\n');
        lines.emplace_back(text.substr(0, end));
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    }
    return lines;
}

// Keeps what the JSONL reporter wrote in the running test, for the check against the published schema.
inline void keepForSchemaCheck(std::string const & output) {
    testing::TestInfo const & info = *testing::UnitTest::GetInstance()->current_test_info();
    std::filesystem::path const folder = PROTOCOL_LINES_DIR;
    std::filesystem::create_directories(folder);
    std::ofstream(folder / (std::string(info.test_suite_name()) + "." + info.name() + ".jsonl"), std::ios::binary)
        << output;
}

} // namespace test

// An image of a disk in the folder for temporary files, removed in the end.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <system_error>

class ImageFile {
public:
    explicit ImageFile(std::size_t size, char value = 0, std::string const & ending = ".img")
        : path_(folder() / std::filesystem::path(u8name() + std::u8string(ending.begin(), ending.end()))) {
        std::ofstream(path_, std::ios::binary) << std::string(size, value);
    }
    ImageFile(ImageFile const &) = delete;
    ImageFile & operator=(ImageFile const &) = delete;
    ~ImageFile() {
        std::error_code ignored;
        std::filesystem::remove(path_, ignored);
    }

    static std::filesystem::path folder() { return testing::TempDir(); }
    std::filesystem::path const & path() const { return path_; }
    std::string name() const { return asUtf8(path_.filename().u8string()); } // within the folder
    std::string whole() const { return asUtf8(path_.u8string()); }
    std::string inJson() const { return asUtf8(path_.generic_u8string()); } // without backslashes

    std::string contents() const {
        std::ifstream file(path_, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(file), {});
    }

private:
    // Tests run at the same time, each in a process of its own.
    static std::u8string u8name() {
        auto const & test = *testing::UnitTest::GetInstance()->current_test_info();
        std::string name = std::string(test.test_suite_name()) + "." + test.name();
        std::ranges::replace(name, '/', '-');
        return std::u8string(name.begin(), name.end());
    }
    static std::string asUtf8(std::u8string const & text) { return {text.begin(), text.end()}; }

    std::filesystem::path path_;
};

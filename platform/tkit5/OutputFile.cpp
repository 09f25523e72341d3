#include "OutputFile.h"

#include <filesystem>
#include <system_error>
#include <utility>

namespace tkit5 {

namespace {

std::filesystem::path pathOf(std::string const & utf8) {
    return std::filesystem::path(std::u8string(utf8.begin(), utf8.end()));
}

} // namespace

OutputFile::OutputFile(std::string name)
    : name_(std::move(name)), stream_(pathOf(name_), std::ios::binary | std::ios::app) {}

void OutputFile::begin() {
    stream_.close();
    stream_.open(pathOf(name_), std::ios::binary | std::ios::trunc);
}

bool OutputFile::close() {
    stream_.close();
    return !stream_.fail();
}

bool isSameFile(std::string const & a, std::string const & b) {
    std::error_code failure;
    std::filesystem::path const first = pathOf(a);
    std::filesystem::path const second = pathOf(b);
    if (std::filesystem::exists(first, failure) && std::filesystem::exists(second, failure)) {
        // A device such as /dev/null takes everything.
        return std::filesystem::is_regular_file(first, failure) && std::filesystem::equivalent(first, second, failure);
    }
    std::filesystem::path const whole = std::filesystem::weakly_canonical(first, failure);
    return !failure && whole == std::filesystem::weakly_canonical(second, failure) && !failure;
}

} // namespace tkit5

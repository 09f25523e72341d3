// Files that are built into the program.
#pragma once

#include <span>
#include <string_view>

namespace embedded {

struct File {
    std::string_view name; // without a folder, such as "en.json"
    std::string_view contents;
};

namespace locales {
std::span<File const> files();
}
namespace machines {
std::span<File const> files();
}

} // namespace embedded

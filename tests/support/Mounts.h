// What the system tells of the file system that a folder lies on.
#pragma once

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <system_error>

namespace support {

struct Mount {
    std::string number; // of its device, such as "8:1"
    std::string type;   // such as "ext4"
};

// The folder exists. Empty where the system does not tell.
inline Mount mountOf(std::filesystem::path const & folder) {
    std::string const wanted = std::filesystem::canonical(folder).string() + "/";
    Mount found;
    std::size_t longest = 0;
    std::ifstream mounts("/proc/self/mountinfo");
    for (std::string line; std::getline(mounts, line);) {
        std::istringstream words(line);
        std::string mount, parent, number, root, place, word, type;
        words >> mount >> parent >> number >> root >> place;
        while (words >> word && word != "-") {
        }
        words >> type;
        std::string const below = place == "/" ? place : place + "/";
        if (wanted.starts_with(below) && below.size() >= longest) {
            longest = below.size();
            found = {.number = number, .type = type};
        }
    }
    return found;
}

// The block device of the file system that holds a folder; empty where the system does not tell.
inline std::string deviceOf(std::filesystem::path const & folder) {
    std::string const number = mountOf(folder).number;
    std::ifstream facts("/sys/dev/block/" + number + "/uevent");
    for (std::string line; !number.empty() && std::getline(facts, line);) {
        if (line.starts_with("DEVNAME=")) {
            std::string const device = "/dev/" + line.substr(8);
            return std::filesystem::exists(device) ? device : std::string();
        }
    }
    return {};
}

inline bool isInMemory(std::filesystem::path const & folder) {
    std::error_code ignored;
    return std::filesystem::is_directory(folder, ignored) && mountOf(folder).type == "tmpfs";
}

} // namespace support

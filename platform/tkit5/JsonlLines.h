// JSON lines on standard output.
#pragma once

#include "terminal/Console.h"

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <string_view>

namespace tkit5 {

class JsonlLines {
public:
    explicit JsonlLines(terminal::Console & console) : console_(console) {}

    // Writes and flushes one object: "type", "seq" (counted from 1) and then the members in their order. Text that is
    // not valid UTF-8 is replaced. Nothing is written any more once output was lost.
    void write(std::string_view type, nlohmann::ordered_json const & members);

    bool lost() const { return lost_; }

private:
    terminal::Console & console_;
    std::uint64_t written_ = 0;
    bool lost_ = false;
};

} // namespace tkit5

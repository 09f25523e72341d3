// Lines out of the pieces in which an input stream delivers its bytes.
#pragma once

#include <cstddef>
#include <deque>
#include <string>
#include <string_view>

namespace terminal {

class LinePieces {
public:
    static constexpr std::size_t longestLine = 64 * 1024; // bytes; the rest of a longer line is dropped

    void add(std::string_view piece);
    void end(); // a last line without its end is a line

    // The oldest line that is complete, without its end (LF or CR LF). False when there is none.
    bool take(std::string & line);

private:
    void complete();

    std::deque<std::string> lines_;
    std::string current_;
};

} // namespace terminal

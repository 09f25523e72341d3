#include "LinePieces.h"

#include <algorithm>
#include <utility>

namespace terminal {

void LinePieces::add(std::string_view piece) {
    while (!piece.empty()) {
        std::size_t const lineEnd = piece.find('\n');
        std::string_view const text = piece.substr(0, lineEnd);
        current_ += text.substr(0, std::min(text.size(), longestLine - current_.size()));
        if (lineEnd == std::string_view::npos) {
            return;
        }
        complete();
        piece.remove_prefix(lineEnd + 1);
    }
}

void LinePieces::end() {
    if (!current_.empty()) {
        complete();
    }
}

bool LinePieces::take(std::string & line) {
    if (lines_.empty()) {
        return false;
    }
    line = std::move(lines_.front());
    lines_.pop_front();
    return true;
}

void LinePieces::complete() {
    if (current_.ends_with('\r')) {
        current_.pop_back();
    }
    lines_.push_back(std::exchange(current_, {}));
}

} // namespace terminal

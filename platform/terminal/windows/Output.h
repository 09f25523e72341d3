#pragma once

#include "StopEvents.h"

#include <windows.h>

#include <memory>
#include <string_view>

namespace terminal {

// One of the streams that are written: a console, a pipe or a file.
class Output {
public:
    virtual ~Output() = default;

    // Writes all of a UTF-8 text. False once nobody takes it any more.
    virtual bool write(std::string_view text) = 0;
    virtual bool isConsole() const { return false; }
    virtual bool isFile() const { return false; }
    virtual unsigned width() const { return 80; } // columns
};

// Of a standard handle, which may be missing. After a request to stop, the reader of a pipe or a console that takes
// nothing for a while has lost interest; that while is two seconds, or a tenth of one where the program is about to be
// ended.
std::unique_ptr<Output> openOutput(HANDLE stream, StopRequests const & requests);

} // namespace terminal

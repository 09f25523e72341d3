#pragma once

#include "terminal/Console.h"

#include <windows.h>

#include <memory>

namespace terminal {

// The stream that is read: a console, a pipe or a file.
class Input {
public:
    virtual ~Input() = default;

    // As Console::readLine says.
    virtual Console::Input readLine(std::string & line, std::optional<std::chrono::milliseconds> limit) = 0;
    virtual bool isConsole() const { return false; }
};

// Of a standard handle, which may be missing. The stop event ends a wait.
std::unique_ptr<Input> openInput(HANDLE stream, HANDLE stopEvent);

} // namespace terminal

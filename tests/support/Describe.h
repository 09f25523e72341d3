// A simulated PC from its description in a few lines.
#pragma once

#include "machine/Machine.h"

#include <memory>
#include <string>
#include <string_view>

namespace support {

// The described PC. A description that cannot be read fails the test with the reader's message, as an exception.
std::unique_ptr<machine::Machine> describedPc(std::string_view json);

// The text of a file in the folder machines, such as "findings.json".
std::string machineFile(std::string_view fileName);

} // namespace support

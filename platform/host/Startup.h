// Which PC a run looks at. The only place that names concrete machines.
#pragma once

#include "machine/Machine.h"
#include "machine/ScriptedUser.h"

#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace host {

struct Pc {
    std::unique_ptr<machine::Machine> machine;
    std::optional<machine::ScriptedUser> user; // a described PC may bring one
    std::vector<std::string> images;           // files and block devices that hold the bytes of described disks, UTF-8
    bool isBundled = false;                    // nobody named a PC and there is no live one: a bundled one stands in
};

// Why a PC cannot be had: one sentence for people, with the file, the place in it (a JSON path such as
// /controllers/0/rootHub) and what was expected there.
struct PcError {
    std::string message;
};

// The PC described in the file, or, without one, the PC that this program runs on.
std::variant<Pc, PcError> openPc(std::optional<std::string> const & descriptionFile);

} // namespace host

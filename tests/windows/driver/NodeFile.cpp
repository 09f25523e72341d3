#include "NodeFile.h"

#include "machine/Text.h"

#include <fstream>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace livepc {

namespace {

// Bits of a node's status: its driver is loaded, it runs, it has a problem, Device Manager leaves it out.
constexpr std::uint32_t healthy = 0x0000000A;
constexpr std::uint32_t hasProblem = 0x00000400;
constexpr std::uint32_t isHidden = 0x40000000;

} // namespace

NodeFile::NodeFile(std::filesystem::path path, machine::Machine const & machine)
    : path_(std::move(path)), machine_(machine) {
    update();
}

NodeFile::~NodeFile() {
    std::error_code ignored;
    std::filesystem::remove(path_, ignored);
}

std::string NodeFile::text() const {
    machine::DeviceTree const & tree = machine_.devices();
    std::string lines = "0 " + std::to_string(healthy) + " 0 HTREE\\ROOT\\0\n";
    for (machine::NodeId node = tree.root() + 1; node <= tree.size(); ++node) {
        machine::DeviceNode const & facts = tree[node];
        std::uint32_t const status =
            (facts.problem != 0 ? hasProblem : healthy) | (facts.hidden ? isHidden : std::uint32_t{0});
        lines += std::to_string(facts.parent) + ' ' + std::to_string(status) + ' ' + std::to_string(facts.problem) +
                 ' ' + (machine_.isPresent(node) ? machine::toUtf8(facts.instanceId) : std::string()) + '\n';
    }
    return lines;
}

void NodeFile::update() {
    std::string lines = text();
    if (lines == written_) {
        return;
    }
    std::filesystem::path const newer = path_.native() + std::filesystem::path(".new").native();
    {
        std::ofstream stream(newer, std::ios::binary);
        if (!(stream << lines).flush()) {
            throw std::runtime_error("the list of device nodes cannot be written");
        }
    }
    std::filesystem::rename(newer, path_); // nobody reads half of it
    written_ = std::move(lines);
}

} // namespace livepc

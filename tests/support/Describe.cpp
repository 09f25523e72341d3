#include "Describe.h"

#include "machine/simulated/DescriptionReader.h"
#include "machine/simulated/Images.h"
#include "machine/simulated/SimulatedMachine.h"

#include <fstream>
#include <iterator>
#include <stdexcept>
#include <utility>
#include <variant>

namespace support {

std::unique_ptr<machine::Machine> describedPc(std::string_view json) {
    auto read = machine::readDescription(json);
    if (auto const * error = std::get_if<machine::DescriptionError>(&read)) {
        throw std::runtime_error("the test's description is wrong: " + error->format());
    }
    auto & description = std::get<machine::simulated::Description>(read);
    if (auto const error = machine::simulated::openImages(description, {})) {
        throw std::runtime_error("the test's description is wrong: " + error->format());
    }
    return machine::makeSimulatedMachine(std::move(description));
}

std::string machineFile(std::string_view fileName) {
    std::string const path = std::string(NUVRUSB_MACHINES_DIR) + '/' + std::string(fileName);
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        throw std::runtime_error("the test needs " + path + ", which cannot be read");
    }
    return std::string(std::istreambuf_iterator<char>(file), {});
}

} // namespace support

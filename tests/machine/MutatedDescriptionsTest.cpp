// Descriptions with one mistake each, made by chance from those that come with the program: every one is refused with
// its place and what was expected there.
#include "DescriptionMutations.h"

#include "machine/simulated/DescriptionReader.h"
#include "machine/simulated/SimulatedMachine.h"
#include "support/Describe.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <string>
#include <variant>
#include <vector>

namespace {

using mutations::Json;
using mutations::Mutated;

// The described PCs that come with the program, and one that uses whatever a description can say.
std::vector<Json> descriptions() {
    std::vector<std::filesystem::path> files;
    for (auto const & entry : std::filesystem::directory_iterator(NUVRUSB_MACHINES_DIR)) {
        files.push_back(entry.path());
    }
    std::ranges::sort(files);
    std::vector<Json> all;
    for (auto const & file : files) {
        all.push_back(Json::parse(support::machineFile(file.filename().string())));
    }
    std::ifstream bad(NUVRUSB_BAD_DESCRIPTIONS);
    all.push_back(Json::parse(bad).at("base"));
    return all;
}

std::string oneLine(std::string const & text) {
    return text.substr(0, 300);
}

// What the reader should have said of a mutated description and did not; empty when it did.
std::string faultOf(Mutated const & mutated) {
    auto const read = machine::readDescription(mutated.text);
    auto const * const error = std::get_if<machine::DescriptionError>(&read);
    if (error == nullptr) {
        return "accepted";
    }
    std::string const & message = error->message;
    std::string const line = mutated.line ? "line " + std::to_string(*mutated.line) + ", column " : "line ";
    bool const isPlaced = mutated.pointer ? error->pointer == *mutated.pointer
                                          : error->pointer.empty() && message.starts_with(line) &&
                                                message.find(", column ") != std::string::npos;
    bool const isExplained = message.find(mutated.message) != std::string::npos;
    bool const isOneLine = error->format().find('\n') == std::string::npos;
    bool const isOfPeople = message.find("exception") == std::string::npos;
    return isPlaced && isExplained && isOneLine && isOfPeople ? "" : "told as: " + oneLine(error->format());
}

TEST(MutatedDescriptions, AThousandAreRefusedWithTheirPlaces) {
    constexpr std::uint64_t seeds = 16;
    constexpr std::size_t shown = 10;
    std::set<std::string> texts; // no description counts twice
    std::size_t faults = 0;
    std::vector<Json> const all = descriptions();
    for (std::size_t file = 0; file < all.size(); ++file) {
        for (Mutated const & mutated : mutations::ofEachKind(all[file], seeds)) {
            texts.insert(mutated.text);
            std::string const fault = faultOf(mutated);
            if (!fault.empty() && ++faults <= shown) {
                ADD_FAILURE() << "description " << file << ", " << mutated.what << "\n" << fault;
            }
        }
    }
    EXPECT_EQ(faults, 0U);
    EXPECT_GE(texts.size(), 1000U);
}

// Which of these are right is another matter; whatever is accepted can be made a PC.
TEST(MutatedDescriptions, AnyOtherIsAcceptedOrRefusedWithItsPlace) {
    constexpr std::uint64_t seeds = 60;
    std::map<bool, std::size_t> accepted;
    for (Json const & description : descriptions()) {
        for (std::uint64_t seed = 1; seed <= seeds; ++seed) {
            mutations::Random random(seed);
            std::string const text = mutations::anythingElse(description, random);
            auto read = machine::readDescription(text);
            auto * const pc = std::get_if<machine::simulated::Description>(&read);
            ++accepted[pc != nullptr];
            if (pc != nullptr) {
                EXPECT_FALSE(machine::makeSimulatedMachine(std::move(*pc))->name().empty());
                continue;
            }
            auto const & error = std::get<machine::DescriptionError>(read);
            EXPECT_FALSE(error.message.empty());
            EXPECT_TRUE(error.pointer.empty() || Json::parse(text).contains(Json::json_pointer(error.pointer)))
                << seed << ": " << error.format();
        }
    }
    EXPECT_GT(accepted[true], 100U);
    EXPECT_GT(accepted[false], 100U);
}

} // namespace

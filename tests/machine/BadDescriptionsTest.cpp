// Descriptions that are wrong in one place each. The same table is checked against the published schema.
#include "machine/simulated/DescriptionReader.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <fstream>
#include <ostream>
#include <string>
#include <vector>

namespace {

using nlohmann::json;

struct Row {
    std::string name;
    std::string description;
    std::string pointer;
    std::string message; // a part of it

    friend std::ostream & operator<<(std::ostream & out, Row const & row) { return out << row.name; }
};

json table() {
    std::ifstream file(NUVRUSB_BAD_DESCRIPTIONS);
    return json::parse(file);
}

std::vector<Row> rows() {
    json const all = table();
    std::vector<Row> rows;
    for (json const & row : all["rows"]) {
        rows.push_back({row["name"], all["base"].patch(row["patch"]).dump(), row["pointer"], row["message"]});
    }
    return rows;
}

class BadDescription : public testing::TestWithParam<Row> {};

TEST_P(BadDescription, IsRefusedWithItsPlaceAndWhatWasExpected) {
    auto const read = machine::readDescription(GetParam().description);

    auto const * const error = std::get_if<machine::DescriptionError>(&read);
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(error->pointer, GetParam().pointer);
    EXPECT_NE(error->message.find(GetParam().message), std::string::npos) << error->message;
}

INSTANTIATE_TEST_SUITE_P(Table, BadDescription, testing::ValuesIn(rows()),
                         [](auto const & instance) { return instance.param.name; });

TEST(BadDescriptions, TheirBaseIsGood) {
    auto const read = machine::readDescription(table()["base"].dump());

    EXPECT_EQ(std::get_if<machine::DescriptionError>(&read), nullptr);
}

} // namespace

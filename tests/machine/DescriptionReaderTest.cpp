#include "machine/simulated/DescriptionReader.h"

#include <gtest/gtest.h>

#include <chrono>
#include <stdexcept>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace {

using machine::DescriptionError;
using machine::readDescription;
using machine::ScriptedUser;
using machine::simulated::Description;

DescriptionError errorOf(std::string_view json) {
    auto const read = readDescription(json);
    auto const * error = std::get_if<DescriptionError>(&read);
    return error == nullptr ? DescriptionError{"no error", "no error"} : *error;
}

Description read(std::string_view json) {
    auto result = readDescription(json);
    if (auto const * error = std::get_if<DescriptionError>(&result)) {
        throw std::runtime_error(error->format());
    }
    return std::get<Description>(std::move(result));
}

std::string pcWith(std::string const & rootHub) {
    return R"({"name": "PC", "controllers": [{"instanceId": "PCI\\X\\1", "rootHub": {)" + rootHub + "}}]}";
}

TEST(DescriptionReader, SmallestDescriptionIsANameAndNoControllers) {
    Description const description = read(R"({"name": "PC", "controllers": []})");

    EXPECT_EQ(description.name, "PC");
    EXPECT_TRUE(description.controllers.empty());
    EXPECT_FALSE(description.user.has_value());
}

TEST(DescriptionReader, UserIsReadWhole) {
    Description const description =
        read(R"({"name": "PC", "controllers": [], "user": {"answers": ["ok", "yes", "no", "retry", "cancel", "abort"],
                 "stopAtPoll": 3, "stopAfterMilliseconds": 500}})");

    using Answer = ScriptedUser::Answer;
    std::vector<Answer> const all{Answer::Ok, Answer::Yes, Answer::No, Answer::Retry, Answer::Cancel, Answer::Abort};
    EXPECT_EQ(description.user->answers, all);
    EXPECT_EQ(description.user->stopAtPoll, 3U);
    EXPECT_EQ(description.user->stopAfter, std::chrono::milliseconds(500));
}

TEST(DescriptionReader, NotJsonIsPlacedByLineAndColumn) {
    DescriptionError const error = errorOf("{\n  \"name\": \"\xC3\xA4\", oops\n}");

    EXPECT_EQ(error.pointer, "");
    EXPECT_TRUE(error.message.starts_with("line 2, column 16: not JSON")) << error.message;
}

TEST(DescriptionReader, NothingIsNotJson) {
    EXPECT_TRUE(errorOf("").message.starts_with("line 1, column 1: not JSON")) << errorOf("").message;
}

TEST(DescriptionReader, NumberBeyondEveryTypeIsAnError) {
    EXPECT_EQ(errorOf(R"({"name": "PC", "controllers": [], "user": {"stopAtPoll": 1e999}})").message,
              "line 1, column 62: the number is too large");
}

TEST(DescriptionReader, MemberThatIsThereTwiceIsAnError) {
    DescriptionError const error = errorOf(
        R"({"name": "PC", "controllers": [{"instanceId": "A", "rootHub": {"portCount": 1}},
            {"instanceId": "B", "rootHub": {"portCount": 1, "ports": [], "portCount": 2}}]})");

    EXPECT_EQ(error.pointer, "/controllers/1/rootHub/portCount");
    EXPECT_EQ(error.message, "\"portCount\" is there twice; expected each member once");
}

TEST(DescriptionReader, FormatPutsThePlaceInFront) {
    EXPECT_EQ((DescriptionError{"/name", "is bad"}.format()), "/name: is bad");
    EXPECT_EQ((DescriptionError{"", "is bad"}.format()), "is bad");
}

TEST(DescriptionReader, WholeNumbersMayBeWrittenAsFractions) {
    EXPECT_EQ(read(pcWith(R"("portCount": 4.0)")).controllers[0].rootHub.hub.portCount, 4U);
    EXPECT_EQ(read(pcWith(R"("portCount": 1e1)")).controllers[0].rootHub.hub.portCount, 10U);
}

TEST(DescriptionReader, BrokenUnicodeIsReplaced) {
    EXPECT_EQ(read("{\"name\": \"a\xFF\xE2\x82z\", \"controllers\": []}").name, "a\xEF\xBF\xBD\xEF\xBF\xBDz");
    EXPECT_EQ(read(R"({"name": "\ud800|\udc00|\ud800\ud800|\ud83d\ude00|\\ud800", "controllers": []})").name,
              "\xEF\xBF\xBD|\xEF\xBF\xBD|\xEF\xBF\xBD\xEF\xBF\xBD|\xF0\x9F\x98\x80|\\ud800");
}

TEST(DescriptionReader, TextsOfTheSystemAreUtf16) {
    Description const description =
        read(R"({"name": "PC", "controllers": [{"instanceId": "ä€😀", "rootHub": {"portCount": 1}}]})");

    EXPECT_EQ(description.controllers[0].facts.instanceId, u"\u00E4\u20AC\U0001F600");
}

TEST(DescriptionReader, DisabledMeansProblem22UnlessAnotherIsGiven) {
    auto const problem = [](std::string const & members) {
        return read(pcWith(R"("portCount": 1, )" + members)).controllers[0].rootHub.facts.problem;
    };

    EXPECT_EQ(problem(R"("disabled": true)"), 22U);
    EXPECT_EQ(problem(R"("disabled": true, "problemCode": 10)"), 10U);
    EXPECT_EQ(problem(R"("disabled": false)"), 0U);
}

TEST(DescriptionReader, UsbVersionIsBinaryCodedDecimal) {
    auto const version = [](std::string const & text) {
        Description const description = read(pcWith(
            R"("portCount": 1, "ports": [{"port": 1, "protocols": ["2.0"], "speed": "high",
               "device": {"instanceId": "A", "usbVersion": ")" +
            text + R"("}}])"));
        return description.controllers[0].rootHub.hub.ports[0].device->usbVersion;
    };

    EXPECT_EQ(version("2.10"), 0x0210);
    EXPECT_EQ(version("3.20"), 0x0320);
    EXPECT_EQ(version("12.34"), 0x1234);
}

// A chain of so many hubs below the root hub.
std::string hubChain(unsigned count) {
    std::string json = R"("portCount": 1)";
    for (unsigned i = count; i > 0; --i) {
        json =
            R"("portCount": 1, "ports": [{"port": 1, "protocols": ["2.0"], "speed": "high", "hub": {"instanceId": "H)" +
            std::to_string(i) + "\", " + json + "}}]";
    }
    return pcWith(json);
}

TEST(DescriptionReader, ThirtyTwoHubsInAChainAreTheLimit) {
    EXPECT_EQ(errorOf(hubChain(31)).message, "no error");

    DescriptionError const error = errorOf(hubChain(32));
    EXPECT_NE(error.message.find("hubs are nested too deeply"), std::string::npos) << error.message;
    EXPECT_TRUE(error.pointer.ends_with("/ports/0/hub/ports/0/hub")) << error.pointer;
}

std::string nodeChain(unsigned count) {
    std::string json;
    for (unsigned i = 0; i < count; ++i) {
        json = R"("nodes": [{"instanceId": "N")" + (json.empty() ? json : ", " + json) + "}]";
    }
    return pcWith(R"("portCount": 1, "ports": [{"port": 1, "protocols": ["2.0"], "speed": "high",
                     "device": {"instanceId": "D", )" +
                  json + "}}]");
}

TEST(DescriptionReader, ThirtyTwoLevelsOfNodesAreTheLimit) {
    EXPECT_EQ(errorOf(nodeChain(32)).message, "no error");

    EXPECT_NE(errorOf(nodeChain(33)).message.find("nested too deeply"), std::string::npos);
}

TEST(DescriptionReader, DeepNestingOfAnythingIsAnErrorNotACrash) {
    std::string const deep(100'000, '[');

    EXPECT_NE(errorOf(deep).message.find("not JSON"), std::string::npos);
    EXPECT_EQ(errorOf(R"({"name": )" + deep + std::string(100'000, ']') + "}").pointer, "/name");
}

} // namespace

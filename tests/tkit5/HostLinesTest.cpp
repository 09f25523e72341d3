#include "tkit5/HostLines.h"

#include <string>
#include <string_view>
#include <variant>

#include <gtest/gtest.h>

namespace {

using namespace tkit5;

std::string faultOf(std::string_view line) {
    HostLine const parsed = parseHostLine(line);
    HostLineFault const * const fault = std::get_if<HostLineFault>(&parsed);
    return fault == nullptr ? "understood" : fault->message;
}

TEST(HostLinesTest, StopIsUnderstood) {
    EXPECT_TRUE(std::holds_alternative<HostStop>(parseHostLine(R"({"type":"stop"})")));
    EXPECT_TRUE(std::holds_alternative<HostStop>(parseHostLine(" {\"reason\": 1, \"type\": \"stop\"}\r")));
}

TEST(HostLinesTest, AnswerCarriesItsBoxAndItsWord) {
    auto const answer = std::get<HostAnswer>(parseHostLine(R"({"type":"answer","id":4294967295,"answer":"yes"})"));
    EXPECT_EQ(answer.id, 4294967295U);
    EXPECT_EQ(answer.answer, "yes");
}

TEST(HostLinesTest, LineThatIsNoObjectIsAFault) {
    for (char const * line : {"", "stop", "{", "[]", "\"stop\"", "null", "{\"type\":\"stop\"} x", "\xFF\xFE"}) {
        EXPECT_EQ(faultOf(line), "The line has to be a JSON object.") << line;
    }
}

TEST(HostLinesTest, UnknownTypeIsAFault) {
    for (char const * line : {"{}", R"({"type":"STOP"})", R"({"type":1})", R"({"kind":"stop"})"}) {
        EXPECT_EQ(faultOf(line), "\"type\" has to be \"stop\" or \"answer\".") << line;
    }
}

TEST(HostLinesTest, AnswerWithoutTheNumberOfABoxIsAFault) {
    for (char const * id : {"-1", "1.0", "\"1\"", "null", "4294967296", "99999999999999999999"}) {
        EXPECT_EQ(faultOf(std::string(R"({"type":"answer","answer":"yes","id":)") + id + "}"),
                  "\"id\" has to be the number of a message box.")
            << id;
    }
    EXPECT_EQ(faultOf(R"({"type":"answer","answer":"yes"})"), "\"id\" has to be the number of a message box.");
}

TEST(HostLinesTest, AnswerThatIsNoWordIsAFault) {
    for (char const * line : {R"({"type":"answer","id":1})", R"({"type":"answer","id":1,"answer":2})"}) {
        EXPECT_EQ(faultOf(line), "\"answer\" has to be one of the answers that the message box offers.") << line;
    }
}

TEST(HostLinesTest, DeepNestingDoesNoHarm) {
    EXPECT_EQ(faultOf(std::string(60000, '[')), "The line has to be a JSON object.");
    EXPECT_EQ(faultOf(std::string(30000, '[') + std::string(30000, ']')), "The line has to be a JSON object.");
}

} // namespace

// A running session without devices, whose reports can be read as JSON lines.
#pragma once

#include "FakePc.h"
#include "ProtocolLines.h"
#include "support/FakeConsole.h"
#include "tkit5/JsonlReporter.h"
#include "tkit5/Session.h"

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace test {

using tkit5::Answering;
using tkit5::DiagModule;
using tkit5::MessageBox2_Options;
using tkit5::MessageBox2_Return;
using Answer = machine::ScriptedUser::Answer;

class SessionFixture : public testing::Test {
protected:
    void begin(Answering answering, std::optional<machine::ScriptedUser> user = std::nullopt) {
        session_.emplace(tkit5::SessionSetup{.reporter = reporter_,
                                             .console = console_,
                                             .locale = locale_,
                                             .answering = answering,
                                             .hostSpeaks = answering == Answering::Host,
                                             .user = std::move(user)});
    }
    void TearDown() override {
        session_.reset();
        keepForSchemaCheck(console_.output());
    }

    std::vector<std::string> lines() const { return splitLines(console_.output()); }

    static std::unique_ptr<tkit5::MessageBox2> box(MessageBox2_Options options) {
        return DiagModule::createMessageBox2("All data will be lost.", "Overwrite?", tkit5::MessageBox2_Types::Plain,
                                             options, tkit5::MessageBox2_Looks::Question, true);
    }
    static std::unique_ptr<tkit5::MessageBox2> shownBox(MessageBox2_Options options) {
        auto shown = box(options);
        EXPECT_TRUE(shown->display());
        return shown;
    }

    // The answer to a new box for which nobody waits longer than it takes.
    static MessageBox2_Return ask(MessageBox2_Options options) {
        auto const asked = shownBox(options);
        EXPECT_TRUE(asked->wait(0));
        return static_cast<MessageBox2_Return>(asked->getReturn());
    }

    FakePc pc_;
    FakeConsole console_;
    tkit5::JsonlReporter reporter_{console_};
    tkit5::Locale locale_ = tkit5::Locale::fromFile(
        "test.json",
        R"({"language": "en", "texts": {"SLOW": "{Device} is slow.", "READING": "Reading at {Rate} MB/s"}})");
    std::optional<tkit5::Session> session_;
};

} // namespace test

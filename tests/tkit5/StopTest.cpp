#include "SessionFixture.h"

#include "tkit5/Registry.h"

#include <chrono>
#include <stdexcept>

namespace test {

using namespace std::chrono_literals;

namespace {

char const * const stopLine = R"({"type":"stop"})";

class BareImp final : public tkit5::IDeviceImp {
public:
    nuv::String connectHubIdentifier() const override { return {}; }
    nuv::String identifier() const override { return "BARE"; }
    nuv::String osName() const override { return {}; }
    nuv::Array<nuv::SharedResourceManager<tkit5::IDeviceImp>> children() const override { return {}; }
};

class BareDevice final : public tkit5::DiagDevice {
public:
    nuv::String name() const override { return "Bare"; }
    nuv::String description() const override { return {}; }
    nuv::String hwLocator() const override { return {}; }
    nuv::String osLocator() const override { return {}; }
    tkit5::DeviceProperty const * property(char const *) const override { return nullptr; }
    bool hasCapability(tkit5::DeviceCapability) const override { return false; }
    tkit5::IDeviceImp const & imp() const override { return imp_; }

private:
    BareImp imp_;
};

} // namespace

class StopTest : public SessionFixture {};

TEST_F(StopTest, NobodyAsksForAStop) {
    begin(Answering::No);

    EXPECT_FALSE(DiagModule::checkForStop());
    EXPECT_FALSE(session_->stopped());
}

TEST_F(StopTest, SignalStops) {
    begin(Answering::No);
    console_.requestStop();

    EXPECT_FALSE(session_->stopped());
    EXPECT_TRUE(DiagModule::checkForStop());
    EXPECT_TRUE(session_->stopped());
}

TEST_F(StopTest, HostStopsAndStaysStopped) {
    begin(Answering::Host);
    console_.keepOpen();
    EXPECT_FALSE(DiagModule::checkForStop());
    console_.type(stopLine);

    EXPECT_TRUE(DiagModule::checkForStop());
    EXPECT_TRUE(DiagModule::checkForStop());
}

TEST_F(StopTest, PollingTheHostNeverBlocks) {
    begin(Answering::Host);
    console_.keepOpen();
    DiagModule::checkForStop();

    ASSERT_EQ(console_.limits().size(), 1U);
    EXPECT_EQ(console_.limits()[0], 0ms);
}

TEST_F(StopTest, EndOfInputIsNoStop) {
    begin(Answering::Host);

    EXPECT_FALSE(DiagModule::checkForStop());
    EXPECT_FALSE(DiagModule::checkForStop());
}

TEST_F(StopTest, StopBehindLinesThatAreNotUnderstoodIsHeard) {
    begin(Answering::Host);
    console_.type("nonsense").type(R"({"type":"answer","id":1,"answer":"yes"})").type(stopLine);

    EXPECT_TRUE(DiagModule::checkForStop());
    EXPECT_EQ(lines(),
              (std::vector<std::string>{
                  R"({"type":"inputError","seq":1,"line":"nonsense","message":"The line has to be a JSON object."})",
                  R"({"type":"inputError","seq":2,"line":"{\"type\":\"answer\",\"id\":1,\"answer\":\"yes\"}",)"
                  R"("message":"No message box 1 waits for an answer."})"}));
}

TEST_F(StopTest, HostThatFloodsIsHeardInSeveralPolls) {
    begin(Answering::Host);
    for (int i = 0; i < 400; ++i) {
        console_.type("x");
    }
    console_.type(stopLine);

    EXPECT_FALSE(DiagModule::checkForStop());
    EXPECT_TRUE(DiagModule::checkForStop());
}

TEST_F(StopTest, WithoutAHostInputIsLeftAlone) {
    begin(Answering::No);
    console_.type(stopLine);

    EXPECT_FALSE(DiagModule::checkForStop());
    EXPECT_EQ(console_.inputLeft(), 1U);
}

TEST_F(StopTest, ScriptedUserStopsAtAPollAndEverAfter) {
    machine::ScriptedUser user;
    user.stopAtPoll = 3;
    begin(Answering::Script, user);

    EXPECT_FALSE(DiagModule::checkForStop());
    EXPECT_FALSE(DiagModule::checkForStop());
    EXPECT_TRUE(DiagModule::checkForStop());
    EXPECT_TRUE(DiagModule::checkForStop());
}

TEST_F(StopTest, ScriptedUserStopsAfterATimeOnThePcsClock) {
    machine::ScriptedUser user;
    user.stopAfter = 500ms;
    pc_.clock().sleep(10s);
    begin(Answering::Script, user);

    pc_.clock().sleep(499ms);
    EXPECT_FALSE(DiagModule::checkForStop());
    pc_.clock().sleep(1ms);
    EXPECT_TRUE(DiagModule::checkForStop());
}

TEST_F(StopTest, ScriptedUserStopsWhoeverAnswersTheQuestions) {
    machine::ScriptedUser user;
    user.stopAtPoll = 1;
    begin(Answering::Yes, user);

    EXPECT_TRUE(DiagModule::checkForStop());
}

TEST_F(StopTest, LostOutputStops) {
    begin(Answering::No);
    console_.loseOutputAfter(1);
    DiagModule::percentDone(10);
    EXPECT_FALSE(DiagModule::checkForStop());

    DiagModule::percentDone(20);
    EXPECT_TRUE(DiagModule::checkForStop());
    DiagModule::percentDone(30);
    EXPECT_EQ(console_.writes(), 2U); // nothing more is tried
}

TEST_F(StopTest, StopIsNotPassedOnToTheNextSession) {
    begin(Answering::No);
    EXPECT_EQ(tkit5::Session::active(), &*session_);
    session_.reset();

    EXPECT_EQ(tkit5::Session::active(), nullptr);
    EXPECT_FALSE(DiagModule::checkForStop());
}

TEST_F(StopTest, TestSeesItsOptionalDevicesWhileItRuns) {
    begin(Answering::No);
    BareDevice const first;
    BareDevice const second;
    tkit5::RegisteredTest test;
    test.entry = [](tkit5::DiagDevice const & device) {
        bool const isSecond = DiagModule::optionalDeviceCount() == 2 && &DiagModule::optionalDevice(1) == &device;
        return isSecond ? tkit5::TestResult::PASS() : tkit5::TestResult::FAIL();
    };

    EXPECT_EQ(session_->runTest(test, second, {&first, &second}), tkit5::TestResult::PASS());
    EXPECT_EQ(DiagModule::optionalDeviceCount(), 0U);
}

TEST_F(StopTest, ExceptionOfATestPassesThrough) {
    begin(Answering::No);
    BareDevice const device;
    tkit5::RegisteredTest test;
    test.entry = [](tkit5::DiagDevice const &) -> tkit5::TestResult { throw std::runtime_error("broken"); };

    EXPECT_THROW(session_->runTest(test, device, {&device}), std::runtime_error);
    EXPECT_EQ(DiagModule::optionalDeviceCount(), 0U);
}

TEST_F(StopTest, DeviceBeyondTheOptionalOnesIsRefused) {
    begin(Answering::No);

    EXPECT_THROW(DiagModule::optionalDevice(0), tkit5::TkitException);
}

TEST_F(StopTest, TestThatThisBuildDoesNotCarryCannotRun) {
    begin(Answering::No);
    BareDevice const device;
    tkit5::RegisteredTest const test;

    EXPECT_EQ(session_->runTest(test, device, {}), tkit5::TestResult::CANNOTRUN());
}

} // namespace test

#include "nuv.h"
#include "nuv/LogSink.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace {

class Recorder : public nuv::LogSink {
public:
    void message(int priority, char const * logger, std::string const & text) override {
        lines.push_back(std::to_string(priority) + ' ' + logger + ": " + text);
        throwIfAsked();
    }
    void scope(bool entered, char const * logger, char const * function, char const * sourceFile,
               int sourceLine) override {
        lines.push_back(std::string(entered ? "> " : "< ") + logger + ' ' + function + ' ' + sourceFile + ':' +
                        std::to_string(sourceLine));
        throwIfAsked();
    }

    std::vector<std::string> lines;
    bool throws = false;

private:
    void throwIfAsked() const {
        if (throws) {
            throw std::runtime_error("the log is full");
        }
    }
};

class LoggersTest : public testing::Test {
protected:
    LoggersTest() { nuv::setLogSink(&log_); }
    ~LoggersTest() override {
        nuv::setLogSink(nullptr);
        nuv::setLogPriority(5);
    }

    static nuv::Logger & logger(char const * name) {
        nuv::Logger * slot = nullptr;
        return *nuv::LogFactory::createLogger(name, slot);
    }

    Recorder log_;
};

using Lines = std::vector<std::string>;

TEST_F(LoggersTest, NothingIsLoggedUntilSomebodyAsks) {
    EXPECT_EQ(nuv::LogFactory::getPriority(), 5);
    nuv::setLogPriority(1);
    EXPECT_EQ(nuv::LogFactory::getPriority(), 1);
}

TEST_F(LoggersTest, TheFactoryMakesEachLoggerOnce) {
    nuv::Logger * first = nullptr;
    nuv::Logger * second = nullptr;
    EXPECT_FALSE(nuv::loggerExists("once"));
    EXPECT_EQ(nuv::LogFactory::createLogger("once", first), first);
    EXPECT_TRUE(nuv::loggerExists("once"));
    nuv::LogFactory::createLogger("once", second);
    EXPECT_EQ(first, second);
    EXPECT_STREQ(first->name(), "once");
}

TEST_F(LoggersTest, ALevelMayBeSetBeforeTheLoggerExists) {
    nuv::setLoggerLevel("early", 3);
    EXPECT_FALSE(nuv::loggerExists("early"));
    EXPECT_EQ(logger("early").level(), 3);
    EXPECT_EQ(logger("late").level(), 1);
    nuv::setLoggerLevel("late", 2);
    EXPECT_EQ(logger("late").level(), 2);
}

TEST_F(LoggersTest, TheThresholdInEffectIsTheHighestOnTheWayUp) {
    nuv::setLoggerLevel("top", 3);
    nuv::setLoggerLevel("top.middle.leaf", 2);
    EXPECT_EQ(logger("top.middle.leaf").level(), 2);
    EXPECT_EQ(logger("top.middle.leaf").resolvePriority(), 3);
    nuv::setLoggerLevel("top.middle", 4);
    EXPECT_EQ(logger("top.middle.leaf").resolvePriority(), 4);
    EXPECT_EQ(logger("top").resolvePriority(), 3);
    EXPECT_EQ(logger("topmost").resolvePriority(), 1); // not below "top"
}

TEST_F(LoggersTest, MessagesReachTheSinkAsTheyStand) {
    nuv::LoggerStream text;
    text << "520 Device is not connected";
    logger("messages").log(3, text);
    nuv::setLogSink(nullptr);
    logger("messages").log(3, text);
    EXPECT_EQ(log_.lines, Lines{"3 messages: 520 Device is not connected"});
}

TEST_F(LoggersTest, ATraceScopeIsLeftOnEveryWayOut) {
    try {
        nuv::TraceLogger const scope(&logger("traced"), "work", "unit.cpp", 12);
        throw 1;
    } catch (int) {
        log_.lines.emplace_back("caught");
    }
    EXPECT_EQ(log_.lines, (Lines{"> traced work unit.cpp:12", "< traced work unit.cpp:12", "caught"}));
}

TEST_F(LoggersTest, AScopeWithoutALoggerIsSilent) {
    { nuv::TraceLogger const scope(nullptr, "work", "unit.cpp", 12); }
    EXPECT_TRUE(log_.lines.empty());
}

TEST_F(LoggersTest, AFailingLogChangesNothing) {
    log_.throws = true;
    EXPECT_NO_THROW(logger("failing").log(4, nuv::LoggerStream()));
    EXPECT_NO_THROW(nuv::TraceLogger(&logger("failing"), "work", "unit.cpp", 12));
    EXPECT_EQ(log_.lines.size(), 3U);
}

} // namespace

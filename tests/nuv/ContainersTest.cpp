#include "kernel/ScriptedMachine.h"
#include "machine/Machine.h"
#include "nuv.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>
#include <vector>

namespace {

TEST(ArrayTest, RoomGrowsFromEightByDoubling) {
    nuv::Array<int> array;
    EXPECT_EQ(array.capacity(), 0U);
    std::vector<std::size_t> rooms;
    for (int i = 0; i < 33; ++i) {
        array.append(i);
        if (rooms.empty() || rooms.back() != array.capacity()) {
            rooms.push_back(array.capacity());
        }
    }
    EXPECT_EQ(rooms, (std::vector<std::size_t>{8, 16, 32, 64}));
    EXPECT_EQ(array[32], 32);
}

TEST(ArrayDeathTest, IndexOutsideEndsTheProcess) {
    nuv::Array<int> array;
    array.append(1);
    EXPECT_DEATH(static_cast<void>(array[1]), "index < size\\(\\)");
}

struct Counted {
    explicit Counted(int & alive) : alive_(alive) { ++alive_; }
    Counted(Counted const &) = delete;
    Counted & operator=(Counted const &) = delete;
    ~Counted() { --alive_; }
    int & alive_;
};

using Holder = nuv::SharedResourceManager<Counted>;

TEST(SharedResourceManagerTest, TheLastHolderDeletesTheObject) {
    int alive = 0;
    Holder first(new Counted(alive));
    {
        Holder const second = first;
        first.release();
        EXPECT_FALSE(first);
        EXPECT_EQ(alive, 1);
        EXPECT_TRUE(second);
    }
    EXPECT_EQ(alive, 0);
}

TEST(SharedResourceManagerTest, AssignmentGivesUpTheOldObject) {
    int alive = 0;
    Holder first(new Counted(alive));
    Holder second(new Counted(alive));
    first = second;
    EXPECT_EQ(alive, 1);
    EXPECT_EQ(first, second);
    Holder & self = first;
    first = self;
    EXPECT_EQ(alive, 1);
    first = Holder();
    second = std::move(first);
    EXPECT_EQ(alive, 0);
}

TEST(SharedResourceManagerTest, ANullPointerGivesAnEmptyHolder) {
    Holder const holder(nullptr);
    EXPECT_FALSE(holder);
    EXPECT_EQ(holder.get(), nullptr);
}

TEST(SharedResourceManagerTest, CopiesMayLiveOnDifferentThreads) {
    int alive = 0;
    {
        Holder const holder(new Counted(alive));
        std::vector<std::thread> threads;
        for (int i = 0; i < 4; ++i) {
            threads.emplace_back([copy = holder] {
                for (int turn = 0; turn < 1000; ++turn) {
                    Holder const another = copy;
                    ASSERT_TRUE(another);
                }
            });
        }
        for (auto & thread : threads) {
            thread.join();
        }
        EXPECT_EQ(alive, 1);
    }
    EXPECT_EQ(alive, 0);
}

TEST(StopwatchTest, MeasuresOnTheClockOfTheMachine) {
    support::ScriptedMachine pc;
    machine::InUse const inUse(pc);
    pc.clock().sleep(std::chrono::seconds(100));
    nuv::Stopwatch stopwatch;
    EXPECT_EQ(stopwatch.getElapsed(), 0.0);
    pc.clock().sleep(std::chrono::milliseconds(1500));
    EXPECT_DOUBLE_EQ(stopwatch.getElapsed(), 1.5);
    stopwatch.reset();
    EXPECT_EQ(stopwatch.getElapsed(), 0.0);
}

// A percentage that counts whole seconds would show the difference.
TEST(StopwatchTest, TheSameTimeIsTheSameWheneverItIsMeasured) {
    support::ScriptedMachine pc;
    machine::InUse const inUse(pc);
    for (int i = 0; i < 100; ++i) {
        pc.clock().sleep(std::chrono::nanoseconds(100'123'457));
        nuv::Stopwatch const stopwatch;
        pc.clock().sleep(std::chrono::seconds(8));
        EXPECT_EQ(stopwatch.getElapsed(), 8.0) << i;
    }
}

} // namespace

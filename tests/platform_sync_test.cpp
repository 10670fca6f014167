// Singleton (once-only creation, destruction by the factory's rule) and the
// locks (critical section, readers-writer lock). No timings: concurrency is
// shown with latches and barriers, and by counters that a missing lock breaks.
#include <gtest/gtest.h>

#include <atomic>
#include <barrier>
#include <latch>
#include <mutex>
#include <thread>
#include <vector>

#include "Utility/Generic/SUGCriticalSection.h"
#include "Utility/Generic/SUGReadWriteLock.h"
#include "Utility/Generic/SUGSingleton.h"

namespace {

std::atomic<int> g_constructed{0};
std::atomic<int> g_destroyed{0};

struct Widget {
    Widget() { ++g_constructed; }
    ~Widget() { ++g_destroyed; }
    int value = 11;
};

template <bool DestroyAtExit>
using WidgetSingleton = Singleton<Widget, DefaultSingletonFactory<Widget, DestroyAtExit>>;

// A namespace-scope singleton needs no dynamic initialisation: it is usable
// from other static initialisers whatever their order.
constinit WidgetSingleton<true> g_constantInitialised;

class SingletonTest : public testing::Test {
  protected:
    void SetUp() override {
        g_constructed = 0;
        g_destroyed = 0;
    }
};

TEST_F(SingletonTest, CreatedOnceUnderConcurrentFirstUse) {
    constexpr int kThreads = 16;
    for (int round = 0; round < 30; ++round) {
        g_constructed = 0;
        WidgetSingleton<true> singleton;
        EXPECT_FALSE(singleton.hasInstance());
        std::latch start(kThreads);
        std::vector<Widget*> seen(kThreads, nullptr);
        std::vector<std::thread> threads;
        for (int t = 0; t < kThreads; ++t)
            threads.emplace_back([&, t] {
                start.arrive_and_wait();
                seen[t] = &singleton.instance();
            });
        for (std::thread& thread : threads)
            thread.join();
        ASSERT_EQ(g_constructed, 1) << "round " << round;
        EXPECT_TRUE(singleton.hasInstance());
        for (Widget* widget : seen)
            EXPECT_EQ(widget, seen[0]);
    }
}

TEST_F(SingletonTest, DestroyInstanceThenRecreate) {
    WidgetSingleton<true> singleton;
    EXPECT_FALSE(singleton.hasInstance());
    singleton.initInstance();
    EXPECT_TRUE(singleton.hasInstance());
    singleton.initInstance();  // a second call keeps the instance
    EXPECT_EQ(g_constructed, 1);
    EXPECT_EQ(singleton->value, 11);
    singleton->value = 12;
    singleton.destroyInstance();
    EXPECT_FALSE(singleton.hasInstance());
    EXPECT_EQ(g_destroyed, 1);
    singleton.destroyInstance();  // nothing left to destroy
    EXPECT_EQ(g_destroyed, 1);
    EXPECT_EQ(singleton.instance().value, 11);  // a fresh instance
    EXPECT_EQ(g_constructed, 2);
}

TEST_F(SingletonTest, DestructorFreesInstanceOnlyWhenFactorySays) {
    { WidgetSingleton<true> unused; }
    EXPECT_EQ(g_constructed + g_destroyed, 0);  // no instance, nothing created
    {
        WidgetSingleton<true> freeing;
        freeing.instance();
    }
    EXPECT_EQ(g_destroyed, 1);
    Widget* kept = nullptr;
    {
        WidgetSingleton<false> keeping;
        kept = &keeping.instance();
    }
    EXPECT_EQ(g_destroyed, 1);  // still alive after its singleton went away
    delete kept;
    EXPECT_EQ(g_destroyed, 2);
}

TEST_F(SingletonTest, ConstantInitialisedSingletonWorks) {
    EXPECT_EQ(g_constantInitialised->value, 11);
    g_constantInitialised.destroyInstance();
    EXPECT_FALSE(g_constantInitialised.hasInstance());
}

TEST(CriticalSectionTest, HolderGivesMutualExclusion) {
    XTCriticalSection lock;
    long counter = 0;  // deliberately not atomic
    constexpr int kThreads = 4;
    constexpr int kIncrements = 20000;
    std::latch start(kThreads);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([&] {
            start.arrive_and_wait();
            for (int i = 0; i < kIncrements; ++i) {
                XTCriticalSectionHolder hold(lock);
                counter = counter + 1;
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(counter, long{kThreads} * kIncrements);
}

TEST(CriticalSectionTest, HeldLockRefusesOtherThreads) {
    XTCriticalSection lock;
    {
        std::lock_guard<XTCriticalSection> hold(lock);  // the Lockable names work
        bool acquired = true;
        std::thread([&] { acquired = lock.TryEnter(); }).join();
        EXPECT_FALSE(acquired);
    }
    bool entered = false;
    std::thread([&] {
        XTCriticalSectionHolder hold(lock);
        entered = true;
    }).join();
    EXPECT_TRUE(entered);
}

// Two readers inside at once: each waits at a barrier while holding the read
// lock, which only completes if both are inside together. While they are,
// a writer is refused.
TEST(ReadWriteLockTest, ReadersShareTheLock) {
    XTReadWriteLock lock;
    std::barrier inside(3);
    std::latch checked(1);
    auto reader = [&] {
        XTReadLockHolder hold(lock);
        inside.arrive_and_wait();
        checked.wait();
    };
    std::thread first(reader);
    std::thread second(reader);
    inside.arrive_and_wait();
    EXPECT_FALSE(lock.TryLockWrite());
    checked.count_down();
    first.join();
    second.join();
    XTWriteLockHolder afterwards(lock);  // free again
}

TEST(ReadWriteLockTest, WriterExcludesEveryone) {
    XTReadWriteLock lock;
    std::latch inside(1);
    std::latch checked(1);
    std::thread writer([&] {
        XTWriteLockHolder hold(lock);
        inside.count_down();
        checked.wait();
    });
    inside.wait();
    EXPECT_FALSE(lock.TryLockRead());
    EXPECT_FALSE(lock.TryLockWrite());
    checked.count_down();
    writer.join();
    XTReadLockHolder afterwards(lock);
}

// Readers and writers together: a writer never sees anyone else inside, a
// reader never sees a writer, and the writers' plain counter is exact.
TEST(ReadWriteLockTest, MixedLoadKeepsInvariants) {
    XTReadWriteLock lock;
    std::atomic<int> readersInside{0};
    std::atomic<int> writersInside{0};
    std::atomic<int> violations{0};
    long counter = 0;
    constexpr int kWriters = 2;
    constexpr int kReaders = 4;
    constexpr int kRounds = 3000;
    std::latch start(kWriters + kReaders);
    std::vector<std::thread> threads;
    for (int t = 0; t < kWriters; ++t)
        threads.emplace_back([&] {
            start.arrive_and_wait();
            for (int i = 0; i < kRounds; ++i) {
                XTWriteLockHolder hold(lock);
                if (writersInside++ != 0 || readersInside != 0) ++violations;
                counter = counter + 1;
                --writersInside;
            }
        });
    for (int t = 0; t < kReaders; ++t)
        threads.emplace_back([&] {
            start.arrive_and_wait();
            for (int i = 0; i < kRounds; ++i) {
                XTReadLockHolder hold(lock);
                ++readersInside;
                if (writersInside != 0 || counter < 0) ++violations;
                --readersInside;
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(violations, 0);
    EXPECT_EQ(counter, long{kWriters} * kRounds);
}

}  // namespace

// RefCnt, Heap and AutoBuffer (counts, ownership, inline storage, assertions),
// Singleton (created once) and the locks (exclusion). No timings: concurrency
// is shown with latches, and by plain counters that a missing lock breaks.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <latch>
#include <random>
#include <thread>
#include <utility>
#include <vector>

#include "CountingAllocator.h"
#include "Utility/Generic/Portable/SUPAutobuffer.h"
#include "Utility/Generic/SUGCriticalSection.h"
#include "Utility/Generic/SUGHeap.h"
#include "Utility/Generic/SUGReadWriteLock.h"
#include "Utility/Generic/SUGRefCnt.h"
#include "Utility/Generic/SUGSingleton.h"

namespace {

std::atomic<int> g_created{0}, g_destroyed{0};

struct Tracked : RefCountable {
    explicit Tracked(int value = 11) : value(value) { ++g_created; }
    ~Tracked() override { ++g_destroyed; }
    int value;
};
struct Derived : Tracked {};

// Runs `body(thread index)` on `count` threads released together.
template <class Body>
void OnThreads(int count, Body body) {
    std::latch start(count);
    std::vector<std::thread> threads;
    for (int t = 0; t < count; ++t)
        threads.emplace_back([&, t] {
            start.arrive_and_wait();
            body(t);
        });
    for (std::thread& thread : threads) thread.join();
}

// RefCnt counts its holders and deletes at zero; Heap has one owner; empty
// holders assert when dereferenced.
TEST(HolderTest, CountsOwnersAndAssertsWhenEmpty) {
    g_destroyed = 0;
    RefCnt<Tracked> first = MakeRefCnt<Tracked>(5), copy = first, moved = std::move(copy);
    RefCnt<Tracked>& alias = moved;
    moved = alias;             // self-assignment
    moved = std::move(alias);  // self-move
    moved.Reset(first.Get());  // the same object
    EXPECT_TRUE(copy.IsNull() && first->GetRefCount() == 2 && moved == first);
    moved = first = MakeRefCnt<Derived>();  // the last holders of the first object let go
    EXPECT_TRUE(g_destroyed == 1 && first->GetRefCount() == 2);
    moved = first = nullptr;  // deleted through the base's virtual destructor
    EXPECT_EQ(g_destroyed, 2);
    EXPECT_DEATH((void)*first, "Assertion failed: false");
    EXPECT_DEATH((void)first->value, "Assertion failed: false");
    Heap<Tracked> owner = MakeHeap<Derived>(), next(std::move(owner));
    next.Reset(new Tracked(4));  // deletes the previous object
    EXPECT_TRUE(owner.IsNull() && g_destroyed == 3 && (*next).value == 4);
    delete next.Release();
    EXPECT_DEATH((void)*next, "Assertion failed: m_object != nullptr");
    EXPECT_DEATH((void)next->value, "Assertion failed: m_object != nullptr");
}

// Threads copy, move and drop handles of one object, each letting its own
// go at the end: the object is deleted exactly once.
TEST(RefCntTest, ConcurrentCopiesAndReleasesDeleteOnce) {
    for (int round = 0; round < 20; ++round) {
        g_destroyed = 0;
        std::vector<RefCnt<Tracked>> handles(8, MakeRefCnt<Tracked>());
        OnThreads(8, [&](int t) {
            std::vector<RefCnt<Tracked>> held;
            for (int i = 0; i < 500; ++i) {
                held.push_back(handles[t]);
                RefCnt<Tracked> moved(std::move(held.back()));
                held.back() = moved;
                if (i % 3 == 0) held.pop_back();
            }
            handles[t].Reset();
        });
        ASSERT_EQ(g_destroyed, 1) << "round " << round;
    }
}

// Over a random walk of sizes across the inline/heap boundary, Resize keeps
// the first min(old, new) elements, the buffer is on the heap exactly when
// the size does not fit, and fitting sizes allocate nothing.
TEST(AutoBufferTest, InlineStorageAndResize) {
    AutoBuffer<unsigned, 16> buffer(0);
    std::vector<unsigned> model;
    std::mt19937 random(42);
    for (int i = 0; i < 300; ++i) {
        const std::size_t size = i < 2 ? 16 + i : random() % 50;
        const std::size_t kept = std::min(size, model.size());
        xts::test::AllocationCounter counter;
        buffer.Resize(size);
        ASSERT_TRUE(size > 16 || counter.Count() == 0u) << size;
        ASSERT_TRUE(buffer.size() == size && buffer.IsOnHeap() == (size > 16)) << size;
        ASSERT_TRUE(std::equal(model.begin(), model.begin() + kept, buffer.Get())) << size;
        model.resize(size);
        for (std::size_t j = 0; j < size; ++j) buffer[j] = model[j] = random();
    }
    AutoBuffer<char, 4> inlineBuffer(3), heapBuffer(10);
    EXPECT_DEATH((void)inlineBuffer[3], "Assertion failed: index < m_size");
    EXPECT_DEATH((void)std::as_const(heapBuffer)[10], "Assertion failed: index < m_size");
}

TEST(SingletonTest, CreatedOnceUnderConcurrentFirstUse) {
    for (int round = 0; round < 30; ++round) {
        g_created = 0;
        Singleton<Tracked> singleton;
        std::vector<Tracked*> seen(16);
        OnThreads(16, [&](int t) { seen[t] = &singleton.instance(); });
        ASSERT_EQ(g_created, 1) << "round " << round;
        EXPECT_EQ(std::count(seen.begin(), seen.end(), seen[0]), 16);
        singleton.destroyInstance();  // the next use creates a new instance
        EXPECT_TRUE(!singleton.hasInstance() && singleton->value == 11 && g_created == 2);
    }
}

// The readers-writer lock refuses a writer while a reader is inside. Under a
// mixed load a writer never sees anyone else inside, a reader never sees a
// writer, and plain counters kept under the write lock and under the critical
// section (taken by readers, who are inside together) come out exact.
TEST(LockTest, Exclusion) {
    XTReadWriteLock lock;
    XTCriticalSection section;
    {
        XTReadLockHolder hold(lock);
        bool writable = true;
        std::thread([&] { writable = lock.TryLockWrite(); }).join();
        EXPECT_FALSE(writable);
    }
    std::atomic<int> readersInside{0}, writersInside{0}, violations{0};
    long written = 0, counted = 0;  // deliberately not atomic
    OnThreads(6, [&](int t) {
        for (int i = 0; i < 5000; ++i) {
            if (t < 2) {
                XTWriteLockHolder hold(lock);
                violations += writersInside++ != 0 || readersInside != 0;
                written = written + 1;
                --writersInside;
            } else {
                XTReadLockHolder hold(lock);
                ++readersInside;
                violations += writersInside != 0;
                XTCriticalSectionHolder inSection(section);
                counted = counted + 1;
                --readersInside;
            }
        }
    });
    EXPECT_EQ(violations, 0);
    EXPECT_EQ(written, 10000);
    EXPECT_EQ(counted, 20000);
}

}  // namespace

// RefCnt (intrusive counting), Heap (single owner) and AutoBuffer (inline
// buffer with heap fallback).
#include <gtest/gtest.h>

#include <atomic>
#include <latch>
#include <random>
#include <thread>
#include <vector>

#include "CountingAllocator.h"
#include "Utility/Generic/Portable/SUPAutobuffer.h"
#include "Utility/Generic/SUGHeap.h"
#include "Utility/Generic/SUGRefCnt.h"

namespace {

std::atomic<int> g_destroyed{0};

struct Tracked : RefCountable {
    explicit Tracked(int value = 0) : value(value) {}
    ~Tracked() override { ++g_destroyed; }
    int value;
};

struct Derived : Tracked {
    Derived() : Tracked(7) {}
};

class RefCntTest : public testing::Test {
  protected:
    void SetUp() override { g_destroyed = 0; }
};

TEST_F(RefCntTest, CountsAcrossCopyMoveAssignAndReset) {
    RefCnt<Tracked> first = MakeRefCnt<Tracked>(5);
    Tracked* object = first.Get();
    EXPECT_EQ(object->GetRefCount(), 1);
    {
        RefCnt<Tracked> copy(first);  // copy
        EXPECT_EQ(object->GetRefCount(), 2);
        RefCnt<Tracked> moved(std::move(copy));  // move: no change
        EXPECT_TRUE(copy.IsNull());
        EXPECT_EQ(object->GetRefCount(), 2);
        RefCnt<Tracked> assigned;
        assigned = moved;  // copy-assign into empty
        EXPECT_EQ(object->GetRefCount(), 3);
        RefCnt<Tracked>& self = assigned;
        assigned = self;  // self-assign
        EXPECT_EQ(object->GetRefCount(), 3);
        assigned = std::move(self);  // self-move
        EXPECT_EQ(object->GetRefCount(), 3);
        EXPECT_EQ(assigned.Get(), object);
        assigned = nullptr;
        EXPECT_EQ(object->GetRefCount(), 2);
        moved.Reset(object);  // reset to the same object
        EXPECT_EQ(object->GetRefCount(), 2);
    }
    EXPECT_EQ(object->GetRefCount(), 1);
    EXPECT_EQ(g_destroyed, 0);
    EXPECT_EQ((*first).value, 5);
    EXPECT_EQ(first->value, 5);

    // Replacing the last holder's object deletes the old one exactly once.
    RefCnt<Tracked> other = MakeRefCnt<Tracked>(6);
    first = other;
    EXPECT_EQ(g_destroyed, 1);
    EXPECT_EQ(other->GetRefCount(), 2);
    first = std::move(other);
    EXPECT_EQ(first->GetRefCount(), 1);
    EXPECT_TRUE(other.IsNull());
    first.Reset();
    EXPECT_EQ(g_destroyed, 2);
    EXPECT_FALSE(first);
    first.Reset();  // resetting an empty handle is harmless
    EXPECT_EQ(g_destroyed, 2);
}

TEST_F(RefCntTest, ConversionFromDerivedAndComparison) {
    RefCnt<Derived> derived = MakeRefCnt<Derived>();
    RefCnt<Tracked> base = derived;
    EXPECT_EQ(derived->GetRefCount(), 2);
    EXPECT_EQ(base->value, 7);
    EXPECT_TRUE(base == RefCnt<Tracked>(derived.Get()));
    EXPECT_FALSE(base == nullptr);
    RefCnt<Tracked> empty;
    EXPECT_TRUE(empty == nullptr);
    EXPECT_TRUE(RefCnt<Tracked>(nullptr).IsNull());
    derived.Reset();
    EXPECT_EQ(g_destroyed, 0);
    base.Reset();  // deleted through the virtual destructor of the base
    EXPECT_EQ(g_destroyed, 1);
}

// Several threads copy, move and drop handles of one object while the
// original holder lets go: the object is deleted exactly once, at the end.
TEST_F(RefCntTest, ConcurrentCopiesAndReleasesDeleteOnce) {
    constexpr int kThreads = 8;
    for (int round = 0; round < 20; ++round) {
        g_destroyed = 0;
        RefCnt<Tracked> original = MakeRefCnt<Tracked>();
        std::latch start(kThreads + 1);
        std::vector<std::thread> threads;
        for (int t = 0; t < kThreads; ++t) {
            threads.emplace_back([&start, mine = original] {
                start.arrive_and_wait();
                std::vector<RefCnt<Tracked>> held;
                for (int i = 0; i < 500; ++i) {
                    held.push_back(mine);
                    RefCnt<Tracked> moved(std::move(held.back()));
                    held.back() = moved;
                    if (i % 3 == 0) held.pop_back();
                }
            });
        }
        start.arrive_and_wait();
        original.Reset();
        for (std::thread& thread : threads)
            thread.join();
        ASSERT_EQ(g_destroyed, 1) << "round " << round;
    }
}

TEST(RefCntDeathTest, DereferencingEmptyHandleAsserts) {
    RefCnt<Tracked> empty;
    EXPECT_DEATH((void)*empty, "Assertion failed: false");
    EXPECT_DEATH((void)empty->value, "Assertion failed: false");
}

using HeapTest = RefCntTest;

TEST_F(HeapTest, Ownership) {
    Heap<Tracked> owner = MakeHeap<Tracked>(3);
    Tracked* object = owner.Get();
    Heap<Tracked> next(std::move(owner));
    EXPECT_TRUE(owner.IsNull());
    EXPECT_EQ(next.Get(), object);
    EXPECT_EQ(next->value, 3);
    owner = std::move(next);
    EXPECT_EQ(owner.Get(), object);

    Tracked* released = owner.Release();
    EXPECT_EQ(released, object);
    EXPECT_FALSE(owner);
    EXPECT_EQ(g_destroyed, 0);
    owner.Reset(released);
    owner.Reset(new Tracked(4));  // deletes the previous object
    EXPECT_EQ(g_destroyed, 1);
    EXPECT_EQ((*owner).value, 4);

    Heap<Tracked> fromDerived = MakeHeap<Derived>();
    EXPECT_EQ(fromDerived->value, 7);
    fromDerived = std::move(owner);  // the Derived goes
    EXPECT_EQ(g_destroyed, 2);
    fromDerived.Reset();
    EXPECT_EQ(g_destroyed, 3);
    { Heap<Tracked> scoped(new Tracked); }
    EXPECT_EQ(g_destroyed, 4);
}

TEST(HeapDeathTest, DereferencingEmptyHolderAsserts) {
    Heap<Tracked> empty;
    EXPECT_DEATH((void)*empty, "Assertion failed: m_object != nullptr");
    EXPECT_DEATH((void)empty->value, "Assertion failed: m_object != nullptr");
}

// Keeps the optimiser from eliding an unused heap block together with its
// allocation, which would hide it from the allocation counter.
void KeepObservable(const void* pointer) {
    asm volatile("" : : "r"(pointer) : "memory");
}

TEST(AutoBufferTest, InlineUpToCapacityWithoutAllocation) {
    xts::test::AllocationCounter counter;
    AutoBuffer<int, 8> buffer;
    EXPECT_EQ(buffer.size(), 8u);
    AutoBuffer<int, 8> exact(8);
    AutoBuffer<int, 8> small(1);
    AutoBuffer<int, 8> empty(0);
    EXPECT_FALSE(exact.IsOnHeap());
    EXPECT_FALSE(small.IsOnHeap());
    EXPECT_EQ(empty.size(), 0u);
    EXPECT_EQ(counter.Count(), 0u);
    AutoBuffer<int, 8> large(9);
    KeepObservable(large.Get());
    EXPECT_TRUE(large.IsOnHeap());
    EXPECT_EQ(counter.Count(), 1u);
    EXPECT_EQ(large.size(), 9u);
    large[8] = 1;  // the whole size is usable
}

// A random walk of sizes across the inline/heap boundary both ways: the
// first min(old, new) elements survive every Resize, the buffer is inline
// exactly when the size fits, and fitting sizes never allocate.
TEST(AutoBufferTest, ResizeKeepsContentsAcrossTransitions) {
    constexpr std::size_t kInline = 16;
    std::mt19937 random(42);
    AutoBuffer<unsigned, kInline> buffer(0);
    std::vector<unsigned> model;
    const std::size_t walk[] = {16, 17, 3, 40, 20, 40, 16, 0, 64, 1};
    std::vector<std::size_t> sizes(std::begin(walk), std::end(walk));
    for (int i = 0; i < 300; ++i)
        sizes.push_back(random() % 50);
    for (const std::size_t size : sizes) {
        SCOPED_TRACE("from " + std::to_string(model.size()) + " to " + std::to_string(size));
        xts::test::AllocationCounter counter;
        buffer.Resize(size);
        if (size <= kInline) {
            EXPECT_EQ(counter.Count(), 0u);
        }
        const std::size_t kept = std::min(size, model.size());
        model.resize(size);
        ASSERT_EQ(buffer.size(), size);
        EXPECT_EQ(buffer.IsOnHeap(), size > kInline);
        for (std::size_t j = 0; j < kept; ++j)
            ASSERT_EQ(buffer[j], model[j]) << j;
        for (std::size_t j = 0; j < size; ++j)
            buffer.Get()[j] = model[j] = random();
    }
}

TEST(AutoBufferDeathTest, IndexAtOrBeyondSizeAsserts) {
    AutoBuffer<char, 4> inlineBuffer(3);
    EXPECT_DEATH((void)inlineBuffer[3], "Assertion failed: index < m_size");
    AutoBuffer<char, 4> heapBuffer(10);
    const auto& constBuffer = heapBuffer;
    EXPECT_DEATH((void)constBuffer[10], "Assertion failed: index < m_size");
}

}  // namespace

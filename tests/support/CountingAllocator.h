// A counting global allocator for tests: every test program replaces the
// global operator new, so a test can prove that a piece of code allocates
// nothing.
#pragma once

#include <cstddef>

namespace xts::test {

// The number of calls to the global operator new in this thread so far.
std::size_t AllocationCount() noexcept;

// Counts the allocations made in this thread during its lifetime.
class AllocationCounter {
public:
    AllocationCounter() noexcept : m_start(AllocationCount()) {}
    std::size_t Count() const noexcept { return AllocationCount() - m_start; }

private:
    std::size_t m_start;
};

}  // namespace xts::test

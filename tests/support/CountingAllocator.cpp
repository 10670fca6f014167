#include "CountingAllocator.h"

#include <cstdlib>
#include <new>

namespace {
thread_local std::size_t t_allocations = 0;

void* Allocate(std::size_t size) {
    ++t_allocations;
    if (void* p = std::malloc(size ? size : 1)) return p;
    throw std::bad_alloc();
}

void* AllocateAligned(std::size_t size, std::align_val_t alignment) {
    ++t_allocations;
    const std::size_t align = static_cast<std::size_t>(alignment);
    const std::size_t rounded = ((size ? size : 1) + align - 1) / align * align;
    if (void* p = std::aligned_alloc(align, rounded)) return p;
    throw std::bad_alloc();
}
}  // namespace

std::size_t xts::test::AllocationCount() noexcept {
    return t_allocations;
}

void* operator new(std::size_t size) {
    return Allocate(size);
}
void* operator new[](std::size_t size) {
    return Allocate(size);
}
void* operator new(std::size_t size, std::align_val_t alignment) {
    return AllocateAligned(size, alignment);
}
void* operator new[](std::size_t size, std::align_val_t alignment) {
    return AllocateAligned(size, alignment);
}
void operator delete(void* p) noexcept {
    std::free(p);
}
void operator delete[](void* p) noexcept {
    std::free(p);
}
void operator delete(void* p, std::size_t) noexcept {
    std::free(p);
}
void operator delete[](void* p, std::size_t) noexcept {
    std::free(p);
}
void operator delete(void* p, std::align_val_t) noexcept {
    std::free(p);
}
void operator delete[](void* p, std::align_val_t) noexcept {
    std::free(p);
}
void operator delete(void* p, std::size_t, std::align_val_t) noexcept {
    std::free(p);
}
void operator delete[](void* p, std::size_t, std::align_val_t) noexcept {
    std::free(p);
}

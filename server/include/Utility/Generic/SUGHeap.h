// Heap<T>: the single owner of one heap object. Moving transfers ownership;
// copying is not allowed. Dereferencing an empty holder is an assertion failure.
#pragma once

#include <cstddef>
#include <memory>
#include <utility>

#include "Utility/Generic/SUGAssert.h"

template <class T>
class Heap {
public:
    Heap() noexcept = default;
    Heap(std::nullptr_t) noexcept {}
    // Takes ownership of `object`.
    explicit Heap(T* object) noexcept : m_object(object) {}
    Heap(Heap&&) noexcept = default;
    Heap& operator=(Heap&&) noexcept = default;
    template <class U>
    Heap(Heap<U>&& other) noexcept : m_object(other.Release()) {}

    // Deletes the held object (if any) and takes `object`.
    void Reset(T* object = nullptr) noexcept { m_object.reset(object); }
    // Gives up ownership without deleting.
    T* Release() noexcept { return m_object.release(); }

    T* Get() const noexcept { return m_object.get(); }
    bool IsNull() const noexcept { return !m_object; }
    explicit operator bool() const noexcept { return static_cast<bool>(m_object); }

    T& operator*() const {
        XTAssert(m_object != nullptr);
        return *m_object;
    }
    T* operator->() const {
        XTAssert(m_object != nullptr);
        return m_object.get();
    }

private:
    std::unique_ptr<T> m_object;
};

template <class T, class... Args>
Heap<T> MakeHeap(Args&&... arguments) {
    return Heap<T>(new T(std::forward<Args>(arguments)...));
}

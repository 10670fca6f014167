// AutoBuffer<T, N>: a working buffer of trivially copyable elements that
// keeps up to N elements inside the object and goes to the heap only when a
// larger size is asked for. Elements are left uninitialised.
#pragma once

#include <cstddef>
#include <cstring>
#include <memory>
#include <type_traits>

#include "Utility/Generic/SUGAssert.h"

template <class T, std::size_t N>
class AutoBuffer {
    static_assert(std::is_trivially_copyable_v<T> && std::is_trivially_destructible_v<T>,
                  "AutoBuffer holds plain data only");
    static_assert(N > 0, "AutoBuffer needs inline room");

public:
    explicit AutoBuffer(std::size_t size = N) { Resize(size, false); }
    AutoBuffer(const AutoBuffer&) = delete;
    AutoBuffer& operator=(const AutoBuffer&) = delete;
    ~AutoBuffer() = default;

    // Makes room for `size` elements. With `keep`, the first min(old, new)
    // elements survive.
    void Resize(std::size_t size, bool keep = true) {
        if (size <= N) {
            if (m_heap && keep) std::memcpy(m_inline, m_heap.get(), size * sizeof(T));
            m_heap.reset();
            m_data = m_inline;
        } else if (size > m_capacity || !m_heap) {
            std::unique_ptr<T[]> block(new T[size]);
            if (keep) std::memcpy(block.get(), m_data, (size < m_size ? size : m_size) * sizeof(T));
            m_heap = std::move(block);
            m_data = m_heap.get();
            m_capacity = size;
        }
        if (size <= N) m_capacity = N;
        m_size = size;
    }

    T* Get() noexcept { return m_data; }
    const T* Get() const noexcept { return m_data; }
    T* data() noexcept { return m_data; }
    const T* data() const noexcept { return m_data; }
    std::size_t size() const noexcept { return m_size; }
    // Whether the elements live on the heap rather than inside the object.
    bool IsOnHeap() const noexcept { return m_data != m_inline; }

    T& operator[](std::size_t index) {
        XTAssert(index < m_size);
        return m_data[index];
    }
    const T& operator[](std::size_t index) const {
        XTAssert(index < m_size);
        return m_data[index];
    }

private:
    T m_inline[N];
    std::unique_ptr<T[]> m_heap;
    T* m_data = m_inline;
    std::size_t m_size = 0;
    std::size_t m_capacity = N;
};

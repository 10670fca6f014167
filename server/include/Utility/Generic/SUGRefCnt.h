// Intrusive reference counting.
//
// RefCountable is a polymorphic base with an atomic 32-bit count. RefCnt<T>
// holds one pointer to such an object: copies count up, releases count down,
// and the object is deleted through its virtual destructor when the count
// reaches zero. Dereferencing an empty handle is an assertion failure.
#pragma once

#include <atomic>
#include <cstddef>
#include <type_traits>
#include <utility>

#include "Utility/Generic/SUGAssert.h"
#include "Utility/Generic/SUGExport.h"
#include "Utility/Generic/SUGXTString.h"

class XTS_EXPORT RefCountable {
public:
    RefCountable() noexcept = default;
    // A copy is a new object: it starts with no holders.
    RefCountable(const RefCountable&) noexcept {}
    RefCountable& operator=(const RefCountable&) noexcept { return *this; }
    virtual ~RefCountable();

    void AddRef() const noexcept { m_refCount.fetch_add(1, std::memory_order_relaxed); }
    // Drops one holder; deletes the object when it was the last.
    void Release() const noexcept {
        if (m_refCount.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
    }
    int32 GetRefCount() const noexcept { return m_refCount.load(std::memory_order_relaxed); }

private:
    mutable std::atomic<int32> m_refCount{0};
};

template <class T>
class RefCnt {
public:
    RefCnt() noexcept = default;
    RefCnt(std::nullptr_t) noexcept {}
    // Takes a holder's share of `object` (which may be null).
    explicit RefCnt(T* object) noexcept : m_object(object) {
        if (m_object) m_object->AddRef();
    }
    RefCnt(const RefCnt& other) noexcept : RefCnt(other.m_object) {}
    RefCnt(RefCnt&& other) noexcept : m_object(std::exchange(other.m_object, nullptr)) {}
    template <class U>
    requires std::is_convertible_v<U*, T*> RefCnt(const RefCnt<U>& other)
    noexcept : RefCnt(other.Get()) {}
    ~RefCnt() { Reset(); }

    RefCnt& operator=(const RefCnt& other) noexcept {
        RefCnt(other).Swap(*this);
        return *this;
    }
    RefCnt& operator=(RefCnt&& other) noexcept {
        RefCnt(std::move(other)).Swap(*this);
        return *this;
    }
    RefCnt& operator=(std::nullptr_t) noexcept {
        Reset();
        return *this;
    }

    void Reset() noexcept {
        if (T* object = std::exchange(m_object, nullptr)) object->Release();
    }
    void Reset(T* object) noexcept { RefCnt(object).Swap(*this); }
    void Swap(RefCnt& other) noexcept { std::swap(m_object, other.m_object); }

    T* Get() const noexcept { return m_object; }
    bool IsNull() const noexcept { return m_object == nullptr; }
    explicit operator bool() const noexcept { return m_object != nullptr; }

    // An empty handle reports the failed condition "false", as every
    // null-reference check of the record classes does.
    T& operator*() const {
        if (m_object == nullptr) XTAssertFailed(__FILE__, __LINE__, "false");
        return *m_object;
    }
    T* operator->() const {
        if (m_object == nullptr) XTAssertFailed(__FILE__, __LINE__, "false");
        return m_object;
    }

    friend bool operator==(const RefCnt& left, const RefCnt& right) noexcept {
        return left.m_object == right.m_object;
    }
    friend bool operator==(const RefCnt& left, std::nullptr_t) noexcept {
        return left.m_object == nullptr;
    }

private:
    T* m_object = nullptr;
};

// Creates a new T and returns the first handle to it.
template <class T, class... Args>
RefCnt<T> MakeRefCnt(Args&&... arguments) {
    return RefCnt<T>(new T(std::forward<Args>(arguments)...));
}

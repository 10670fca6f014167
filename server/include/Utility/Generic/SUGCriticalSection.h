// XTCriticalSection: a mutual-exclusion lock, and XTCriticalSectionHolder, which
// holds it for the lifetime of a scope. The lock is not recursive.
#pragma once

#include <mutex>

class XTCriticalSection {
public:
    XTCriticalSection() = default;
    XTCriticalSection(const XTCriticalSection&) = delete;
    XTCriticalSection& operator=(const XTCriticalSection&) = delete;

    void Enter() { m_mutex.lock(); }
    bool TryEnter() { return m_mutex.try_lock(); }
    void Leave() { m_mutex.unlock(); }

    // The standard Lockable names, so std::lock_guard and friends work too.
    void lock() { Enter(); }
    bool try_lock() { return TryEnter(); }
    void unlock() { Leave(); }

private:
    std::mutex m_mutex;
};

class XTCriticalSectionHolder {
public:
    explicit XTCriticalSectionHolder(XTCriticalSection& lock) : m_lock(lock) { m_lock.Enter(); }
    ~XTCriticalSectionHolder() { m_lock.Leave(); }
    XTCriticalSectionHolder(const XTCriticalSectionHolder&) = delete;
    XTCriticalSectionHolder& operator=(const XTCriticalSectionHolder&) = delete;

private:
    XTCriticalSection& m_lock;
};

// XTReadWriteLock: a readers-writer lock (many readers or one writer), with
// scoped holders for either side. Not recursive; a reader may not upgrade.
#pragma once

#include <shared_mutex>

class XTReadWriteLock {
public:
    XTReadWriteLock() = default;
    XTReadWriteLock(const XTReadWriteLock&) = delete;
    XTReadWriteLock& operator=(const XTReadWriteLock&) = delete;

    void LockRead() { m_mutex.lock_shared(); }
    void UnlockRead() { m_mutex.unlock_shared(); }
    void LockWrite() { m_mutex.lock(); }
    void UnlockWrite() { m_mutex.unlock(); }
    bool TryLockRead() { return m_mutex.try_lock_shared(); }
    bool TryLockWrite() { return m_mutex.try_lock(); }

private:
    std::shared_mutex m_mutex;
};

class XTReadLockHolder {
public:
    explicit XTReadLockHolder(XTReadWriteLock& lock) : m_lock(lock) { m_lock.LockRead(); }
    ~XTReadLockHolder() { m_lock.UnlockRead(); }
    XTReadLockHolder(const XTReadLockHolder&) = delete;
    XTReadLockHolder& operator=(const XTReadLockHolder&) = delete;

private:
    XTReadWriteLock& m_lock;
};

class XTWriteLockHolder {
public:
    explicit XTWriteLockHolder(XTReadWriteLock& lock) : m_lock(lock) { m_lock.LockWrite(); }
    ~XTWriteLockHolder() { m_lock.UnlockWrite(); }
    XTWriteLockHolder(const XTWriteLockHolder&) = delete;
    XTWriteLockHolder& operator=(const XTWriteLockHolder&) = delete;

private:
    XTReadWriteLock& m_lock;
};

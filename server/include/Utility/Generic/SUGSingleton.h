// Once-only construction of process-wide objects.
//
// A Singleton object is declared at namespace scope; its static initialiser
// only registers it. The instance is created on first use (or by
// initInstance) exactly once, even when several threads ask at the same time,
// and is destroyed with the singleton object at unload when the factory says so.
#pragma once

#include <atomic>
#include <mutex>

#include "Utility/Generic/SUGAssert.h"
#include "Utility/Generic/SUGExport.h"

// Creates and destroys the instance of a Singleton. `DestroyAtExit` tells
// whether the instance is freed when the singleton object is destroyed.
template <class T, bool DestroyAtExit>
struct DefaultSingletonFactory {
    static constexpr bool kDestroyAtExit = DestroyAtExit;
    static T* create() { return new T(); }
    static void destroy(T* instance) noexcept { delete instance; }
};

// The type-independent part: the instance pointer and the creation lock.
class XTS_EXPORT BaseSingleton {
public:
    BaseSingleton() = default;
    BaseSingleton(const BaseSingleton&) = delete;
    BaseSingleton& operator=(const BaseSingleton&) = delete;

    bool hasInstance() const noexcept {
        return m_instance.load(std::memory_order_acquire) != nullptr;
    }
    // Creates the instance unless it exists; safe from any number of threads.
    void initInstance();

protected:
    ~BaseSingleton() = default;
    void* rawInstance() {
        void* instance = m_instance.load(std::memory_order_acquire);
        if (instance == nullptr) {
            initInstance();
            instance = m_instance.load(std::memory_order_acquire);
        }
        return instance;
    }
    // Takes the instance away (for destruction); null when there is none.
    void* releaseRaw() noexcept { return m_instance.exchange(nullptr, std::memory_order_acq_rel); }
    virtual void* create() = 0;

private:
    std::atomic<void*> m_instance{nullptr};
    std::mutex m_createLock;
};

template <class T, class Factory = DefaultSingletonFactory<T, true>>
class Singleton : public BaseSingleton {
public:
    Singleton() = default;
    ~Singleton() {
        if constexpr (Factory::kDestroyAtExit) destroyInstance();
    }

    // The instance, created on first use.
    T& instance() { return *static_cast<T*>(rawInstance()); }
    T* operator->() { return &instance(); }

    // Frees the instance; the next use creates a new one.
    void destroyInstance() noexcept {
        if (void* instance = releaseRaw()) Factory::destroy(static_cast<T*>(instance));
    }

protected:
    void* create() override { return Factory::create(); }
};

#pragma once

#include <atomic>
#include <mutex>
#include <system_error>
#include <thread>

// A plain, non-recursive mutex that refuses a second lock by the thread holding
// it with std::system_error (resource_deadlock_would_occur), as the standard
// allows, instead of hanging. Applying received commands on an instance that
// also records them takes the command lock twice on one thread; this turns that
// misuse into an error the host can log, with every lock released on the way out.
class CheckedMutex {
public:
    void lock() {
        RefuseRelock();
        mutex.lock();
        owner.store(std::this_thread::get_id(), std::memory_order_relaxed);
    }

    [[nodiscard]] bool try_lock() {
        RefuseRelock();
        if (!mutex.try_lock()) {
            return false;
        }
        owner.store(std::this_thread::get_id(), std::memory_order_relaxed);
        return true;
    }

    void unlock() {
        owner.store(std::thread::id(), std::memory_order_relaxed);
        mutex.unlock();
    }

private:
    void RefuseRelock() const {
        // Only this thread can have stored its own id, so a relaxed load suffices.
        if (owner.load(std::memory_order_relaxed) == std::this_thread::get_id()) {
            throw std::system_error(std::make_error_code(std::errc::resource_deadlock_would_occur));
        }
    }

    std::mutex mutex;
    std::atomic<std::thread::id> owner;
};

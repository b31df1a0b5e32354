#pragma once

#include <chrono>
#include <condition_variable>
#include <fstream>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace zan_test {

constexpr std::chrono::seconds PATIENCE(20);  // before a test gives up

// Waits until a condition on shared state holds.
class Gate {
public:
    template <class F>
    void change(F f) {
        std::lock_guard<std::mutex> const guard(mutex_);
        f();
        changed_.notify_all();
    }
    template <class F>
    bool wait(F holds) {
        std::unique_lock<std::mutex> lock(mutex_);
        return changed_.wait_for(lock, PATIENCE, holds);
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
};

// Runs f(0), f(1)... in n threads, and waits for their ends at its own.
class Threads {
public:
    template <class F>
    Threads(unsigned n, F f) {
        for (unsigned i = 0; i < n; ++i) threads_.emplace_back(f, i);
    }
    Threads(Threads const&) = delete;
    Threads& operator=(Threads const&) = delete;
    ~Threads() { join(); }
    void join() {
        for (auto& thread : threads_) thread.join();
        threads_.clear();
    }

private:
    std::vector<std::thread> threads_;
};

// A number of /proc/self/status, such as "Threads:", or -1.
inline long ofThisProcess(std::string const& name) {
    std::ifstream status("/proc/self/status");
    std::string word;
    while (status >> word && word != name) continue;
    long value = -1;
    status >> value;
    return value;
}

}  // namespace zan_test

// Threads that log while the library comes up and goes down, again and again.
#include <atomic>
#include <thread>

#include "zan/zan.h"

int main() {
    zan::console::setOn(false);
    std::atomic<bool> done{false};
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; ++i)
        threads.emplace_back([&done, i] {
            zan::logger& kept = zan::logger_factory::instance("kept");
            while (!done) {
                ZAN_INFO(zan::logger_factory::instance("ZAN"), "thread " << i);
                ZAN_INFO(kept, "thread " << i);
                std::this_thread::yield();
            }
        });
    for (int round = 0; round < 10; ++round) {
        zan::init(nullptr, false, 0);
        zan::startup("fini_races.log", false, 0);
        zan::fini();
    }
    done = true;
    for (auto& thread : threads) thread.join();
}

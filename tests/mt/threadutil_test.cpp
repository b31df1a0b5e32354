#include "zan/mt/threadutil.h"

#include <gtest/gtest.h>

#include <future>
#include <thread>

#include "support/log_capture.h"
#include "support/text.h"

namespace {

using namespace zan;

class Job : public SimpleThread {
public:
    explicit Job(std::shared_future<void> end = {}, ThreadOwner* owner = nullptr)
        : SimpleThread(owner, "job"), end_(std::move(end)) {}

protected:
    bool onLoop() override {
        if (end_.valid()) return end_.wait(), false;
        wait();
        return true;
    }

private:
    std::shared_future<void> end_;
};

TEST(AsyncThreads, GoWhenTheyEndAndAreStoppedAtClosing) {
    zan_test::LogCapture const log;
    AsyncThreadManager manager("jobs");
    manager.close();
    EXPECT_FALSE(log.has("jobs"));
    manager.put(new Job);
    EXPECT_TRUE(log.has("closing jobs thread manager, not put new thread into it"));
    EXPECT_EQ(0u, manager.size());
    manager.open();

    std::promise<void> end;
    Handle<Job> const ending(new Job(end.get_future().share()));
    Handle<Job> running(new Job);
    manager.put(ending);
    manager.put(running);
    EXPECT_EQ(2u, manager.size()) << "threads that have not started";
    ending->start();
    running->start();
    running = nullptr;
    EXPECT_EQ(0u, zan_test::dumped(manager, true).find("{name_='jobs' threads_={{"));
    end.set_value();
    ending->join();
    EXPECT_EQ(1u, manager.size());
    manager.close();
    manager.close();
    EXPECT_EQ(0u, manager.size());
    EXPECT_EQ(1u, log.count("jobs 1 threads still living, try stop them..."));
    EXPECT_FALSE(log.has("remaning"));
}

TEST(AsyncThreads, AThreadOfAnotherOwnerStaysUntilTheClose) {
    struct Other : ThreadOwner {
        void onThreadExit(Thread*) override { told = true; }
        std::atomic<bool> told{false};
    } other;
    AsyncThreadManager manager("jobs");
    std::promise<void> end;
    Handle<Job> const job(new Job(end.get_future().share(), &other));
    manager.put(job);
    job->start();
    end.set_value();
    job->join();
    EXPECT_TRUE(other.told);
    EXPECT_EQ(1u, manager.size());
}

// A thread that is put while the manager closes is stopped by it, or is not its.
TEST(AsyncThreads, PutsBesideACloseLeaveNothingBehind) {
    zan_test::LogCapture const log;
    for (int round = 0; round < 200; ++round) {
        AsyncThreadManager manager("jobs");
        Handle<Job> const job(new Job);
        job->start();
        std::thread putting([&] { manager.put(job); });
        manager.close();
        putting.join();
        EXPECT_EQ(0u, manager.size());
        if (job->owner() == nullptr) job->stop();
        job->join();
    }
    EXPECT_FALSE(log.has("notify owner"));
}

}  // namespace

// What AsyncThreadManager does with a thread that does not end in time.
#include <gtest/gtest.h>

#include <future>

#include "support/log_capture.h"
#include "zan/mt/thread_stop.h"
#include "zan/mt/threadutil.h"

namespace {

using namespace zan;

class Deaf : public SimpleThread {
public:
    explicit Deaf(std::shared_future<void> end)
        : SimpleThread(nullptr, "deaf"), end_(std::move(end)) {}

protected:
    bool onLoop() override { return end_.wait(), false; }

private:
    std::shared_future<void> end_;
};

TEST(AsyncThreadsThatHang, AreGivenUpAndReported) {
    zan_test::LogCapture const log;
    Time const usual = std::exchange(detail::asyncStopTimeout, Time::milliSeconds(1));
    EXPECT_EQ(Time::seconds(10), usual);
    std::promise<void> end;
    Handle<Deaf> const deaf(new Deaf(end.get_future().share()));
    {
        AsyncThreadManager manager("jobs");
        manager.put(deaf);
        manager.put(nullptr);
        deaf->startAndWait();
        manager.close();
        EXPECT_EQ(0u, manager.size());
        EXPECT_TRUE(log.has("jobs 2 threads still living, try stop them..."));
        EXPECT_TRUE(log.has("jobs 1 threads stopped, 1 remaning")) << log.text();
        EXPECT_EQ(nullptr, deaf->owner()) << "the manager may go";
    }
    end.set_value();
    deaf->join();
    EXPECT_FALSE(log.has("notify owner"));
    // Without a time-out it waits.
    detail::asyncStopTimeout = Time();
    std::promise<void> at;
    at.set_value();
    AsyncThreadManager manager("jobs");
    Handle<Deaf> const ready(new Deaf(at.get_future().share()));
    manager.put(ready);
    ready->start();
    manager.close();
    EXPECT_EQ(1u, log.count("remaning"));
    detail::asyncStopTimeout = usual;
}

}  // namespace

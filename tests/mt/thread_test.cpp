#include "zan/mt/thread.h"

#include <gmock/gmock.h>

#include <future>

#include "support/assertions.h"
#include "support/log_capture.h"
#include "support/text.h"
#include "support/threads.h"
#include "zan/zan.h"

namespace {

using namespace zan;
using testing::HasSubstr;
using namespace zan_test;

class Recorder {
public:
    void add(std::string const& what) {
        MutexLock const guard(mutex_);
        text_ += what + " ";
    }
    std::string text() {
        MutexLock const guard(mutex_);
        return text_;
    }

private:
    Mutex mutex_;
    std::string text_;
};

// Records its hooks; works until it is told to end.
class Worker : public SimpleThread {
public:
    Worker(Recorder& calls, ThreadOwner* owner = nullptr)
        : SimpleThread(owner, "worker"), calls_(calls) {}
    ~Worker() override { calls_.add("gone"); }

    bool birth = true;
    int loops = -1;  // ends by itself after so many
    std::shared_future<void> hold;

protected:
    bool onBirth() override {
        calls_.add("birth");
        return birth;
    }
    bool onWait() override {
        if (loops < 0) wait(Time::seconds(60));
        return true;
    }
    bool onLoop() override {
        if (hold.valid()) hold.wait();
        if (loops < 0) return true;
        calls_.add("loop");
        return --loops > 0;
    }
    void onDeath() override { calls_.add("death"); }
    void onStop() override { calls_.add("stop"); }

private:
    Recorder& calls_;
};

class Owner : public ThreadOwner {
public:
    explicit Owner(Recorder& calls) : ThreadOwner("boss"), calls_(calls) {}
    void onThreadExit(Thread* thread) override {
        calls_.add(thread == expected ? "told" : "told wrong");
    }
    Thread* expected = nullptr;

private:
    Recorder& calls_;
};

struct ThreadLife : testing::Test {
    Recorder calls;
    LogCapture const log;
    std::promise<void> go;
};

TEST_F(ThreadLife, AStoppedThreadRunsItsHooksInOrderAndTellsNobody) {
    Owner owner(calls);
    {
        Handle<Worker> const worker(new Worker(calls, &owner));
        worker->startAndWait();
        EXPECT_EQ("birth ", calls.text());
        EXPECT_TRUE(worker->started() && worker->living() && !worker->activeStopping());
        worker->stop();
        EXPECT_FALSE(worker->living());
        worker->stop();
    }
    // onStop runs in the thread that stops it, beside the death.
    EXPECT_THAT(calls.text(), testing::AnyOf("birth stop death gone ", "birth death stop gone "));
    std::string const text = normalized(log.text());
    std::string const own = "DATE{T}[ZAN][INFO]{worker}SimpleThread::";
    std::string const outside = "DATE<T>[ZAN][INFO]SimpleThread::";
    EXPECT_EQ(own + "run_i() thread begin.\n" +                             //
                  outside + "onStop_i() worker{T} thread stopping...\n" +   //
                  own + "run_i() thread end.\n" +                           //
                  outside + "stop() worker{T} thread stopped.\n" +          //
                  outside + "stop() worker{T} thread already stopped.\n" +  //
                  outside + "~SimpleThread() worker{T} thread finalized.\n",
              text);
}

TEST_F(ThreadLife, OneThatEndsByItselfTellsItsOwner) {
    {
        Owner owner(calls);
        Handle<Worker> const worker(new Worker(calls, &owner));
        owner.expected = worker.get();
        worker->loops = 2;
        worker->startAndWait();
        worker->join();
    }
    EXPECT_EQ("birth loop loop death told gone ", calls.text());
    EXPECT_TRUE(log.has("SimpleThread::on_thread_exit() notify owner(boss) thread exit\n"));
    EXPECT_TRUE(log.has("ThreadOwner::~ThreadOwner() thread owner boss finalized\n"));
}

TEST_F(ThreadLife, AFailedBirthSkipsTheLoopOnly) {
    Owner owner(calls);
    Handle<Worker> const worker(new Worker(calls, &owner));
    owner.expected = worker.get();
    worker->birth = false;
    worker->startAndWait();
    worker->join();
    EXPECT_EQ("birth death told ", calls.text());
    EXPECT_TRUE(log.has("onBirth_i() thread begin failure, won't enter run loop.\n"));
    worker->detach();
}

TEST_F(ThreadLife, OneNeverStartedIsOnlyGoodForDestruction) {
    Handle<Worker> const worker(new Worker(calls));
    EXPECT_THROW(worker->id(), ThreadNotStartedException);
    EXPECT_THROW(worker->join(), ThreadNotStartedException);
    worker->stop();
    EXPECT_TRUE(log.has("stop() worker thread not started.\n"));
    EXPECT_TRUE(worker->stop(Time::milliSeconds(1)));
    worker->startAndWait();
    worker->join();
    EXPECT_EQ("stop stop birth death ", calls.text()) << "straight to the end";
    EXPECT_THROW(worker->start(0), ThreadStartedException);
}

TEST_F(ThreadLife, TheLastOutsideHandleDoesNotEndIt) {
    Handle<Worker> worker(new Worker(calls));
    worker->loops = 1;
    worker->hold = go.get_future().share();
    worker->startAndWait();
    ThreadControl control = worker->getThreadControl();
    worker = nullptr;
    go.set_value();
    control.join();
    EXPECT_EQ("birth loop death gone ", calls.text());
}

TEST_F(ThreadLife, AJoinWithATimeOutPollsAndGivesUp) {
    Handle<Worker> const worker(new Worker(calls));
    worker->loops = 1;
    worker->hold = go.get_future().share();
    worker->startAndWait();
    Time const begin = Time::now(Time::Monotonic);
    EXPECT_FALSE(worker->stop(Time::milliSeconds(1)));
    EXPECT_GE(Time::now(Time::Monotonic) - begin, Time::milliSeconds(20)) << "raised to the step";
    EXPECT_TRUE(log.has(" thread not stopped in 00:00:00.020\n"));
    EXPECT_TRUE(log.has("<WARNING>"));
    go.set_value();
    EXPECT_TRUE(worker->join(Time::seconds(60)));
    EXPECT_TRUE(worker->stop(Time::seconds(1)));
    EXPECT_TRUE(log.has("(00:00:01) thread already stopped.\n"));
}

TEST_F(ThreadLife, StartingWithATimeOutTellsWhetherItWasBorn) {
    struct Slow : Worker {
        using Worker::Worker;
        bool onBirth() override { return go.get_future().wait(), true; }
        std::promise<void> go;
    };
    Handle<Slow> const worker(new Slow(calls));
    EXPECT_FALSE(worker->startAndWait(Time::milliSeconds(1)));
    worker->notify();  // no birth either
    worker->go.set_value();
    worker->stop();
    EXPECT_THAT(calls.text(), testing::AnyOf("stop death ", "death stop "));
}

TEST_F(ThreadLife, JoiningItselfIsReportedAndReturns) {
    SKIP_WHERE_ASSERTIONS_ABORT();
    struct Self : SimpleThread {
        Self() : SimpleThread(nullptr, "self") {}
        bool onLoop() override {
            stop();
            return true;
        }
    };
    Handle<Self> const self(new Self);
    self->startAndWait();
    ThreadControl control = self->getThreadControl();
    control.join();
    EXPECT_TRUE(log.has(" CONDITION: threadControl!=ThreadControl::current()\n"));
    EXPECT_FALSE(control.isAlive());
}

TEST(ThreadIdentity, ShowsWhatRunsTheThread) {
    EXPECT_EQ("DATE<T>", normalized(printed(SimpleThread::current())));
    Recorder calls;
    Handle<Worker> const worker(new Worker(calls));
    EXPECT_EQ("worker", worker->fullname());
    worker->startAndWait();
    EXPECT_EQ("worker{T}", normalized(worker->fullname()));
    EXPECT_EQ(std::string("worker") + worker->threadIdString(), worker->fullname());
    EXPECT_NE(Time(), worker->currDateTime());
    EXPECT_EQ("   7", printed(ThreadId(7)));
    EXPECT_THAT(normalized(dumped(*worker, true)),
                testing::StartsWith("{name()='worker' fullname()='worker{T}' started()=true "
                                    "living()=true activeStopping()=false refcount="));
    EXPECT_THAT(dumped(THREAD_FACTORY()), testing::AllOf(HasSubstr("thread_ = @zan::SimpleThread{"),
                                                         HasSubstr("thread_ = null")));
    worker->stop();
    EXPECT_TRUE(worker->threadIdString().size() > 0) << "after the end too";
}

TEST(ThreadIdentity, TheTablesDoNotGrowWithTheThreadsThatEverLived) {
    auto const known = [] {
        return zan_test::occurrences(dumped(THREAD_FACTORY()), "@zan::ThreadInfo{");
    };
    SimpleThread::current();
    unsigned long const before = known();
    for (int i = 0; i < 50; ++i) std::thread([] { SimpleThread::current(); }).join();
    EXPECT_EQ(before, known());
    SimpleThread::destroyThreadFactory();
    EXPECT_EQ("DATE<T>", normalized(printed(SimpleThread::current())));
}

class Service : public ThreadOwner {
public:
    Service() : ThreadOwner("service") {}
    void onThreadExit(Thread*) override { calls.add("exit"); }
    bool birth() { return calls.add("birth"), true; }
    bool loop() { return calls.add("loop"), false; }
    void death() { calls.add("death"); }
    Recorder calls;
};

TEST(OwnedThreads, RunTheMembersThatAreSet) {
    Service service;
    Handle<OwnedThread<Service>> const thread(new OwnedThread<Service>(&service, "owned"));
    thread->onBirth_ = &Service::birth;
    thread->onLoop_ = &Service::loop;
    thread->onDeath_ = &Service::death;
    thread->startAndWait();
    thread->join();
    EXPECT_EQ("birth loop death exit ", service.calls.text());
    Handle<MTAThread> const mta(new MTAThread(nullptr, "mta"));
    mta->startAndWait();
    mta->stop();
}

TEST(ThreadRaces, StartAndStopFromManySides) {
    for (int round = 0; round < 30; ++round) {
        Recorder calls;
        Handle<Worker> worker(new Worker(calls));
        worker->start(0);
        zan_test::Threads(3, [worker](unsigned) { worker->stop(); });
        EXPECT_FALSE(worker->living());
    }
}

}  // namespace

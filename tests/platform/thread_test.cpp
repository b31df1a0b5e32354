#include "zan/platform/thread.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <functional>
#include <future>

#include "support/threads.h"
#include "zan/platform/clock.h"

namespace zan::platform {
namespace {

using zan_test::ofThisProcess, zan_test::Threads;
using Work = std::function<void()>;

void runWork(void* arg) {
    (*static_cast<Work*>(arg))();
}

ThreadHandle startWork(Work& work, unsigned long stackSize = 0) {
    ThreadHandle thread;
    EXPECT_EQ(0, ThreadHandle::start(&runWork, &work, stackSize, thread));
    return thread;
}

// --- Ids are cached: the cache must not outlive its truth.

TEST(ThreadIds, AreRightInTheChildOfAFork) {
    ThreadHandle const self = ThreadHandle::current();
    threadId();
    processId();
    pid_t const child = fork();
    if (child == 0) {
        bool const good = threadId() == static_cast<unsigned>(gettid()) &&
                          processId() == static_cast<unsigned>(getpid()) && self.id() == threadId();
        _exit(good ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(child, waitpid(child, &status, 0));
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    EXPECT_EQ(static_cast<unsigned>(getpid()), processId());
}

// --- A join must wait, from however many threads, and see all that was done.

TEST(ThreadJoin, SeveralThreadsAtOnceAllWaitForTheEnd) {
    for (int round = 0; round < 20; ++round) {
        std::promise<void> gate;
        std::vector<int> written;  // unguarded: the join alone must order it
        Work work = [&] {
            gate.get_future().wait();
            written.assign(100, round);
        };
        ThreadHandle thread = startWork(work);
        ThreadHandle const second = thread.share();
        EXPECT_FALSE(second.owns());
        std::atomic<int> good{0};
        Threads joiners(4, [&](unsigned i) {
            int const error = (i % 2 ? second : thread).join();
            good += error == 0 && written.size() == 100;
        });
        EXPECT_TRUE(thread.alive());
        gate.set_value();
        joiners.join();
        EXPECT_EQ(4, good.load());
        EXPECT_FALSE(thread.alive());
        EXPECT_EQ(0, thread.join());  // again, at once
    }
}

TEST(ThreadJoin, OfOneselfAndOfNothingAreErrors) {
    EXPECT_EQ(EINVAL, ThreadHandle().join());
    EXPECT_EQ(EDEADLK, ThreadHandle::current().join());
    ThreadHandle own;
    std::promise<void> set;
    int error = 0;
    Work work = [&] {
        set.get_future().wait();
        error = own.join();
    };
    own = startWork(work);
    set.set_value();
    EXPECT_EQ(0, own.join());
    EXPECT_EQ(EDEADLK, error);
}

TEST(ThreadJoin, OfAThreadThatWasGivenUpWaitsForItsEnd) {
    std::promise<void> gate;
    bool done = false;
    Work work = [&] {
        gate.get_future().wait();
        done = true;
    };
    ThreadHandle thread = startWork(work);
    ThreadHandle const other = thread.share();
    thread.close();
    EXPECT_FALSE(thread.valid());
    EXPECT_TRUE(other.alive());
    gate.set_value();
    EXPECT_EQ(0, other.join());
    EXPECT_TRUE(done);
    EXPECT_FALSE(other.alive());
}

// --- Handles own: the resources of a thread go exactly once.

TEST(ThreadOwnership, ManyThreadsJoinedOrNotLeaveNothing) {
    long const before = ofThisProcess("Threads:");
    std::atomic<int> count{0};
    Work work = [&] { ++count; };
    std::vector<ThreadHandle> kept;
    for (int i = 0; i < 200; ++i) {
        ThreadHandle thread = startWork(work, 1);  // raised to the least size
        ThreadHandle watch = thread.share();
        if (i % 2) {
            EXPECT_EQ(0, thread.join());
        } else {
            thread.close();
            kept.push_back(std::move(watch));
        }
    }
    for (auto& thread : kept) EXPECT_EQ(0, thread.join());
    EXPECT_EQ(200, count.load());
    // A thread given up counts for the kernel until just after its last act.
    for (int i = 0; i < 1000 && ofThisProcess("Threads:") > before; ++i) yieldThread();
    EXPECT_LE(ofThisProcess("Threads:"), before);
}

TEST(ThreadOwnership, ARefusedStartLeavesTheHandleAlone) {
    Work work = [] {};
    ThreadHandle thread = startWork(work);
    unsigned const id = thread.id();
    for (unsigned long size : {~0UL, ~0UL / 2, 1UL << 60})
        EXPECT_NE(0, ThreadHandle::start(&runWork, &work, size, thread)) << size;
    EXPECT_EQ(id, thread.id());
    EXPECT_EQ(0, thread.join());
}

TEST(ThreadOwnership, TheStackSizeCounts) {
    for (unsigned long wanted : {1ul, 100000ul, 2ul << 20}) {
        unsigned long got = 0;
        Work work = [&got] {
            pthread_attr_t attributes;
            pthread_getattr_np(pthread_self(), &attributes);
            pthread_attr_getstacksize(&attributes, &got);
            pthread_attr_destroy(&attributes);
        };
        EXPECT_EQ(0, startWork(work, wanted).join());
        EXPECT_GE(got, std::max(wanted, 64ul * 1024));
        // A stack that is used again may be a few times as large.
        if (wanted == 1) {
            EXPECT_LT(got, 2ul << 20);
        }
    }
}

// --- Callbacks at the end of a thread.

std::string* trail = nullptr;

void note(void* arg) {
    *trail += static_cast<char const*>(arg);
}

TEST(ThreadExit, CallbacksRunBackwardsAfterTheThreadsObjects) {
    std::string order;
    trail = &order;
    struct Last {
        ~Last() { *trail += "object "; }
        void touch() {}
    };
    static char a[] = "a ";
    static char b[] = "b ";
    static char again[] = "again ";
    auto const run = [] {
        static thread_local Last last;
        last.touch();
        atThreadExit(&note, a);
        atThreadExit(
            [](void*) {
                *trail += "c ";
                atThreadExit(&note, again);
            },
            nullptr);
        atThreadExit(&note, b);
    };
    std::thread(run).join();  // not created here
    EXPECT_EQ("object b c again a ", order);
    order.clear();
    Work work = run;
    startWork(work).join();  // waits for all of it
    EXPECT_EQ("object b c again a ", order);
}

TEST(ThreadExit, AHandleLivesUntilTheCallbacksHaveRun) {
    static bool alive = false;
    Work work = [] {
        atThreadExit([](void*) { alive = ThreadHandle::current().alive(); }, nullptr);
    };
    ThreadHandle thread = startWork(work);
    EXPECT_EQ(0, thread.join());
    EXPECT_TRUE(alive);
    EXPECT_FALSE(thread.alive());
}

// --- Sleep.

TEST(ThreadSleep, LastsInSpiteOfSignals) {
    struct sigaction ignore = {};
    struct sigaction before;
    ignore.sa_handler = [](int) {};  // no SA_RESTART
    sigaction(SIGUSR1, &ignore, &before);
    std::atomic<bool> stop{false};
    Threads pest(1, [&, self = pthread_self()](unsigned) {
        while (!stop) {
            pthread_kill(self, SIGUSR1);
            sched_yield();
        }
    });
    long long begin = 0;
    long long end = 0;
    EXPECT_TRUE(readCounter(begin));
    sleepMilliSeconds(30);
    EXPECT_TRUE(readCounter(end));
    stop = true;
    pest.join();
    sigaction(SIGUSR1, &before, nullptr);
    EXPECT_GE(end - begin, 30 * 1000000LL);
    sleepMilliSeconds(0);
    yieldThread();
}

}  // namespace
}  // namespace zan::platform
